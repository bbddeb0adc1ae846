// The whiteboard medium's rows of the scenario list. Frames are sessions' messages; the centre is left out.
#include "sim/endpoint_sides.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"
#include "whiteboard/local_mcu_wb.h"

using session_wire::ReadU32;
using session_wire::U32;

namespace {

constexpr uint32_t kChannelID = 77;
constexpr uint32_t kPeerID = 0x01020304;
constexpr uint32_t kPeerUser = 8;

class CWBEndpoint : public IEndpoint, public IWBSessionClientNotify {
public:
    explicit CWBEndpoint(CTestHost& host) : m_host(host), m_channel(delivered) { m_channel.Connect(); }
    void OnWBSessionClientNotifyConnected(unsigned long ip) override { m_connected += ip != 0; }
    void Write(const std::string& frame) override {
        m_channel.SendWBData(m_channel.sessionID, frame.data(), static_cast<int>(frame.size()));
    }
    int NotifiedConnected() override { return m_connected.count; }

protected:
    class CChannel : public CWBChannel {
    public:
        explicit CChannel(std::vector<std::string>& frames) : CWBChannel(kChannelID), m_frames(frames) {}
        void OnWBChannelData(unsigned long, const char* data, int len) override {
            m_frames.emplace_back(data, static_cast<size_t>(len));
        }
        void AddWBSession(CWBSession* session) override {
            sessionID = session->GetWBSessionID();
            CWBChannel::AddWBSession(session);
        }
        unsigned long sessionID = 0;

    private:
        std::vector<std::string>& m_frames;
    };
    uint32_t SessionID() const { return static_cast<uint32_t>(m_channel.sessionID); }

    CTestHost& m_host;
    CChannel m_channel;
    CConnects m_connected;
};

class CWBUdpEndpoint : public CSessionEndpoint<CWBEndpoint> {
public:
    using CSessionEndpoint::CSessionEndpoint;

protected:
    size_t EnvelopeOut() const override { return FrameOut().size(); }
};

class CServerUdp : public CWBUdpEndpoint {
public:
    explicit CServerUdp(CTestHost& host) : CWBUdpEndpoint(host) { m_host.Deliver(ConnectRequest()); }
    void Accept() override { m_host.Deliver(ConnectRequest()); }
    bool IsDisconnected() override {
        bool gone = true;
        WithSession([&](CWBServerSession& session) { gone = session.IsDisconnected(); });
        return gone;
    }
    uint32_t Buffering() override {
        uint32_t count = 0;
        WithSession([&](CWBServerSession& session) { count = session.GetFrameLink()->QueuedFrames(); });
        return count;
    }
    void Release() override { m_host.Deliver(Hex("0426") + U32(SessionID())); }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectRequest(), Hex("0427") + U32(SessionID()), FrameIn() + session_wire::Data(0, "up"),
                Hex("0426") + U32(SessionID())};
    }

protected:
    template <class Use>
    void WithSession(Use use) {
        GetLocalMCUWB()->Tables().sinks.With(SessionID(), use);
    }
    static std::string ConnectRequest() { return Hex("0424") + U32(kPeerID) + U32(kChannelID); }
    std::string FrameOut() const override { return Hex("042a") + U32(kPeerID) + U32(SessionID()); }
    std::string FrameIn() const override { return Hex("0429") + U32(SessionID()); }
};

class CClientDatagrams : public CWBUdpEndpoint {
public:
    using CWBUdpEndpoint::CWBUdpEndpoint;
    ~CClientDatagrams() override {
        if (m_pClient) m_pClient->ReleaseConnections();
    }
    void Accept() override { m_host.Deliver(ConnectAck()); }
    bool IsDisconnected() override { return m_pClient->IsDisconnected(); }
    uint32_t Buffering() override {
        const auto client = GetLocalMCUWB()->Tables().receivers.Lock(SessionID());
        return client ? client->GetFrameLink()->QueuedFrames() : 0;
    }
    bool TryRelease() override {
        m_pClient->ReleaseConnections();
        return true;
    }
    void Release() override {
        TryRelease();
        m_pClient = nullptr;
    }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectAck(), Hex("0428") + U32(SessionID()) + U32(600), FrameIn() + session_wire::Data(0, "down")};
    }

protected:
    std::string ConnectAck() const { return Hex("0425") + U32(SessionID()) + U32(600); }
    std::string FrameOut() const override { return Hex("0429") + U32(600); }
    std::string FrameIn() const override { return Hex("042a") + U32(SessionID()) + U32(600); }
    std::string KeepAliveOut() const override { return Hex("0427") + U32(600); }
    std::string GoodbyeOut() const override { return Hex("0426") + U32(600); }

    IWBSessionClient* m_pClient = nullptr;
};

template <bool kPeerOnly>
class CClientUdp : public CClientDatagrams {
public:
    explicit CClientUdp(CTestHost& host) : CClientDatagrams(host) {
        m_pClient = CreateWBSessionClientUDP(*this, kChannelID, CTestHost::kPeerIP, CTestHost::kPeerIP,
                                             CTestHost::kPeerIP, CTestHost::kPeerPort, 0, 0, 0, 0, kPeerOnly);
    }
};

class CClientP2P : public CClientDatagrams {
public:
    explicit CClientP2P(CTestHost& host) : CClientDatagrams(host) {
        m_pClient = CreateWBSessionClientP2P(*this, kChannelID, kPeerUser);
        m_peer.Announce("P2P_START_ACK", kPeerUser);
        m_host.Deliver(Hex("03 08000000"));
        m_host.TakeSent();
    }

private:
    CAnsweringPeer m_peer;
};

class CServerTcp : public CTcpEndpoint<CWBEndpoint> {
public:
    explicit CServerTcp(CTestHost& host) : CTcpEndpoint(host) {
        m_pTcp = &m_host.net.NewSession();
        m_host.net.TcpServer().Validate(m_pTcp, 9, U32(kChannelID));
    }
    void Accept() override {}
    bool IsDisconnected() override {
        bool gone = true;
        GetLocalMCUWB()->Tables().sinks.With(SessionID(), [&](CWBServerSession& one) { gone = one.IsDisconnected(); });
        return gone;
    }
    void Arrive(const std::string& frame) override {
        m_pTcp->sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    uint32_t Buffering() override { return static_cast<uint32_t>(m_pTcp->queued); }
    void Release() override { GetLocalMCUWB()->ReleaseWBServerSessions(); }
};

class CClientTcpBase : public CTcpDialler<CWBEndpoint, IWBSessionClient, 9, kChannelID> {
public:
    using CTcpDialler::CTcpDialler;
    uint32_t Buffering() override { return static_cast<uint32_t>(m_pTcp->queued); }
};

class CClientTcp : public CClientTcpBase {
public:
    explicit CClientTcp(CTestHost& host) : CClientTcpBase(host) {
        m_pObject = CreateWBSessionClientTCP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0,
                                             0, 0, "", 0, "", "");
        m_pTcp = &m_host.net.LastClient();
    }
};

class CClientP2PTcp : public CClientTcpBase {
public:
    explicit CClientP2PTcp(CTestHost& host) : CClientTcpBase(host) {
        m_pObject = CreateWBSessionClientP2PTCP(*this, kChannelID, kPeerUser);
        m_peer.Announce("P2P_FETCH_ACK", kPeerUser);
        m_pObject->IsDisconnected();  // knows the way and dials
        m_pTcp = &m_host.net.LastClient();
    }

private:
    CAnsweringPeer m_peer;
};

}  // namespace

std::vector<EndpointRow> WhiteboardEndpoints() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"WBServerUDP", MakeEndpoint<CServerUdp>, true, true, 1, 1, 0, false, 0, 0, false, 0},
        {"WBServerTCP", MakeEndpoint<CServerTcp>, false, false, 2, 2, 0, false, 11, 0, true, 1},
        {"WBClientUDP", MakeEndpoint<CClientUdp<false>>, true, true, 1, 1, 30000, true, 22, 0, true, 3},
        {"WBClientUDPPeerOnly", MakeEndpoint<CClientUdp<true>>, true, true, 1, 1, 4000, true, 22, 0, true, 3},
        {"WBClientP2P", MakeEndpoint<CClientP2P>, true, true, 1, 1, 30000, true, 12, 0, true, 3},
        {"WBClientTCP", MakeEndpoint<CClientTcp>, false, false, 2, 2, 0, false, 12, 0, true, 1},
        {"WBClientP2PTCP", MakeEndpoint<CClientP2PTcp>, false, false, 2, 2, 0, false, 12, 0, true, 1},
    };
}
