// The library from process to process: a file channel's UDP sink and a receiver, each behind its own local MCU.
#include "bench/harness/ping.h"
#include "bench/transports/lumo_receiver.h"
#include "bench/transports/transports.h"

#include <nlohmann/json.hpp>

namespace bench {

namespace {

void Subscribe(CSide& side) {
    CLumoNode node;
    CBulkReceiver bulk(side);
    CLumoReceiver receiver([&](const char* data, int length) { bulk.OnFrame(data, length); });
    receiver.ConnectToPublisher(node, side.Port());
    side.Connected();
    receiver.PollUntilStopped(side);
}

/// Both ends answer from the callback that brings the frame, as the transports with one thread do.
void Ping(CSide& side) {
    CPinger pinger(side);
    CFileChannel* channel = nullptr;
    CLumoNode node([&](const char* data, int length) {
        if (pinger.OnReply(data, length)) channel->OnFileChannelData(pinger.Next(), pinger.Length());
    });
    channel = &node.Channel();
    side.Listening(node.Port());
    node.WaitForSinks(1);
    side.Connected();
    channel->OnFileChannelData(pinger.Next(), pinger.Length());
    side.WaitForStop();
}

void Echo(CSide& side) {
    CLumoNode node;
    CLumoReceiver receiver([&](const char* data, int length) { node.Channel().OnFileChannelData(data, length); });
    receiver.ConnectToPublisher(node, side.Port());
    side.Connected();
    receiver.PollUntilStopped(side);
}

nlohmann::json Settings() { return LumoSettings("a channel's UDP sink to a receiver in another process"); }

}  // namespace

std::vector<CDriver> LumoDirectDrivers() {
    return {{"lumo", Role::Receiver, Listener::Sender, PublishBulk, Subscribe, Settings},
            {"lumo-wide", Role::Receiver, Listener::Sender, Wide<PublishBulk>, Wide<Subscribe>, Settings},
            {"lumo-ping", Role::Sender, Listener::Sender, Ping, Echo, Settings}};
}

}  // namespace bench
