// Raw datagrams of the size of a full packet, neither ordered nor repeated: what the kernel itself allows.
#include "bench/harness/clock.h"
#include "bench/harness/frames.h"
#include "bench/harness/sockets.h"
#include "bench/transports/transports.h"

#include <netinet/in.h>
#include <netinet/udp.h>
#include <poll.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#ifndef UDP_SEGMENT
#define UDP_SEGMENT 103
#endif

namespace bench {

namespace {

constexpr size_t kPayload = 1040;            // of a frame in one datagram
constexpr size_t kDatagram = kPayload + 22;  // with the headers that a full packet of the library has
constexpr size_t kBatch = 64;
constexpr size_t kSegments = 60;  // of one segmented send: just under 64 KiB
constexpr size_t kReceiveBatch = 16;
constexpr int kQuietMs = 300;  // nothing for so long: the rest is lost

uint64_t Datagrams(const RunSpec& spec) { return spec.frames * uint64_t{(spec.frameLen + kPayload - 1) / kPayload}; }

CSocket ReceivingSocket(CSide& side) {
    CSocket socket(SOCK_DGRAM);
    socket.RaiseBuffers();
    side.Listening(socket.Bind(0));
    side.Connected();
    return socket;
}

CSocket SendingSocket(CSide& side) {
    CSocket socket(SOCK_DGRAM);
    socket.RaiseBuffers();
    socket.Connect(side.Port());
    side.Connected();
    return socket;
}

/// Counts what comes until everything is there or nothing has come for a while.
template <class TReceiveSome>
void CountDatagrams(CSide& side, CSocket& socket, TReceiveSome receiveSome) {
    const uint64_t expected = Datagrams(side.Spec());
    uint64_t received = 0;
    int64_t first = 0;
    int64_t last = 0;
    pollfd wait{socket.Fd(), POLLIN, 0};
    while (received < expected) {
        if (poll(&wait, 1, first == 0 ? 10000 : kQuietMs) == 0) break;
        for (size_t some = receiveSome(); some > 0; some = receiveSome()) {
            received += some;
            last = NowNs();
            if (first == 0) first = last;
        }
    }
    side.Finish({{"bytes", static_cast<double>(received * kPayload)},
                 {"seconds", static_cast<double>(last - first) * 1e-9},
                 {"lost_percent", 100.0 * static_cast<double>(expected - received) / static_cast<double>(expected)}});
    side.WaitForStop();
}

template <class TSendSome>
void SendDatagrams(CSide& side, size_t atOnce, TSendSome sendSome) {
    for (uint64_t left = Datagrams(side.Spec()); left > 0;) left -= sendSome(left < atOnce ? left : atOnce);
    side.WaitForStop();
}

void SendSingly(CSide& side) {
    CSocket socket = SendingSocket(side);
    std::array<char, kDatagram> datagram{};
    SendDatagrams(side, 1, [&](size_t) {
        if (send(socket.Fd(), datagram.data(), datagram.size(), 0) < 0) throw std::runtime_error("send");
        return size_t{1};
    });
}

void SendMany(CSide& side) {
    CSocket socket = SendingSocket(side);
    std::array<char, kDatagram> datagram{};
    iovec part{datagram.data(), datagram.size()};
    std::array<mmsghdr, kBatch> messages{};
    for (mmsghdr& message : messages) {
        message.msg_hdr.msg_iov = &part;
        message.msg_hdr.msg_iovlen = 1;
    }
    SendDatagrams(side, kBatch, [&](size_t count) {
        const int sent = sendmmsg(socket.Fd(), messages.data(), static_cast<unsigned>(count), 0);
        if (sent <= 0) throw std::runtime_error("sendmmsg");
        return static_cast<size_t>(sent);
    });
}

void SendSegmented(CSide& side) {
    CSocket socket = SendingSocket(side);
    socket.Set(SOL_UDP, UDP_SEGMENT, kDatagram);
    std::array<char, kDatagram * kSegments> run{};
    SendDatagrams(side, kSegments, [&](size_t count) {
        if (send(socket.Fd(), run.data(), kDatagram * count, 0) < 0) throw std::runtime_error("send");
        return count;
    });
}

void ReceiveSingly(CSide& side) {
    CSocket socket = ReceivingSocket(side);
    std::array<char, 2048> buffer{};
    CountDatagrams(side, socket, [&] {
        return recv(socket.Fd(), buffer.data(), buffer.size(), MSG_DONTWAIT) > 0 ? size_t{1} : size_t{0};
    });
}

void ReceiveMany(CSide& side) {
    CSocket socket = ReceivingSocket(side);
    std::array<std::array<char, 2048>, kReceiveBatch> buffers{};
    std::array<iovec, kReceiveBatch> parts{};
    std::array<mmsghdr, kReceiveBatch> messages{};
    for (size_t i = 0; i < kReceiveBatch; ++i) {
        parts[i] = {buffers[i].data(), buffers[i].size()};
        messages[i].msg_hdr.msg_iov = &parts[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    CountDatagrams(side, socket, [&] {
        const int got = recvmmsg(socket.Fd(), messages.data(), kReceiveBatch, MSG_DONTWAIT, nullptr);
        return got > 0 ? static_cast<size_t>(got) : size_t{0};
    });
}

void ReceiveCoalesced(CSide& side) {
    CSocket socket = ReceivingSocket(side);
    socket.CoalesceReceived();
    std::vector<char> buffer(65536);
    CountDatagrams(side, socket, [&] {
        const ssize_t got = recv(socket.Fd(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        return got > 0 ? static_cast<size_t>(got) / kDatagram : size_t{0};
    });
}

nlohmann::json Settings() {
    return {{"datagram", kDatagram},    {"frame bytes in each", kPayload},           {"socket buffers", kBufferBytes},
            {"sendmmsg batch", kBatch}, {"segments of a segmented send", kSegments}, {"recvmmsg batch", kReceiveBatch},
            {"reliable", false}};
}

}  // namespace

std::vector<CDriver> DatagramDrivers() {
    return {{"sendto", Role::Receiver, Listener::Receiver, SendSingly, ReceiveSingly, Settings},
            {"sendmmsg", Role::Receiver, Listener::Receiver, SendMany, ReceiveMany, Settings},
            {"gso", Role::Receiver, Listener::Receiver, SendSegmented, ReceiveCoalesced, Settings}};
}

}  // namespace bench
