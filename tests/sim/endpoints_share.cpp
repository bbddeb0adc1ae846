// The rows of files and desktops in the scenario list, towards servers.
#include "sim/endpoints_share.h"

using namespace share_endpoints;

namespace {

template <class M>
class CSinkUdp : public CShareDatagrams<M> {
public:
    explicit CSinkUdp(CTestHost& host) : CShareDatagrams<M>(host) {
        host.Deliver(ConnectRequest());
        m_ulSinkID = ReadU32(host.TakeSent().at(0).bytes, 6);
    }
    void Accept() override {}
    bool IsDisconnected() override {
        bool gone = true;
        M::Tables().sinks.With(m_ulSinkID, [&](CShareSink& sink) { gone = sink.IsDisconnected(); });
        return gone;
    }
    void Release() override { this->m_host.Deliver(ToSink(M::kCodes.disconnect)); }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectRequest(), ToSink(M::kCodes.keepAlive), FrameIn() + session_wire::Data(0, "up"),
                ToSink(M::kCodes.disconnect)};
    }

protected:
    static std::string ConnectRequest() { return Hex(M::kCodes.connect) + U32(kPeerID) + U32(kChannelID); }
    std::string ToSink(const char* code) const { return this->Say(code, m_ulSinkID); }
    std::string FrameOut() const override { return Hex(M::kCodes.frame); }
    size_t EnvelopeOut() const override { return 10; }
    std::string FrameIn() const override { return ToSink(M::kCodes.frameAck); }

private:
    uint32_t m_ulSinkID;
};

template <class M>
class CSenderUdp : public CShareClient<M, typename M::Sender> {
public:
    explicit CSenderUdp(CTestHost& host) : CShareClient<M, typename M::Sender>(host) {
        this->m_pObject = M::kSenderUDP(this->m_notify, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
        this->m_ulID = ReadU32(host.TakeSent().at(0).bytes, 6);
    }
    void Accept() override { this->m_host.Deliver(ConnectAck()); }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectAck(), FrameIn() + session_wire::Data(0, "up"),
                this->Say(M::kCodes.sourceKeepAlive, this->m_ulID)};
    }

protected:
    std::string ConnectAck() const { return this->Say(M::kCodes.sourceConnectAck, this->m_ulID) + U32(500) + U32(0); }
    std::string FrameOut() const override { return Hex(M::kCodes.sourceFrame); }
    std::string FrameIn() const override { return this->Say(M::kCodes.sourceFrameAck, this->m_ulID); }
    std::string GoodbyeOut() const override { return this->Say(M::kCodes.sourceDisconnect, 500); }
};

template <class M>
class CReceiverUdp : public CShareReceiverSide<M> {
public:
    explicit CReceiverUdp(CTestHost& host) : CShareReceiverSide<M>(host) {
        this->m_pObject = M::kReceiverUDP(this->m_notify, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0,
                                          0, 0, 0, false);
        this->FindID();
    }
};

template <class M>
class CSinkTcp : public CTcpEndpoint<CShareEndpoint<M>> {
public:
    explicit CSinkTcp(CTestHost& host) : CTcpEndpoint<CShareEndpoint<M>>(host) {
        this->m_pTcp = &host.net.NewSession();
        host.net.TcpServer().Validate(this->m_pTcp, M::kReceiverType, U32(kChannelID));
    }
    void Accept() override {}
    bool IsDisconnected() override {
        bool gone = true;
        for (CShareSink& sink : M::Tables().sinks.Each()) gone = sink.IsDisconnected();
        return gone;
    }
    void Arrive(const std::string& frame) override {
        this->m_pTcp->sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    void Release() override { this->m_channel.ReleaseConnections(); }
};

template <class M>
class CSenderTcp : public CTcpDialler<CShareEndpoint<M>, typename M::Sender, M::kSenderType, kChannelID> {
public:
    explicit CSenderTcp(CTestHost& host)
        : CTcpDialler<CShareEndpoint<M>, typename M::Sender, M::kSenderType, kChannelID>(host) {
        this->m_pObject =
            M::kSenderTCP(this->m_notify, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, "", 0, "", "");
        this->m_pTcp = &host.net.LastClient();
        this->m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }
};

template <class M>
class CReceiverTcp : public CShareTcpReceiver<M> {
public:
    explicit CReceiverTcp(CTestHost& host) : CShareTcpReceiver<M>(host) {
        this->m_pObject = M::kReceiverTCP(this->m_notify, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0,
                                          0, 0, 0, 0, "", 0, "", "");
        this->m_pTcp = &host.net.LastClient();
        this->m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }
};

}  // namespace

std::vector<EndpointRow> ShareEndpoints() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"FileSinkUDP", MakeEndpoint<CSinkUdp<File>>, true, true, 2, 1, 0, false, 0, 0, false, 0},
        {"FileSenderUDP", MakeEndpoint<CSenderUdp<File>>, true, true, 2, 2, 2000, true, 0, 0, false, 3},
        {"FileReceiverUDP", MakeEndpoint<CReceiverUdp<File>>, true, true, 2, 2, 30000, true, 12, 1, false, 3},
        {"FileSinkTCP", MakeEndpoint<CSinkTcp<File>>, false, false, 2, 2, 0, false, 11, 0, true, 1},
        {"FileSenderTCP", MakeEndpoint<CSenderTcp<File>>, false, false, 1, 2, 0, false, 12, 0, false, 1},
        {"FileReceiverTCP", MakeEndpoint<CReceiverTcp<File>>, false, false, 2, 2, 0, false, 12, 0, true, 1},
        {"DesktopSinkUDP", MakeEndpoint<CSinkUdp<Desktop>>, true, true, 2, 1, 0, false, 0, 0, false, 0},
        {"DesktopSenderUDP", MakeEndpoint<CSenderUdp<Desktop>>, true, true, 2, 2, 30000, true, 0, 0, false, 3},
        {"DesktopReceiverUDP", MakeEndpoint<CReceiverUdp<Desktop>>, true, false, 2, 1, kNeverThere, false, 0, 0, false,
         3},
        {"DesktopSinkTCP", MakeEndpoint<CSinkTcp<Desktop>>, false, false, 2, 2, 0, false, 11, 0, true, 1},
        {"DesktopSenderTCP", MakeEndpoint<CSenderTcp<Desktop>>, false, false, 1, 2, 0, false, 11, 0, false, 1},
        {"DesktopReceiverTCP", MakeEndpoint<CReceiverTcp<Desktop>>, false, false, 2, 2, 0, false, 12, 0, true, 1},
    };
}
