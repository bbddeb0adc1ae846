// Whether the far side of a connection still takes what is sent to it.
#pragma once

#include "platform/lumobase/clock.h"
#include "platform/lumonet/tcp_limits.h"

#if defined(__linux__)
#include <linux/sockios.h>
#endif
#include <sys/ioctl.h>

#include <atomic>
#include <cstdint>

/// Looked at a few times within the limit, and only while something waits. The reactor's.
class CTcpStall {
public:
    /// Any thread. 0, at first: nobody is judged.
    void SetLimit(uint32_t milliseconds) { m_ulLimit.store(milliseconds, std::memory_order_relaxed); }
    bool IsJudged() const { return Limit() != 0; }
    int LookEveryMs() const { return static_cast<int>(Limit() / net::kStallLooks); }

    /// Something begins to wait.
    void Begin(uint64_t taken) {
        m_nTaken = taken;
        m_ulSince = Now();
    }
    /// True when not one byte more was taken for too long.
    bool Look(uint64_t taken) {
        if (taken != m_nTaken) Begin(taken);
        return ElapsedMs(Now(), m_ulSince) >= Limit();
    }
    /// Of the bytes handed to the kernel, those that the far host has acknowledged; where that is not to be had, all.
    static uint64_t Taken(uint64_t sent, int socket) {
        int waiting = 0;
#if defined(SIOCOUTQ)
        if (ioctl(socket, SIOCOUTQ, &waiting) != 0) waiting = 0;
#endif
        return sent - static_cast<uint64_t>(waiting);
    }

private:
    static uint32_t Now() { return static_cast<uint32_t>(Lumo_Base::GetTimestamp()); }

    uint32_t Limit() const { return m_ulLimit.load(std::memory_order_relaxed); }

    std::atomic<uint32_t> m_ulLimit{0};
    uint64_t m_nTaken = 0;
    uint32_t m_ulSince = 0;
};
