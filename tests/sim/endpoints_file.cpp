// The file medium's rows of the scenario list, towards servers.
#include "sim/endpoints_file.h"

#include "file/local_mcu_file.h"

using session_wire::ReadU32;
using namespace file_endpoints;

namespace {

constexpr uint32_t kPeerID = 0x01020304;

class CSinkUdp : public CFileUdpEndpoint {
public:
    explicit CSinkUdp(CTestHost& host) : CFileUdpEndpoint(host) {
        m_host.Deliver(ConnectRequest());
        m_ulSinkID = ReadU32(m_host.TakeSent().at(0).bytes, 6);
    }
    void Accept() override {}
    bool IsDisconnected() override {
        bool gone = true;
        GetLocalMCUFile()->Tables().sinks.With(m_ulSinkID, [&](CShareSink& sink) { gone = sink.IsDisconnected(); });
        return gone;
    }
    void Release() override { m_host.Deliver(Hex("063f") + U32(m_ulSinkID)); }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectRequest(), Hex("063b") + U32(m_ulSinkID), FrameIn() + session_wire::Data(0, "up"),
                Hex("063f") + U32(m_ulSinkID)};
    }

protected:
    static std::string ConnectRequest() { return Hex("0639") + U32(kPeerID) + U32(kChannelID); }
    std::string FrameOut() const override { return Hex("063d"); }
    size_t EnvelopeOut() const override { return 10; }
    std::string FrameIn() const override { return Hex("063e") + U32(m_ulSinkID); }

private:
    uint32_t m_ulSinkID;
};

class CSenderUdp : public CFileUdpEndpoint {
public:
    explicit CSenderUdp(CTestHost& host) : CFileUdpEndpoint(host) {
        m_pSender = CreateFileSenderUDP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
        m_ulKey = ReadU32(m_host.TakeSent().at(0).bytes, 6);
    }
    ~CSenderUdp() override {
        if (m_pSender) m_pSender->ReleaseConnections();
    }
    void Accept() override { m_host.Deliver(ConnectAck()); }
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    void Release() override {
        m_pSender->ReleaseConnections();
        m_pSender = nullptr;
    }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectAck(), FrameIn() + session_wire::Data(0, "up"), Hex("0644") + U32(m_ulKey)};
    }

protected:
    std::string ConnectAck() const { return Hex("0641") + U32(m_ulKey) + U32(500) + U32(0); }
    std::string FrameOut() const override { return Hex("0642"); }
    size_t EnvelopeOut() const override { return 6; }
    std::string FrameIn() const override { return Hex("0643") + U32(m_ulKey); }
    std::string GoodbyeOut() const override { return Hex("0646") + U32(500); }

private:
    IFileSender* m_pSender;
    uint32_t m_ulKey;
};

class CReceiverUdp : public CUdpReceiver {
public:
    explicit CReceiverUdp(CTestHost& host) : CUdpReceiver(host) {
        m_pReceiver =
            CreateFileReceiverUDP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, false);
        m_ulID = ReadU32(m_host.TakeSent().at(0).bytes, 2);
    }
};

class CSinkTcp : public CFileTcpEndpoint {
public:
    explicit CSinkTcp(CTestHost& host) : CFileTcpEndpoint(host) {
        m_pTcp = &m_host.net.NewSession();
        m_host.net.TcpServer().Validate(m_pTcp, 13, U32(kChannelID));
    }
    void Accept() override {}
    bool IsDisconnected() override {
        bool gone = true;
        GetLocalMCUFile()->Tables().sinks.ForEach([&](CShareSink& sink) { gone = sink.IsDisconnected(); });
        return gone;
    }
    void Arrive(const std::string& frame) override {
        m_pTcp->sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    void Release() override { m_channel.ReleaseConnections(); }
};

class CSenderTcp : public CFileTcpEndpoint {
public:
    explicit CSenderTcp(CTestHost& host) : CFileTcpEndpoint(host) {
        m_pSender =
            CreateFileSenderTCP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, "", 0, "", "");
        m_pTcp = &m_host.net.LastClient();
        m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }
    ~CSenderTcp() override {
        if (m_pSender) m_pSender->ReleaseConnections();
    }
    void Accept() override { m_pTcp->clientNotify->OnTcpClientNotifyValidate(12, U32(kChannelID).data(), 4); }
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    void Arrive(const std::string& frame) override {
        m_pTcp->clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    void Release() override {
        m_pSender->ReleaseConnections();
        m_pSender = nullptr;
    }

private:
    IFileSender* m_pSender;
};

class CReceiverTcp : public CTcpReceiver {
public:
    explicit CReceiverTcp(CTestHost& host) : CTcpReceiver(host) {
        m_pObject = CreateFileReceiverTCP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0,
                                          0, "", 0, "", "");
        m_pTcp = &m_host.net.LastClient();
        m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }
};

}  // namespace

std::vector<EndpointRow> FileEndpoints() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"FileSinkUDP", MakeEndpoint<CSinkUdp>, true, true, 2, 1, 0, false, 0, 0, false, 0},
        {"FileSenderUDP", MakeEndpoint<CSenderUdp>, true, true, 2, 2, 2000, true, 0, 0, false, 3},
        {"FileReceiverUDP", MakeEndpoint<CReceiverUdp>, true, true, 2, 2, 30000, true, 12, 1, false, 3},
        {"FileSinkTCP", MakeEndpoint<CSinkTcp>, false, false, 2, 2, 0, false, 11, 0, true, 1},
        {"FileSenderTCP", MakeEndpoint<CSenderTcp>, false, false, 1, 2, 0, false, 12, 0, false, 1},
        {"FileReceiverTCP", MakeEndpoint<CReceiverTcp>, false, false, 2, 2, 0, false, 12, 0, true, 1},
    };
}
