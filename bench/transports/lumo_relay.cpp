// The library through its relay server: two reliable hops.
#include "bench/harness/sockets.h"
#include "bench/transports/lumo_node.h"
#include "bench/transports/transports.h"

#include <atomic>
#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

constexpr uint32_t kFramesAhead = 128;  // of the receiver: 8 MiB, so that the server's queue stays small
constexpr uint32_t kFramesPerReport = 16;
constexpr int kPollMs = 1000;

class CPublication : private IFileSenderNotify {
public:
    explicit CPublication(uint16_t port) : m_pSender(CreateFileSenderUDP(*this, kChannelID, kLoopback, 0, 0, port)) {
        if (!m_pSender) throw std::runtime_error("no sender");
        for (int waited = 0; !m_connected.WaitFor(kPollMs); waited += kPollMs)
            if (m_pSender->IsDisconnected() || waited > kConnectMs)
                throw std::runtime_error("the server did not answer");
    }
    ~CPublication() override { m_pSender->ReleaseConnections(); }
    CPublication(const CPublication&) = delete;
    CPublication& operator=(const CPublication&) = delete;

    void PollUntilStopped(CSide& side) {
        while (!side.Stopped(kPollMs)) m_pSender->IsDisconnected();
    }

private:
    void OnFileSenderNotifyConnected(unsigned long, bool) override { m_connected.Signal(); }

    CEvent m_connected;
    IFileSender* m_pSender;
};

void Publish(CSide& side) {
    std::atomic<uint32_t> received{0};
    CLumoNode node([&](const char* data, int length) {
        uint32_t count = 0;
        if (length == sizeof count) std::memcpy(&count, data, sizeof count);
        received = count;
    });
    CPublication publication(side.Port());
    side.Connected();
    node.SendBulk(side, kFramesAhead, [&] { return received.load(); });
    publication.PollUntilStopped(side);
}

void Subscribe(CSide& side) {
    CLumoNode node;
    CBulkReceiver bulk(side);
    CLumoReceiver receiver([&](const char* data, int length) {
        bulk.OnFrame(data, length);
        const uint32_t count = bulk.Taken();
        if (count % kFramesPerReport == 0) node.Channel().OnFileChannelData(&count, sizeof count);
    });
    receiver.ConnectToServer(side.Port());
    side.Connected();
    receiver.PollUntilStopped(side);
}

nlohmann::json Settings() {
    nlohmann::json settings = LumoSettings("a UDP sender to the relay server to a UDP receiver");
    settings["frames ahead of the receiver"] = kFramesAhead;
    settings["frames per progress report"] = kFramesPerReport;
    return settings;
}

}  // namespace

std::vector<CDriver> LumoRelayDrivers() {
    return {{"lumo-relay", Role::Receiver, Listener::RelayServer, Publish, Subscribe, Settings}};
}

}  // namespace bench
