// The two halves of the Linux endpoint at the socket: what the kernel is really asked for.
#if defined(__linux__)

#include "platform/lumonet/udp_receiver_linux.h"
#include "platform/lumonet/udp_sender_linux.h"
#include "platform/lumonet/udp_socket.h"
#include "udp_peer.h"

#include <netinet/udp.h>
#include <sys/socket.h>

namespace {

CUdpSocket OpenOnLoopback() {
    CUdpSocket socket;
    EXPECT_TRUE(OpenUdpSocket({kLoopback, 0, false}, socket));
    return socket;
}

bool KernelHas(int option) {
    const CUdpSocket socket = OpenOnLoopback();
    const int value = 0;
    return setsockopt(socket.fd.Get(), SOL_UDP, option, &value, sizeof value) == 0;
}

constexpr size_t kSegment = 100;
constexpr uint16_t kDatagrams = 10;

/// Sends one run of ten equal datagrams and says in how many pieces it came out at the other end.
class CPieces {
public:
    explicit CPieces(const UdpFeatures& features)
        : m_out(OpenOnLoopback()), m_in(OpenOnLoopback()), m_sender(m_out.fd.Get(), features) {
        const int on = 1;
        setsockopt(m_in.fd.Get(), SOL_UDP, UDP_GRO, &on, sizeof on);
    }
    size_t SendRun() {
        const std::string bytes = Pattern(1, kSegment * kDatagrams);
        const CUdpRun run{kLoopback, m_in.port, kDatagrams, 0, kSegment, 0, kSegment * kDatagrams};
        m_sender.Send({&run, 1}, bytes.data());
        std::string received;
        size_t pieces = 0;
        char piece[65536];
        while (received.size() < bytes.size()) {
            const ssize_t length = recv(m_in.fd.Get(), piece, sizeof piece, MSG_DONTWAIT);
            if (length <= 0) break;  // loopback delivers before the send has returned
            received.append(piece, static_cast<size_t>(length));
            ++pieces;
        }
        EXPECT_EQ(received, bytes);
        return pieces;
    }
    /// A socket that leaves its checksums out: the kernel refuses to segment for it.
    void RefuseSegmentation(bool refuse) {
        const int value = refuse ? 1 : 0;
        ASSERT_EQ(setsockopt(m_out.fd.Get(), SOL_SOCKET, SO_NO_CHECK, &value, sizeof value), 0);
    }

private:
    CUdpSocket m_out, m_in;
    CUdpSenderLinux m_sender;
};

TEST(UdpLinuxTest, ARunLeavesAsOneMessageOnlyWithSendOffload) {
    const size_t whole = KernelHas(UDP_SEGMENT) && KernelHas(UDP_GRO) ? 1 : kDatagrams;
    EXPECT_EQ(CPieces({true, true, true, true}).SendRun(), whole);
    EXPECT_EQ(CPieces({true, true, false, true}).SendRun(), whole);
    EXPECT_EQ(CPieces({true, false, true, true}).SendRun(), kDatagrams);
    EXPECT_EQ(CPieces({true, false, false, true}).SendRun(), kDatagrams);
}

TEST(UdpLinuxTest, ARefusedMessageGoesInPiecesForAWhile) {
    CPieces pieces(UdpFeatures{});
    const size_t whole = pieces.SendRun();
    const UdpCounters before = GetUdpCounters();
    pieces.RefuseSegmentation(true);
    EXPECT_EQ(pieces.SendRun(), kDatagrams);
    pieces.RefuseSegmentation(false);
    EXPECT_EQ(GetUdpCounters().sent - before.sent, kDatagrams);
    EXPECT_EQ(GetUdpCounters().refused - before.refused, 0u);
    for (int i = 0; i < udp::kPlainFlushes; ++i) ASSERT_EQ(pieces.SendRun(), kDatagrams) << "remembered";
    EXPECT_EQ(pieces.SendRun(), whole) << "and tried again";
}

TEST(UdpLinuxTest, TheReceiverCutsAndTakesAsItsFeaturesSay) {
    const bool offload = KernelHas(UDP_GRO) && KernelHas(UDP_SEGMENT);
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
        const CUdpSocket out = OpenOnLoopback(), in = OpenOnLoopback();
        CUdpReceiverLinux receiver(in.fd.Get(), row.features, true);
        CUdpSenderLinux sender(out.fd.Get(), UdpFeatures{});
        const std::string bytes = Pattern(3, 250);
        const CUdpRun run{kLoopback, in.port, 3, 0, 100, 0, 250};
        for (int i = 0; i < 2; ++i) sender.Send({&run, 1}, bytes.data());
        ASSERT_EQ(receiver.Receive(), row.runs);
        const CReceivedRun first = receiver.Run(0);
        EXPECT_EQ(first.length, row.firstSize);
        EXPECT_EQ(first.segment, 100u);
        EXPECT_EQ(std::string(first.data, first.length), bytes.substr(0, row.firstSize));
        EXPECT_EQ(first.ip, kLoopback);
        EXPECT_EQ(first.port, out.port);
        EXPECT_EQ(first.askedIP, kLoopback);
    }
}

}  // namespace

#endif
