// The library over TCP: a file channel's TCP sink, and a receiver that dials the publisher's listener.
#include "bench/transports/lumo_tcp_receiver.h"
#include "bench/transports/transports.h"

#include <nlohmann/json.hpp>

namespace bench {

namespace {

/// Over a path with bbr where the kernel has it, as the program lumo asks for it.
void Publish(CSide& side) {
    if (side.Spec().path.IsEmulated()) SetTcpCongestionControl("bbr");
    PublishBulk(side);
}

void Subscribe(CSide& side) {
    CBulkReceiver bulk(side);
    CTcpReceiver receiver(wire::TcpType::FileReceiver, side.Port(),
                          [&](const char* data, int length) { bulk.OnFrame(data, length); });
    side.Connected();
    side.WaitForStop();
}

nlohmann::json Settings() {
    nlohmann::json settings = LumoSettings("a channel's TCP sink to a client in another process");
    settings["congestion control over an emulated path"] = "bbr";
    return settings;
}

}  // namespace

std::vector<CDriver> LumoTcpDrivers() {
    return {{"lumo-tcp", Role::Receiver, Listener::Sender, Publish, Subscribe, Settings}};
}

}  // namespace bench
