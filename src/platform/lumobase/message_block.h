// Memory for one frame or message.
#pragma once

#include <cstddef>
#include <utility>

/// Owns its bytes. Blocks of the common size go back to a small stock of the process: the kernel hands out and clears
/// fresh memory page by page, which costs more than the copy into it.
class CMessageBlock {
public:
    CMessageBlock() = default;
    ~CMessageBlock() { Reset(); }
    CMessageBlock(CMessageBlock&& other) noexcept
        : m_pBytes(std::exchange(other.m_pBytes, nullptr)), m_nCapacity(std::exchange(other.m_nCapacity, 0)) {}
    CMessageBlock& operator=(CMessageBlock&& other) noexcept {
        if (this != &other) {
            Reset();
            m_pBytes = std::exchange(other.m_pBytes, nullptr);
            m_nCapacity = std::exchange(other.m_nCapacity, 0);
        }
        return *this;
    }

    /// Room for at least `size` bytes, of any content; empty without memory. Any thread.
    static CMessageBlock Make(size_t size);
    void Reset();

    char* Get() const { return m_pBytes; }
    size_t Capacity() const { return m_nCapacity; }
    explicit operator bool() const { return m_pBytes != nullptr; }

    static constexpr size_t kStockSize = 72 * 1024;        ///< a frame of 64 KiB and its header fit
    static constexpr size_t kSmallestStocked = 56 * 1024;  ///< budgets count what is used of a block, not all of it
    static constexpr size_t kMaxStock = 64;                ///< blocks, 4.5 MiB

private:
    CMessageBlock(char* bytes, size_t capacity) : m_pBytes(bytes), m_nCapacity(capacity) {}

    char* m_pBytes = nullptr;
    size_t m_nCapacity = 0;
};
