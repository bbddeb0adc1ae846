// The library over TCP: a file channel's TCP sink, and a receiver that dials the publisher's listener.
#include "bench/transports/lumo_tcp_receiver.h"
#include "bench/transports/transports.h"

namespace bench {

namespace {

void Subscribe(CSide& side) {
    CBulkReceiver bulk(side);
    CTcpReceiver receiver(wire::TcpType::FileReceiver, side.Port(),
                          [&](const char* data, int length) { bulk.OnFrame(data, length); });
    side.Connected();
    side.WaitForStop();
}

nlohmann::json Settings() { return LumoSettings("a channel's TCP sink to a client in another process"); }

}  // namespace

std::vector<CDriver> LumoTcpDrivers() {
    return {{"lumo-tcp", Role::Receiver, Listener::Sender, PublishBulk, Subscribe, Settings}};
}

}  // namespace bench
