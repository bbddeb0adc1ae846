// Random numbers that are the same on every machine for one seed.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

class CRandom {
public:
    explicit CRandom(uint64_t seed) : m_state(seed) {}

    uint64_t Next() {  // splitmix64
        uint64_t z = (m_state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    /// 0 to bound - 1.
    uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(Next() % bound); }
    uint32_t Between(uint32_t least, uint32_t most) { return least + Below(most - least + 1); }
    bool Chance(uint32_t permille) { return Below(1000) < permille; }
    std::string Bytes(size_t length) {
        std::string bytes(length, '\0');
        uint64_t word = 0;
        for (size_t i = 0; i < length; ++i, word >>= 8) {
            if (i % 8 == 0) word = Next();
            bytes[i] = static_cast<char>(word & 0xFF);
        }
        return bytes;
    }

private:
    uint64_t m_state;
};

}  // namespace sim
