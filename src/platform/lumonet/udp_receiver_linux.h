// Takes what has come in as few calls as the kernel allows.
#pragma once

#include "platform/lumonet/aligned_buffer.h"
#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/udp_delivery.h"
#include "platform/lumonet/udp_limits.h"
#include "platform/lumonet/udp_patience.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>

/// One thread.
class CUdpReceiverLinux {
public:
    /// Throws when there is no memory.
    CUdpReceiverLinux(int fd, const UdpFeatures& features, bool askedAddresses);

    /// Waits for datagrams and takes what is there; the number of runs, valid until the next call. 0: an error.
    size_t Receive();
    CReceivedRun Run(size_t i) const;
    /// Once nothing more is there, the next call rests for so long before it looks again.
    void RestNext(unsigned microseconds) { m_ulRestUs = microseconds; }

private:
    bool Enable(int level, int option) const;
    unsigned MessagesToAskFor();
    void Prepare(size_t i);
    void Rest();
    /// One call; false when nothing was taken.
    bool Take(unsigned wanted, int flags);

    /// Room for both of the kernel's notes on one message.
    struct alignas(cmsghdr) Control {
        char bytes[CMSG_SPACE(sizeof(int)) + CMSG_SPACE(sizeof(in_pktinfo))];
    };

    const int m_fd;
    const bool m_bMultiMessage;
    const bool m_bOffload;
    const CAlignedBuffer m_buffers;
    CReceivePatience m_patience;
    std::array<mmsghdr, udp::kReceiveMessages> m_messages;
    std::array<iovec, udp::kReceiveMessages> m_pieces;
    std::array<sockaddr_in, udp::kReceiveMessages> m_from;
    std::array<Control, udp::kReceiveMessages> m_controls;
    size_t m_nUsed = udp::kReceiveMessages;  // messages to be prepared anew
    unsigned m_nCalls = 0;
    unsigned m_ulRestUs = 0;
    bool m_bPunctual = false;  // it has asked for exact rests
};
