// Addresses of a server and of a far side.
#pragma once

#include <array>
#include <atomic>
#include <compare>
#include <cstdint>

/// One server: up to three IPv4 addresses (0: none) and a port, host byte order.
struct CMcuAddress {
    std::array<uint32_t, 3> ips{};
    uint16_t port = 0;

    auto operator<=>(const CMcuAddress&) const = default;  // NOLINT(modernize-use-nullptr): the linter sees a literal 0
    bool IsEmpty() const { return ips[0] == 0 && ips[1] == 0 && ips[2] == 0; }

    /// Whether some non-zero address of this one is one of the other's.
    bool Overlaps(const CMcuAddress& other) const {
        for (uint32_t ip : ips)
            for (uint32_t theirs : other.ips)
                if (ip != 0 && ip == theirs) return true;
        return false;
    }

    /// Calls `use` once with each distinct non-zero address, in order.
    template <class Use>
    void ForEachDistinct(Use use) const {
        for (size_t i = 0; i < ips.size(); ++i) {
            bool seen = ips[i] == 0;
            for (size_t j = 0; j < i; ++j) seen = seen || ips[j] == ips[i];
            if (!seen) use(ips[i]);
        }
    }
};

/// The address of a far side, learnt on the UDP thread and read by the threads that send.
class CRemoteAddress {
public:
    void Set(uint32_t ip, uint16_t port) {
        m_address.store((static_cast<uint64_t>(ip) << 16) | port, std::memory_order_relaxed);
    }
    void ClearIP() { Set(0, Port()); }
    uint32_t IP() const { return static_cast<uint32_t>(m_address.load(std::memory_order_relaxed) >> 16); }
    uint16_t Port() const { return static_cast<uint16_t>(m_address.load(std::memory_order_relaxed) & 0xffffU); }
    bool Is(uint32_t ip, uint16_t port) const {
        return m_address.load(std::memory_order_relaxed) == ((static_cast<uint64_t>(ip) << 16) | port);
    }
    bool IsSet() const { return IP() != 0 && Port() != 0; }

private:
    std::atomic<uint64_t> m_address{0};  // both halves in one, so that no reader sees a mixture
};
