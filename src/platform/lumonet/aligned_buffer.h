// Memory that the kernel copies into.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

/// Bytes that begin on a cache line: some processors copy markedly slower to other places.
class CAlignedBuffer {
public:
    /// Throws when there is no memory.
    explicit CAlignedBuffer(size_t size) : m_bytes(new (std::align_val_t{kAlignment}) char[size]) {}

    char* Get() const { return m_bytes.get(); }

private:
    static constexpr size_t kAlignment = 64;
    struct Free {
        void operator()(char* bytes) const { ::operator delete[](bytes, std::align_val_t{kAlignment}); }
    };

    std::unique_ptr<char[], Free> m_bytes;
};
