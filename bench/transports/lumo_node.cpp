#include "bench/transports/lumo_node.h"

#include "bench/harness/sockets.h"

#include <unistd.h>
#include <nlohmann/json.hpp>

#include <stdexcept>

namespace bench {

namespace {

constexpr unsigned kPaceMicroseconds = 250;

// Until a subscriber has answered, a channel keeps so much for it and drops the rest.
constexpr uint32_t kFramesForStrangers = 16;

bool HasAnybodyAnswered() {
    LumoLinkStatistics link{};
    unsigned long links = 0;
    for (; GetLinkStatistics(links, link); ++links)
        if (link.ullPacketsReceived > 0) return true;
    return links == 0;  // those over TCP are not listed, and have answered when they connected
}

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

CLumoHost::CLumoHost() : m_pPeers(CreateP2P(*this)), m_pManager(CreateLocalMcuMgr(0)) {
    if (!m_pPeers || !m_pManager) throw std::runtime_error("no local MCU");
}

CLumoHost::~CLumoHost() {
    m_pManager->ReleaseConnections();
    m_pPeers->ReleaseConnections();
}

void CLumoHost::OnP2PNotifyGetP2PItem(P2PItem& item) {
    item.ulLocalIP = item.ulNATIP = RunHosts().own;
    item.usLocalUDPPort = item.usNATUDPPort = Port();
}

void CLumoHost::AnnouncePublisher(uint16_t port) {
    CCmdPacket announced;
    announced.SetFromUID(kUser);
    announced.PutAttrib("p2ptype", "P2P_FETCH_ACK");
    for (const char* address : {"localip", "natip"}) announced.PutAttribUL(address, RunHosts().far);
    for (const char* udpPort : {"localudpport", "natudpport"}) announced.PutAttribUS(udpPort, port);
    m_pPeers->OnReceivedP2PCmd(announced);
}

void WaitFor(const char* what, const std::function<bool()>& done) {
    for (int waited = 0; !done(); ++waited) {
        if (waited > kConnectMs) throw std::runtime_error(std::string(what) + " is missing");
        usleep(1000);
    }
}

void SendFrames(CSide& side, const std::function<bool(uint32_t made)>& ready,
                const std::function<void(const char* data, int length)>& send) {
    CFrameSource source(side);
    for (bool more = true; more;) {
        while (!ready(source.Made()) && !(side.Spec().seconds > 0 && side.Stopped())) usleep(kPaceMicroseconds);
        more = source.Next();
        if (more) send(source.Data(), source.Length());
    }
}

CLumoNode::CLumoNode(FrameHandler onUpstream) : m_pChannel(std::make_unique<CBenchChannel>(std::move(onUpstream))) {
    m_pChannel->Connect();
}

CLumoNode::~CLumoNode() { m_pChannel->ReleaseConnections(); }

void CLumoNode::WaitForSinks(uint32_t count) {
    WaitFor("a subscriber", [&] { return m_pChannel->GetFileSinkCount() >= count; });
}

void CLumoNode::SendBulk(CSide& side, uint32_t ahead, const std::function<uint32_t()>& received, const Before& before) {
    bool answered = false;
    const FrameHandler send = [&](const char* data, int length) { m_pChannel->OnFileChannelData(data, length); };
    SendFrames(
        side,
        [&](uint32_t made) {
            answered = answered || HasAnybodyAnswered();
            if (!answered && made >= kFramesForStrangers) return false;
            return m_pChannel->GetBufferingFrameCount() < kFramesQueued && (!received || made < received() + ahead);
        },
        [&](const char* data, int length) { before ? before(data, length, send) : send(data, length); });
}

void PublishBulk(CSide& side, const Before& before) {
    CLumoNode node;
    side.Listening(node.Port());
    node.WaitForSinks(1);
    side.Connected();
    node.SendBulk(side, 0, nullptr, before);
    side.WaitForStop();
}

nlohmann::json LumoSettings(const char* path) {
    return {{"version", LUMO_VERSION},
            {"path", path},
            {"settings", "the library's own"},
            {"frames queued by the application", kFramesQueued}};
}

}  // namespace bench
