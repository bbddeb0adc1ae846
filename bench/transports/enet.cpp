// ENet: reliable packets on one channel, host and peer set up for speed.
#include "bench/harness/frames.h"
#include "bench/harness/ping.h"
#include "bench/harness/sockets.h"
#include "bench/transports/transports.h"

#include <enet/enet.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <stdexcept>

namespace bench {

namespace {

constexpr uint32_t kFramesInFlight = 32;
constexpr uint32_t kWaitMs = 1;
constexpr uint32_t kConnectMs = 5000;

std::atomic<uint32_t> g_nFreed{0};  // frames that ENet is done with: wholly acknowledged

class CEnetHost {
public:
    explicit CEnetHost(bool listens) {
        if (enet_initialize() != 0) throw std::runtime_error("enet_initialize");
        ENetAddress address{};
        address.host = htonl(RunHosts().own);
        m_pHost = enet_host_create(listens ? &address : nullptr, 1, 1, 0, 0);
        if (!m_pHost) throw std::runtime_error("enet_host_create");
        enet_socket_set_option(m_pHost->socket, ENET_SOCKOPT_RCVBUF, kBufferBytes);
        enet_socket_set_option(m_pHost->socket, ENET_SOCKOPT_SNDBUF, kBufferBytes);
    }
    ~CEnetHost() {
        enet_host_destroy(m_pHost);
        enet_deinitialize();
    }
    CEnetHost(const CEnetHost&) = delete;
    CEnetHost& operator=(const CEnetHost&) = delete;

    uint16_t Port() const { return m_pHost->address.port; }
    void Dial(uint16_t port) {
        ENetAddress address{};
        address.host = htonl(RunHosts().far);
        address.port = port;
        if (!enet_host_connect(m_pHost, &address, 1, 0)) throw std::runtime_error("enet_host_connect");
    }
    void WaitForPeer() {
        ENetEvent event{};
        if (enet_host_service(m_pHost, &event, kConnectMs) <= 0 || event.type != ENET_EVENT_TYPE_CONNECT)
            throw std::runtime_error("no ENet connection");
        m_pPeer = event.peer;
        // The throttle also narrows the window of reliable packets; it shall not.
        enet_peer_throttle_configure(m_pPeer, ENET_PEER_PACKET_THROTTLE_INTERVAL, ENET_PEER_PACKET_THROTTLE_SCALE, 0);
        Flush();  // the last acknowledgement of the handshake
    }
    /// Sends what waits and gives the next frame that came within the time to `take`; false when none did.
    template <class TTake>
    bool Serve(uint32_t milliseconds, TTake take) {
        ENetEvent event{};
        const int result = enet_host_service(m_pHost, &event, milliseconds);
        if (result < 0) throw std::runtime_error("enet_host_service");
        if (result == 0) return false;
        if (event.type == ENET_EVENT_TYPE_DISCONNECT) throw std::runtime_error("the ENet peer left");
        if (event.type != ENET_EVENT_TYPE_RECEIVE) return true;
        take(reinterpret_cast<const char*>(event.packet->data), static_cast<int>(event.packet->dataLength));
        enet_packet_destroy(event.packet);
        return true;
    }
    void Queue(const char* data, int length) {
        ENetPacket* packet = enet_packet_create(data, static_cast<size_t>(length), ENET_PACKET_FLAG_RELIABLE);
        packet->freeCallback = [](ENetPacket*) { g_nFreed.fetch_add(1, std::memory_order_relaxed); };
        if (enet_peer_send(m_pPeer, 0, packet) != 0) throw std::runtime_error("enet_peer_send");
    }
    void Flush() { enet_host_flush(m_pHost); }

private:
    ENetHost* m_pHost = nullptr;
    ENetPeer* m_pPeer = nullptr;
};

const auto kIgnore = [](const char*, int) {};

void ServeUntilStopped(CSide& side, CEnetHost& host) {
    while (!side.Stopped()) host.Serve(kWaitMs, kIgnore);
}

std::unique_ptr<CEnetHost> ConnectedHost(CSide& side, bool listens) {
    auto host = std::make_unique<CEnetHost>(listens);
    if (listens)
        side.Listening(host->Port());
    else
        host->Dial(side.Port());
    host->WaitForPeer();
    side.Connected();
    return host;
}

void SendBulk(CSide& side) {
    const auto host = ConnectedHost(side, false);
    CFrameSource source(side);
    for (bool more = true; more;) {
        while (more && source.Made() - g_nFreed < kFramesInFlight)
            if ((more = source.Next())) host->Queue(source.Data(), source.Length());
        host->Serve(kWaitMs, kIgnore);
    }
    ServeUntilStopped(side, *host);
}

void ReceiveBulk(CSide& side) {
    const auto host = ConnectedHost(side, true);
    CBulkReceiver receiver(side);
    while (!receiver.Done())
        host->Serve(receiver.Finished() ? kWaitMs : kConnectMs,
                    [&](const char* data, int length) { receiver.OnFrame(data, length); });
    ServeUntilStopped(side, *host);
}

void Ping(CSide& side) {
    const auto host = ConnectedHost(side, false);
    CPinger pinger(side);
    for (bool more = true; more;) {
        host->Queue(pinger.Next(), pinger.Length());
        host->Flush();
        bool answered = false;
        while (!answered)
            host->Serve(kConnectMs, [&](const char* data, int length) {
                more = pinger.OnReply(data, length);
                answered = true;
            });
    }
    ServeUntilStopped(side, *host);
}

void Echo(CSide& side) {
    const auto host = ConnectedHost(side, true);
    while (!side.Stopped()) {
        // Asking whether the run is over costs a system call, so it is asked only when nothing comes.
        while (host->Serve(kConnectMs / 100, [&](const char* data, int length) {
            host->Queue(data, length);
            host->Flush();
        })) {}
    }
}

nlohmann::json Settings() {
    const ENetVersion version = enet_linked_version();
    return {{"version", std::to_string(ENET_VERSION_GET_MAJOR(version)) + "." +
                            std::to_string(ENET_VERSION_GET_MINOR(version)) + "." +
                            std::to_string(ENET_VERSION_GET_PATCH(version))},
            {"packets", "reliable, one channel, copied by enet_packet_create"},
            {"bandwidth limits", "none (0), so the largest window, 64 KiB"},
            {"throttle", "acceleration 32, deceleration 0: never narrowed"},
            {"socket buffers", kBufferBytes},
            {"MTU", ENET_HOST_DEFAULT_MTU},
            {"checksum, compression", "none"},
            {"frames under way", kFramesInFlight}};
}

}  // namespace

std::vector<CDriver> EnetDrivers() {
    return {{"enet", Role::Receiver, Listener::Receiver, SendBulk, ReceiveBulk, Settings},
            {"enet-ping", Role::Sender, Listener::Receiver, Ping, Echo, Settings}};
}

}  // namespace bench
