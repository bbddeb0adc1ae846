#if defined(__linux__)

#include "platform/lumonet/udp_receiver_linux.h"

#include <arpa/inet.h>
#include <netinet/udp.h>
#include <sys/prctl.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

CUdpReceiverLinux::CUdpReceiverLinux(int fd, const UdpFeatures& features, bool askedAddresses)
    : m_fd(fd),
      m_bMultiMessage(features.multiMessage),
      m_bOffload(features.receiveOffload && Enable(SOL_UDP, UDP_GRO)),
      m_buffers(udp::kReceiveBuffer * udp::kReceiveMessages) {
    // A kernel without it does not tell the address asked.
    if (askedAddresses) Enable(IPPROTO_IP, IP_PKTINFO);
}

bool CUdpReceiverLinux::Enable(int level, int option) const {
    const int on = 1;
    return setsockopt(m_fd, level, option, &on, sizeof on) == 0;
}

void CUdpReceiverLinux::Prepare(size_t i) {
    m_pieces[i] = {m_buffers.Get() + i * udp::kReceiveBuffer, udp::kReceiveBuffer};
    msghdr& header = m_messages[i].msg_hdr;
    header = {};
    header.msg_name = &m_from[i];
    header.msg_namelen = sizeof m_from[i];
    header.msg_iov = &m_pieces[i];
    header.msg_iovlen = 1;
    header.msg_control = m_controls[i].bytes;
    header.msg_controllen = sizeof m_controls[i].bytes;
}

unsigned CUdpReceiverLinux::MessagesToAskFor() {
    const bool foundMany = m_nUsed > 1;
    return !m_bOffload || foundMany || ++m_nCalls % udp::kSingleCalls == 0 ? udp::kReceiveMessages : 1;
}

bool CUdpReceiverLinux::Take(unsigned wanted, int flags) {
    if (m_bMultiMessage) {
        const int count = recvmmsg(m_fd, m_messages.data(), wanted, flags | MSG_WAITFORONE, nullptr);
        if (count > 0) m_nUsed = static_cast<size_t>(count);
    } else {
        const ssize_t length = recvmsg(m_fd, &m_messages[0].msg_hdr, flags);
        if (length >= 0) {
            m_messages[0].msg_len = static_cast<unsigned>(length);
            m_nUsed = 1;
        }
    }
    return m_nUsed > 0;
}

size_t CUdpReceiverLinux::Receive() {
    const unsigned wanted = MessagesToAskFor();
    const bool more = m_nUsed == udp::kReceiveMessages;  // the last call took all that it could: others need not be let
    for (size_t i = 0; i < m_nUsed; ++i) Prepare(i);
    m_nUsed = 0;
    if (more && Take(wanted, MSG_DONTWAIT)) return m_nUsed;
    if (m_ulRestUs > 0) {
        Rest();
        if (Take(udp::kReceiveMessages, MSG_DONTWAIT)) return m_nUsed;
    }
    if (m_patience.Try([&] { return Take(wanted, MSG_DONTWAIT); })) return m_nUsed;
    while (!Take(wanted, 0) && errno == EINTR) {}
    m_patience.Slept();
    return m_nUsed;
}

void CUdpReceiverLinux::Rest() {
    const timespec time{0, std::min(std::exchange(m_ulRestUs, 0), udp::kLongestRestUs) * 1000L};
    // This thread's sleeps end when they should, not up to 50 us later.
    if (!std::exchange(m_bPunctual, true)) prctl(PR_SET_TIMERSLACK, 1000UL);
    nanosleep(&time, nullptr);
}

CReceivedRun CUdpReceiverLinux::Run(size_t i) const {
    const size_t length = m_messages[i].msg_len;
    CReceivedRun run{m_buffers.Get() + i * udp::kReceiveBuffer,
                     length,
                     std::max<size_t>(length, 1),
                     ntohl(m_from[i].sin_addr.s_addr),
                     ntohs(m_from[i].sin_port),
                     0};
    auto& header = const_cast<msghdr&>(m_messages[i].msg_hdr);
    for (cmsghdr* control = CMSG_FIRSTHDR(&header); control; control = CMSG_NXTHDR(&header, control)) {
        if (control->cmsg_level == SOL_UDP && control->cmsg_type == UDP_GRO) {
            int segment = 0;
            std::memcpy(&segment, CMSG_DATA(control), sizeof segment);
            if (segment > 0) run.segment = static_cast<size_t>(segment);
        } else if (control->cmsg_level == IPPROTO_IP && control->cmsg_type == IP_PKTINFO) {
            in_pktinfo info;
            std::memcpy(&info, CMSG_DATA(control), sizeof info);
            run.askedIP = ntohl(info.ipi_spec_dst.s_addr);
        }
    }
    return run;
}

#endif
