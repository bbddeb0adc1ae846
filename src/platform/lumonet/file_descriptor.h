// Owns a POSIX file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

class CFileDescriptor {
public:
    CFileDescriptor() = default;
    explicit CFileDescriptor(int fd) : m_fd(fd) {}
    CFileDescriptor(CFileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    CFileDescriptor& operator=(CFileDescriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~CFileDescriptor() { Reset(); }

    int Get() const { return m_fd; }
    /// The caller's from then on.
    int Take() { return std::exchange(m_fd, -1); }
    /// Closes what it owns and takes another, or none.
    void Reset(int fd = -1) {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = fd;
    }
    explicit operator bool() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};
