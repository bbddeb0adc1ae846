// Hands runs of datagrams to the kernel in as few calls as it allows.
#pragma once

#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/udp_arena.h"

#include <atomic>
#include <span>

struct mmsghdr;

/// Never waits: what the kernel does not take at once is counted as refused and dropped. Any thread, no lock.
class CUdpSenderLinux {
public:
    CUdpSenderLinux(int fd, const UdpFeatures& features);

    void Send(std::span<const CUdpRun> runs, const char* bytes);

private:
    class CMessages;

    void Submit(CMessages& messages);
    /// How many of the messages the kernel took; 0: it refused the first, errno says why.
    size_t HandOver(mmsghdr* messages, size_t count) const;
    void Refused(const CUdpRun& run, bool offloaded, const char* bytes);
    /// Without segmentation offload; true when the kernel took any.
    bool SendPlain(const CUdpRun& run, const char* bytes);
    bool MayOffload();

    const int m_fd;
    const bool m_bMultiMessage;
    const bool m_bOffload;
    std::atomic<int> m_nPlainFlushes{0};  // flushes still to go without offload
};
