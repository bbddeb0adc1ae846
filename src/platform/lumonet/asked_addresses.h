// Which of our addresses each remote host has asked.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

/// Of fixed size: a new address takes the place of an older one, whose answers then leave from the kernel's choice. One
/// thread notes, any thread looks up.
class CAskedAddresses {
public:
    /// Chooses its own mixing of addresses, so that nobody can aim at another's place.
    CAskedAddresses();

    void Note(uint32_t ip, uint16_t port, uint32_t asked) {
        const uint64_t mixed = Mix(ip, port);
        const uint64_t entry = (mixed >> kIndexBits) << 32 | asked;
        std::atomic<uint64_t>& place = m_entries[mixed & (kEntries - 1)];
        if (place.load(std::memory_order_relaxed) != entry) place.store(entry, std::memory_order_relaxed);
    }
    /// 0 when it is not known.
    uint32_t Find(uint32_t ip, uint16_t port) const {
        const uint64_t mixed = Mix(ip, port);
        const uint64_t entry = m_entries[mixed & (kEntries - 1)].load(std::memory_order_relaxed);
        return entry >> 32 == mixed >> kIndexBits ? static_cast<uint32_t>(entry) : 0;
    }

private:
    static constexpr unsigned kIndexBits = 16;
    static constexpr size_t kEntries = size_t{1} << kIndexBits;
    static constexpr unsigned kKeyBits = 48;
    static constexpr uint64_t kKeyMask = (uint64_t{1} << kKeyBits) - 1;

    /// One to one over 48 bits: 16 choose the place and the other 32 are kept there, so that no two are confused.
    uint64_t Mix(uint32_t ip, uint16_t port) const {
        uint64_t key = (uint64_t{ip} << 16 | port) ^ m_nSecret;
        key = key * m_nFactor & kKeyMask;
        key ^= key >> 24;
        return key * m_nFactor & kKeyMask;
    }

    uint64_t m_nSecret;
    uint64_t m_nFactor;  // odd
    std::array<std::atomic<uint64_t>, kEntries> m_entries{};
};
