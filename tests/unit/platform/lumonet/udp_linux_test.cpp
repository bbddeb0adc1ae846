// The two halves of the Linux endpoint at the socket: what the kernel is really asked for.
#if defined(__linux__)

#include "platform/lumonet/udp_receiver_linux.h"
#include "platform/lumonet/udp_sender_linux.h"
#include "platform/lumonet/udp_socket.h"
#include "udp_peer.h"

#include <netinet/udp.h>
#include <sys/socket.h>

#include <algorithm>

namespace {

constexpr uint32_t kSegment = 100;
constexpr uint16_t kDatagrams = 10;

CUdpSocket OpenOnLoopback() {
    CUdpSocket socket;
    EXPECT_TRUE(OpenUdpSocket({kLoopback, 0, false}, socket));
    return socket;
}

bool Set(const CUdpSocket& socket, int level, int option, int value) {
    return setsockopt(socket.fd.Get(), level, option, &value, sizeof value) == 0;
}

bool KernelOffloads() {
    const CUdpSocket socket = OpenOnLoopback();
    return Set(socket, SOL_UDP, UDP_SEGMENT, 0) && Set(socket, SOL_UDP, UDP_GRO, 0);
}

/// A sender and the socket that it sends to.
class CLine {
public:
    explicit CLine(const UdpFeatures& features) : m_sender(out.fd.Get(), features) {}
    /// One run of datagrams of kSegment bytes; the last may be shorter.
    std::string Send(uint16_t count, uint32_t length) {
        const std::string bytes = Pattern(1, length);
        const CUdpRun run{kLoopback, in.port, count, 0, kSegment, 0, length};
        m_sender.Send({&run, 1}, bytes.data());
        return bytes;
    }
    /// Ten equal ones, and in how many pieces they come out at the other end.
    size_t SendTen() {
        EXPECT_TRUE(Set(in, SOL_UDP, UDP_GRO, 1) || !KernelOffloads());
        const std::string bytes = Send(kDatagrams, kDatagrams * kSegment);
        std::string received;
        size_t pieces = 0;
        char piece[65536];
        for (ssize_t length = 1; received.size() < bytes.size() && length > 0; ++pieces) {
            length = recv(in.fd.Get(), piece, sizeof piece, MSG_DONTWAIT);  // loopback delivers before the send returns
            received.append(piece, static_cast<size_t>(std::max<ssize_t>(length, 0)));
        }
        EXPECT_EQ(received, bytes);
        return pieces;
    }

    const CUdpSocket out = OpenOnLoopback(), in = OpenOnLoopback();

private:
    CUdpSenderLinux m_sender;
};

TEST(UdpLinuxTest, ARunLeavesAsOneMessageOnlyWithSendOffload) {
    for (const bool multiMessage : {true, false}) {
        EXPECT_EQ(CLine({true, true, multiMessage, true}).SendTen(), KernelOffloads() ? size_t{1} : kDatagrams);
        EXPECT_EQ(CLine({true, false, multiMessage, true}).SendTen(), kDatagrams);
    }
}

TEST(UdpLinuxTest, ARefusedMessageGoesInPiecesForAWhile) {
    CLine line(UdpFeatures{});
    const size_t whole = line.SendTen();
    const UdpCounters before = GetUdpCounters();
    // For a socket that leaves its checksums out the kernel refuses to segment.
    ASSERT_TRUE(Set(line.out, SOL_SOCKET, SO_NO_CHECK, 1));
    EXPECT_EQ(line.SendTen(), kDatagrams);
    ASSERT_TRUE(Set(line.out, SOL_SOCKET, SO_NO_CHECK, 0));
    EXPECT_EQ(GetUdpCounters().sent - before.sent, kDatagrams);
    EXPECT_EQ(GetUdpCounters().refused - before.refused, 0u);
    for (int i = 0; i < udp::kPlainFlushes; ++i) ASSERT_EQ(line.SendTen(), kDatagrams) << "remembered";
    EXPECT_EQ(line.SendTen(), whole) << "and tried again";
}

TEST(UdpLinuxTest, TheReceiverCutsAndTakesAsItsFeaturesSay) {
    const bool offload = KernelOffloads();
    const struct {
        UdpFeatures features;
        size_t runs;       // that one call takes of two batches of three datagrams
        size_t firstSize;  // of the first run
    } rows[] = {
        {{true, true, true, true}, offload ? 2u : 6u, offload ? 250u : 100u},
        {{false, true, true, true}, 6, 100},
        {{true, true, false, true}, 1, offload ? 250u : 100u},
        {{false, true, false, true}, 1, 100},
    };
    for (const auto& row : rows) {
        CLine line(UdpFeatures{});
        CUdpReceiverLinux receiver(line.in.fd.Get(), row.features, true);
        line.Send(3, 250);
        const std::string bytes = line.Send(3, 250);
        ASSERT_EQ(receiver.Receive(), row.runs);
        const CReceivedRun first = receiver.Run(0);
        EXPECT_EQ(first.segment, kSegment);
        EXPECT_EQ(std::string(first.data, first.length), bytes.substr(0, row.firstSize));
        EXPECT_EQ(first.ip, kLoopback);
        EXPECT_EQ(first.port, line.out.port);
        EXPECT_EQ(first.askedIP, kLoopback);
    }
}

}  // namespace

#endif
