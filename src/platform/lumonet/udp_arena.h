// The datagrams that one thread collects for one endpoint. Knows nothing of sockets.
#pragma once

#include "platform/lumonet/udp_limits.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

/// Datagrams one behind the other in the arena, to one destination and of one size; the last may be shorter.
struct CUdpRun {
    uint32_t ip;
    uint16_t port;
    uint16_t count;
    uint32_t sourceIP;  ///< the address they leave from; 0: the kernel's choice
    uint32_t segment;   ///< size of each but the last
    uint32_t offset;
    uint32_t length;

    uint32_t SizeOf(uint32_t datagram) const { return datagram + 1 < count ? segment : length - segment * datagram; }
};

/// Keeps the order; allocated once, filled and emptied many times. One thread.
class CUdpArena {
public:
    /// Null when there is no memory.
    static std::unique_ptr<CUdpArena> Make();

    /// Copies one datagram of at most udp::kMaxDatagram bytes; false when it must be emptied first.
    bool Add(const char* data, uint32_t length, uint32_t ip, uint16_t port, uint32_t sourceIP) {
        if (m_nUsed + length > udp::kArenaBytes) return false;
        CUdpRun* run = m_nRuns > 0 ? &m_runs[m_nRuns - 1] : nullptr;
        if (!run || !Takes(*run, length, ip, port, sourceIP)) {
            if (m_nRuns == m_runs.size()) return false;
            run = &m_runs[m_nRuns++];
            *run = {ip, port, 0, sourceIP, length, static_cast<uint32_t>(m_nUsed), 0};
        }
        std::memcpy(m_bytes.get() + m_nUsed, data, length);
        m_nUsed += length;
        run->length += length;
        ++run->count;
        return true;
    }
    std::span<const CUdpRun> Runs() const { return {m_runs.data(), m_nRuns}; }
    const char* Bytes() const { return m_bytes.get(); }
    void Clear() { m_nUsed = m_nRuns = 0; }

private:
    static bool Takes(const CUdpRun& run, uint32_t length, uint32_t ip, uint16_t port, uint32_t sourceIP) {
        return run.ip == ip && run.port == port && run.sourceIP == sourceIP && length <= run.segment &&
               run.count < udp::kMaxSegments && run.length + length <= udp::kMaxRunBytes &&
               run.length == run.segment * run.count;
    }

    std::unique_ptr<char[]> m_bytes;
    size_t m_nUsed = 0;
    size_t m_nRuns = 0;
    std::array<CUdpRun, udp::kArenaRuns> m_runs;
};
