// The library through its relay server: two reliable hops.
#include "bench/transports/lumo_receiver.h"
#include "bench/transports/transports.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <cstring>

namespace bench {

namespace {

constexpr uint32_t kFramesAhead = 128;  // of the receiver: 8 MiB, so that the server's queue stays small
constexpr uint32_t kFramesPerReport = 16;

class CPublication : public CLumoLink<IFileSender>, private IFileSenderNotify {
public:
    explicit CPublication(uint16_t port) { Hold(CreateFileSenderUDP(*this, kChannelID, RunHosts().far, 0, 0, port)); }
    ~CPublication() override { Release(); }

private:
    void OnFileSenderNotifyConnected(unsigned long, bool) override { OnTaken(); }
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
