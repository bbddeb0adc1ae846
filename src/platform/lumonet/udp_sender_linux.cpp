#if defined(__linux__)

#include "platform/lumonet/udp_sender_linux.h"

#include "platform/lumonet/socket_address.h"
#include "platform/lumonet/udp_counters.h"

#include <netinet/udp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kSegmentRoom = CMSG_SPACE(sizeof(uint16_t));
constexpr size_t kSourceRoom = CMSG_SPACE(sizeof(in_pktinfo));

template <typename Value>
cmsghdr* AppendControl(msghdr& header, cmsghdr* previous, int level, int type, const Value& value) {
    cmsghdr* control = previous ? CMSG_NXTHDR(&header, previous) : CMSG_FIRSTHDR(&header);
    if (!control) return previous;  // never: the room was counted for both
    control->cmsg_level = level;
    control->cmsg_type = type;
    control->cmsg_len = CMSG_LEN(sizeof value);
    std::memcpy(CMSG_DATA(control), &value, sizeof value);
    return control;
}

bool KernelKnowsSegments(int fd) {
    const int off = 0;
    return setsockopt(fd, SOL_UDP, UDP_SEGMENT, &off, sizeof off) == 0;
}

}  // namespace

/// Messages for one call, each a datagram or an offloaded run.
class CUdpSenderLinux::CMessages {
public:
    explicit CMessages(const char* bytes) : m_pBytes(bytes) {}
    CMessages(const CMessages&) = delete;
    CMessages& operator=(const CMessages&) = delete;

    bool Full() const { return m_nCount == udp::kSendMessages; }
    void Clear() { m_nCount = 0; }
    /// `count` datagrams of the run as one message. The run must outlive this.
    void Add(const CUdpRun& run, uint32_t first, uint32_t count) {
        const size_t i = m_nCount++;
        const uint32_t length = count == 1 ? run.SizeOf(first) : run.length;
        m_runs[i] = &run;
        m_to[i] = ToSocketAddress(run.ip, run.port);
        m_pieces[i].iov_base = const_cast<char*>(m_pBytes) + run.offset + size_t{run.segment} * first;
        m_pieces[i].iov_len = length;
        msghdr& header = m_messages[i].msg_hdr;
        header = {};
        header.msg_name = &m_to[i];
        header.msg_namelen = sizeof m_to[i];
        header.msg_iov = &m_pieces[i];
        header.msg_iovlen = 1;
        m_counts[i] = static_cast<uint16_t>(count);
        if (count > 1 || run.sourceIP != 0) AddControls(i, header, run, count > 1);
    }

    size_t Count() const { return m_nCount; }
    mmsghdr* From(size_t i) { return &m_messages[i]; }
    const CUdpRun& Run(size_t i) const { return *m_runs[i]; }
    uint32_t Datagrams(size_t i) const { return m_counts[i]; }
    size_t Length(size_t i) const { return m_pieces[i].iov_len; }
    const char* Bytes() const { return m_pBytes; }

private:
    void AddControls(size_t i, msghdr& header, const CUdpRun& run, bool segmented) {
        header.msg_control = m_controls[i].bytes;
        header.msg_controllen = (segmented ? kSegmentRoom : 0) + (run.sourceIP != 0 ? kSourceRoom : 0);
        cmsghdr* last = nullptr;
        if (segmented) last = AppendControl(header, last, SOL_UDP, UDP_SEGMENT, static_cast<uint16_t>(run.segment));
        if (run.sourceIP == 0) return;
        in_pktinfo source{};
        source.ipi_spec_dst.s_addr = htonl(run.sourceIP);
        AppendControl(header, last, IPPROTO_IP, IP_PKTINFO, source);
    }

    struct alignas(cmsghdr) Control {
        char bytes[kSegmentRoom + kSourceRoom];
    };

    const char* const m_pBytes;
    size_t m_nCount = 0;
    std::array<mmsghdr, udp::kSendMessages> m_messages;
    std::array<iovec, udp::kSendMessages> m_pieces;
    std::array<sockaddr_in, udp::kSendMessages> m_to;
    std::array<Control, udp::kSendMessages> m_controls;
    std::array<const CUdpRun*, udp::kSendMessages> m_runs;
    std::array<uint16_t, udp::kSendMessages> m_counts;
};

CUdpSenderLinux::CUdpSenderLinux(int fd, const UdpFeatures& features)
    : m_fd(fd), m_bMultiMessage(features.multiMessage), m_bOffload(features.sendOffload && KernelKnowsSegments(fd)) {}

void CUdpSenderLinux::Send(std::span<const CUdpRun> runs, const char* bytes) {
    const bool offload = MayOffload();
    CMessages messages(bytes);
    for (const CUdpRun& run : runs) {
        const uint32_t step = offload ? run.count : 1;
        for (uint32_t i = 0; i < run.count; i += step) {
            if (messages.Full()) Submit(messages);
            messages.Add(run, i, step);
        }
    }
    Submit(messages);
}

void CUdpSenderLinux::Submit(CMessages& messages) {
    uint64_t datagrams = 0;
    uint64_t bytes = 0;
    for (size_t i = 0; i < messages.Count();) {
        size_t taken = HandOver(messages.From(i), messages.Count() - i);
        if (taken == 0) {
            Refused(messages.Run(i), messages.Datagrams(i) > 1, messages.Bytes());
            ++i;
        }
        for (; taken > 0; --taken, ++i) {
            datagrams += messages.Datagrams(i);
            bytes += messages.Length(i);
        }
    }
    messages.Clear();
    udp::CountSent(datagrams, bytes);
}

size_t CUdpSenderLinux::HandOver(mmsghdr* messages, size_t count) const {
    for (;;) {
        if (m_bMultiMessage && count > 1) {
            const int taken = sendmmsg(m_fd, messages, static_cast<unsigned>(count), MSG_DONTWAIT);
            if (taken > 0) return static_cast<size_t>(taken);
        } else if (sendmsg(m_fd, &messages->msg_hdr, MSG_DONTWAIT) >= 0) {
            return 1;
        }
        if (errno != EINTR) return 0;
    }
}

void CUdpSenderLinux::Refused(const CUdpRun& run, bool offloaded, const char* bytes) {
    if (!offloaded) {
        udp::CountRefused(1);
        return;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) {
        udp::CountRefused(run.count);
        return;
    }
    // Pieces longer than the path takes whole, a device that cannot help, an old kernel: each datagram by itself may
    // go.
    if (SendPlain(run, bytes)) m_nPlainFlushes.store(udp::kPlainFlushes, std::memory_order_relaxed);
}

bool CUdpSenderLinux::SendPlain(const CUdpRun& run, const char* bytes) {
    CMessages messages(bytes);
    bool any = false;
    for (uint32_t i = 0; i < run.count; ++i) {
        messages.Clear();
        messages.Add(run, i, 1);
        if (HandOver(messages.From(0), 1) == 1) {
            any = true;
            udp::CountSent(1, run.SizeOf(i));
        } else {
            udp::CountRefused(1);
        }
    }
    return any;
}

bool CUdpSenderLinux::MayOffload() {
    if (!m_bOffload) return false;
    const int left = m_nPlainFlushes.load(std::memory_order_relaxed);
    // Two threads may count one flush as one: the number need not be exact.
    if (left > 0) m_nPlainFlushes.store(left - 1, std::memory_order_relaxed);
    return left == 0;
}

#endif
