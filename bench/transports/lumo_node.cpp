#include "bench/transports/lumo_node.h"

#include "bench/harness/sockets.h"

#include <unistd.h>

#include <stdexcept>

namespace bench {

namespace {

constexpr unsigned kPaceMicroseconds = 250;
constexpr int kPollMs = 1000;
constexpr int kAskAgainMs = 100;

class CBenchChannel : public CFileChannel {
public:
    explicit CBenchChannel(FrameHandler onUpstream) : CFileChannel(kChannelID), m_onUpstream(std::move(onUpstream)) {}
    void OnFileSinkData(const void* data, int length) override {
        if (m_onUpstream) m_onUpstream(static_cast<const char*>(data), length);
    }

private:
    FrameHandler m_onUpstream;
};

}  // namespace

CLumoNode::CLumoNode(FrameHandler onUpstream) : m_pPeers(CreateP2P(*this)), m_pManager(CreateLocalMcuMgr(0)) {
    if (!m_pPeers || !m_pManager) throw std::runtime_error("no local MCU");
    m_pChannel = std::make_unique<CBenchChannel>(std::move(onUpstream));
    m_pChannel->Connect();
}

CLumoNode::~CLumoNode() {
    m_pChannel->ReleaseConnections();
    m_pChannel.reset();
    m_pManager->ReleaseConnections();
    m_pPeers->ReleaseConnections();
}

void CLumoNode::OnP2PNotifyGetP2PItem(P2PItem& item) {
    item.ulLocalIP = item.ulNATIP = kLoopback;
    item.usLocalUDPPort = item.usNATUDPPort = Port();
}

void CLumoNode::AnnouncePublisher(uint16_t port) {
    CCmdPacket announced;
    announced.SetFromUID(kUser);
    announced.PutAttrib("p2ptype", "P2P_FETCH_ACK");
    for (const char* address : {"localip", "natip"}) announced.PutAttribUL(address, kLoopback);
    for (const char* udpPort : {"localudpport", "natudpport"}) announced.PutAttribUS(udpPort, port);
    m_pPeers->OnReceivedP2PCmd(announced);
}

void CLumoNode::WaitForSinks(uint32_t count) {
    for (int waited = 0; m_pChannel->GetFileSinkCount() < count; ++waited) {
        if (waited > kConnectMs) throw std::runtime_error("subscribers are missing");
        usleep(1000);
    }
}

void CLumoNode::SendBulk(CSide& side, uint32_t ahead, const std::function<uint32_t()>& received) {
    CFrameSource source(side.Spec().frames, side.Spec().frameLen);
    while (source.Next()) {
        while (m_pChannel->GetBufferingFrameCount() >= kFramesQueued ||
               (received && source.Made() > received() + ahead))
            usleep(kPaceMicroseconds);
        m_pChannel->OnFileChannelData(source.Data(), source.Length());
    }
}

void PublishBulk(CSide& side) {
    CLumoNode node;
    side.Listening(node.Port());
    node.WaitForSinks(1);
    side.Connected();
    node.SendBulk(side);
    side.WaitForStop();
}

CLumoReceiver::~CLumoReceiver() {
    if (m_pReceiver) m_pReceiver->ReleaseConnections();
}

void CLumoReceiver::ConnectToPublisher(CLumoNode& node, uint16_t port) {
    node.AnnouncePublisher(port);
    m_pReceiver = CreateFileReceiverP2P(*this, kChannelID, CLumoNode::kUser);
    if (!m_pReceiver) throw std::runtime_error("no receiver");
    WaitUntilConnected([&] { m_pReceiver->IsDisconnected(); });
}

void CLumoReceiver::ConnectToServer(uint16_t port) {
    m_pReceiver = CreateFileReceiverUDP(*this, kChannelID, kLoopback, 0, 0, port, 0, 0, 0, 0, true);
    if (!m_pReceiver) throw std::runtime_error("no receiver");
    WaitUntilConnected([&] { m_pReceiver->IsDisconnected(); });
}

void CLumoReceiver::WaitUntilConnected(const std::function<void()>& ask) {
    for (int waited = 0; waited < kConnectMs; waited += kAskAgainMs) {
        ask();
        if (m_connected.WaitFor(kAskAgainMs)) return;
    }
    throw std::runtime_error("the subscription was not answered");
}

void CLumoReceiver::PollUntilStopped(CSide& side) {
    while (!side.Stopped(kPollMs)) m_pReceiver->IsDisconnected();
}

nlohmann::json LumoSettings(const char* path) {
    return {{"version", LUMO_VERSION},
            {"path", path},
            {"settings", "the library's own"},
            {"frames queued by the application", kFramesQueued}};
}

}  // namespace bench
