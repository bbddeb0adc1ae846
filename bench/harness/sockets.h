// Plain sockets between the two processes of a run: on loopback, or over an emulated path.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace bench {

inline constexpr uint32_t kLoopback = 0x7F000001;

/// Where this process of the run is, and where the other one is.
struct Hosts {
    uint32_t own = kLoopback;
    uint32_t far = kLoopback;
};
/// Set once, before anything uses it.
Hosts& RunHosts();
inline constexpr int kBufferBytes = 4 * 1024 * 1024;  // asked for wherever a socket buffer may be raised

sockaddr_in SocketAddress(uint32_t host, uint16_t port);

/// Owns its descriptor; every failure throws.
class CSocket {
public:
    explicit CSocket(int type);

    /// Port 0 takes a free one; the port taken.
    uint16_t Bind(uint16_t port);
    void Connect(uint16_t port);
    /// Listens and takes one connection.
    void Listen();
    CSocket Accept();
    void Set(int level, int option, int value);
    void RaiseBuffers();
    /// Lets the kernel hand datagrams over many at once, for ReceiveRun.
    void CoalesceReceived();

    void SendAll(const void* data, size_t length);
    /// False at the end of the stream.
    bool ReceiveAll(void* data, size_t length);
    int Fd() const { return m_fd.Get(); }

private:
    explicit CSocket(CFileDescriptor fd) : m_fd(std::move(fd)) {}

    CFileDescriptor m_fd;
};

/// What the kernel hands over as one without waiting: datagrams of one size, the last perhaps shorter. 0: nothing.
size_t ReceiveRun(int fd, char* buffer, size_t room, size_t& segment);

}  // namespace bench
