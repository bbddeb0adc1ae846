// Bare TCP sockets on loopback, which need not behave.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <cstdint>
#include <string>

inline constexpr uint32_t kLoopback = 0x7f000001;

/// A message of the library as it travels: kind 0 is a frame, 1 a validation.
std::string Framed(int kind, const std::string& body);

/// A blocking socket with generous limits.
class CRawPeer {
public:
    explicit CRawPeer(int fd = -1) : m_fd(fd) {}
    /// Not connected when the port does not answer or descriptors have run out. A buffer of 0 is the kernel's choice.
    static CRawPeer Dial(uint16_t port, const std::string& first = "", int receiveBuffer = 0,
                         uint32_t fromIP = kLoopback);
    explicit operator bool() const { return static_cast<bool>(m_fd); }
    bool Send(const std::string& bytes) const;
    /// Sends as much as goes without waiting.
    size_t SendSome(const std::string& bytes) const;
    /// Exactly so many bytes, or fewer if the far side closed first.
    std::string Read(size_t length) const;
    /// As far as `end`, or fewer if the far side closed first.
    std::string ReadUntil(const std::string& end) const;
    /// Everything until the far side closes; `closed` says whether it did.
    std::string ReadAll(bool* closed = nullptr) const;
    bool IsClosed() const;
    int Fd() const { return m_fd.Get(); }

private:
    CFileDescriptor m_fd;
};

/// A bare listener on a free port.
class CRawListener {
public:
    explicit CRawListener(int backlog = 16);
    CRawPeer Accept() const;
    uint16_t Port() const { return m_usPort; }

private:
    CFileDescriptor m_fd;
    uint16_t m_usPort = 0;
};

inline uint16_t FreePort() { return CRawListener().Port(); }
