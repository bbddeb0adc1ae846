// A publisher with many subscribers and nothing to send: what its process costs.
#include "bench/harness/clock.h"
#include "bench/harness/sockets.h"
#include "bench/transports/lumo_node.h"
#include "bench/transports/transports.h"
#include "core/wire/wire_io.h"

#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <array>
#include <set>
#include <stdexcept>

namespace bench {

namespace {

constexpr int kKeepAliveMs = 12000;  // each subscriber's, when it is polled once a second
constexpr uint32_t kFirstReceiverID = 1000;
constexpr uint32_t kRequestsAtOnce = 50;

void Publish(CSide& side) {
    CLumoNode node;
    usleep(200000);  // for threads to start
    const double before = ResidentBytes();
    side.Listening(node.Port());
    node.WaitForSinks(side.Spec().sinks);
    side.Connected();
    const double cpu = CpuSeconds();
    const int64_t start = NowNs();
    for (uint32_t i = 0; i < side.Spec().idleSeconds; ++i) sleep(1);
    const double seconds = static_cast<double>(NowNs() - start) * 1e-9;
    const double used = CpuSeconds() - cpu;
    const double sinks = static_cast<double>(node.Channel().GetFileSinkCount());
    if (sinks < side.Spec().sinks) side.Fail("a subscriber was lost");
    side.Finish({{"seconds", seconds},
                 {"sinks", sinks},
                 {"core_percent", 100 * used / seconds},
                 {"grown_MiB", (ResidentBytes() - before) / (1024 * 1024)}});
    side.WaitForStop();
}

/// All subscribers behind one socket.
class CSubscribers {
public:
    CSubscribers(uint16_t port, uint32_t count) : m_nCount(count) {
        m_socket.RaiseBuffers();
        m_socket.Connect(port);
    }

    void ConnectAll() {
        for (int attempt = 0; attempt < 100 && m_sinks.size() < m_nCount; ++attempt) {
            for (uint32_t i = 0; i < m_nCount; ++i) {
                Send(wire::CWireWriter(wire::Kind::File, wire::UDP_FILE_SINK_CONNECT)
                         .U32(kFirstReceiverID + i)
                         .U32(kChannelID));
                if (i % kRequestsAtOnce == 0) TakeAnswers(1);
            }
            TakeAnswers(100);
        }
        if (m_sinks.size() < m_nCount) throw std::runtime_error("not every subscriber was taken");
    }
    /// Keep-alives spread evenly, as those of independent subscribers are.
    void KeepAliveUntilStopped(CSide& side) {
        const std::vector<uint32_t> sinks(m_sinks.begin(), m_sinks.end());
        const double perMs = static_cast<double>(sinks.size()) / kKeepAliveMs;
        const int64_t start = NowNs();
        size_t sent = 0;
        while (!side.Stopped(10)) {
            const auto due = static_cast<size_t>(static_cast<double>(NowNs() - start) * 1e-6 * perMs);
            for (; sent < due; ++sent)
                Send(wire::CWireWriter(wire::Kind::File, wire::UDP_FILE_SINK_KEEP_ALIVE)
                         .U32(sinks[sent % sinks.size()]));
            TakeAnswers(0);
        }
    }

private:
    void Send(const wire::CWireWriter& datagram) {
        if (send(m_socket.Fd(), datagram.Data(), static_cast<size_t>(datagram.Length()), 0) < 0)
            throw std::runtime_error("send");
    }
    void TakeAnswers(int waitMs) {
        std::array<char, 2048> buffer{};
        pollfd wait{m_socket.Fd(), POLLIN, 0};
        while (poll(&wait, 1, waitMs) > 0) {
            const ssize_t length = recv(m_socket.Fd(), buffer.data(), buffer.size(), MSG_DONTWAIT);
            wire::CWireReader reader(buffer.data(), static_cast<int>(length));
            if (reader.U8() != static_cast<uint8_t>(wire::Kind::File) || reader.U8() != wire::UDP_FILE_SINK_CONNECT_ACK)
                continue;
            reader.U32();
            const uint32_t sinkID = reader.U32();
            if (reader.Ok()) m_sinks.insert(sinkID);
        }
    }

    const uint32_t m_nCount;
    CSocket m_socket{SOCK_DGRAM};
    std::set<uint32_t> m_sinks;
};

void Subscribe(CSide& side) {
    CSubscribers subscribers(side.Port(), side.Spec().sinks);
    subscribers.ConnectAll();
    side.Connected();
    subscribers.KeepAliveUntilStopped(side);
}

nlohmann::json Settings() {
    nlohmann::json settings = LumoSettings("UDP sinks of one channel, all subscribed from one socket");
    settings["keep-alive of each subscriber, ms"] = kKeepAliveMs;
    return settings;
}

}  // namespace

std::vector<CDriver> LumoIdleDrivers() {
    return {{"lumo-idle", Role::Sender, Listener::Sender, Publish, Subscribe, Settings}};
}

}  // namespace bench
