#include "bench/transports/stream_sinks.h"

#include "bench/transports/lumo_node.h"

#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace bench {

namespace {

constexpr int kAskAgainMs = 100;
constexpr uint32_t kFirstReceiverID = 1000;

void AllowManySockets() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

CStreamSinks::CStreamSinks(const CMediumRow& medium, uint16_t port, Listener where)
    : m_medium(medium), m_usPort(port), m_where(where) {
    AllowManySockets();
}

void CStreamSinks::Ask(const StreamSink& sink) const {
    wire::CWireWriter request(m_medium.kind, sink.sinkID == 0 ? m_medium.sink.connect : m_medium.sink.keepAlive);
    if (sink.sinkID != 0) {
        request.U32(sink.sinkID);
    } else {
        request.U32(sink.receiverID).U32(kChannelID);
        if (m_where == Listener::RelayServer) request.U32(0).U32(0).U32(0).U16(0);  // there is no nearer server
        request.U32(CLumoHost::kUser);
    }
    send(sink.socket.Fd(), request.Data(), static_cast<size_t>(request.Length()), 0);  // asked again when it is lost
}

bool CStreamSinks::TakeAnswers(std::span<StreamSink> asking, int waitMs) {
    std::array<pollfd, kAtOnce> waits{};
    const auto waiting = [](const StreamSink& sink) { return !sink.started; };
    for (bool any = true; any && std::any_of(asking.begin(), asking.end(), waiting);) {
        for (size_t i = 0; i < asking.size(); ++i)
            waits[i] = {waiting(asking[i]) ? asking[i].socket.Fd() : -1, POLLIN, 0};
        any = poll(waits.data(), asking.size(), waitMs) > 0;
        for (size_t i = 0; i < asking.size(); ++i) {
            if (waits[i].revents == 0) continue;
            std::array<char, 2048> buffer{};
            const ssize_t length = recv(asking[i].socket.Fd(), buffer.data(), buffer.size(), MSG_DONTWAIT);
            wire::CWireReader answer(buffer.data(), static_cast<int>(length));
            const bool ours = answer.U8() == static_cast<uint8_t>(m_medium.kind);
            const uint8_t code = answer.U8();
            if (!ours || answer.U32() != asking[i].receiverID) continue;
            if (code == m_medium.sink.keepAliveAck) asking[i].started = true;
            if (code != m_medium.sink.connectAck || asking[i].sinkID != 0) continue;
            asking[i].sinkID = answer.U32();
            Ask(asking[i]);
        }
    }
    return std::none_of(asking.begin(), asking.end(), waiting);
}

void CStreamSinks::GrowTo(size_t count) {
    m_sinks.reserve(count);
    while (m_sinks.size() < count) {
        const size_t first = m_sinks.size();
        m_sinks.resize(std::min(first + kAtOnce, count));
        const std::span<StreamSink> asking = All().subspan(first);
        for (size_t i = 0; i < asking.size(); ++i) {
            asking[i].receiverID = kFirstReceiverID + static_cast<uint32_t>(first + i);
            asking[i].socket.Connect(m_usPort);
        }
        bool all = false;
        for (int waited = 0; !all && waited < kConnectMs; waited += kAskAgainMs) {
            for (const StreamSink& sink : asking)
                if (!sink.started) Ask(sink);
            all = TakeAnswers(asking, kAskAgainMs);
        }
        if (!all) throw std::runtime_error("not every subscriber was taken");
    }
}

}  // namespace bench
