// Plain TCP: frames behind a four-byte length, one thread and blocking calls on each side.
#include "bench/harness/frames.h"
#include "bench/harness/ping.h"
#include "bench/harness/sockets.h"
#include "bench/transports/transports.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/uio.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

constexpr uint32_t kLargestFrame = 1 << 20;

CSocket ConnectedSocket(CSide& side, bool listens) {
    CSocket socket(SOCK_STREAM);
    if (!listens) {
        socket.Connect(side.Port());
    } else {
        const uint16_t port = socket.Bind(0);
        socket.Listen();
        side.Listening(port);
        socket = socket.Accept();
    }
    socket.Set(IPPROTO_TCP, TCP_NODELAY, 1);
    side.Connected();
    return socket;
}

/// Length and frame in one call; the rest, if the kernel takes less, in more.
void SendFrame(CSocket& socket, const char* data, int length) {
    uint32_t header = htonl(static_cast<uint32_t>(length));
    iovec parts[] = {{&header, sizeof header}, {const_cast<char*>(data), static_cast<size_t>(length)}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    const ssize_t sent = sendmsg(socket.Fd(), &message, MSG_NOSIGNAL);
    if (sent < static_cast<ssize_t>(sizeof header)) throw std::runtime_error("sendmsg");
    const size_t taken = static_cast<size_t>(sent) - sizeof header;
    socket.SendAll(data + taken, static_cast<size_t>(length) - taken);
}

/// Reads as much as the kernel has and cuts it into frames.
class CFrameReader {
public:
    explicit CFrameReader(CSocket& socket) : m_socket(socket), m_buffer(kLargestFrame) {}

    /// The next frame, valid until the following call; null at the end of the stream.
    const char* Next(int& length) {
        uint32_t body = 0;
        if (!Need(sizeof body)) return nullptr;
        std::memcpy(&body, m_buffer.data() + m_nStart, sizeof body);
        body = ntohl(body);
        if (body > kLargestFrame - sizeof body) throw std::runtime_error("not a frame");
        if (!Need(sizeof body + body)) return nullptr;
        const char* frame = m_buffer.data() + m_nStart + sizeof body;
        m_nStart += sizeof body + body;
        length = static_cast<int>(body);
        return frame;
    }

private:
    bool Need(size_t bytes) {
        if (m_nStart + bytes > m_buffer.size()) {
            std::memmove(m_buffer.data(), m_buffer.data() + m_nStart, m_nEnd - m_nStart);
            m_nEnd -= m_nStart;
            m_nStart = 0;
        }
        while (m_nEnd - m_nStart < bytes) {
            if (m_nStart == m_nEnd) m_nStart = m_nEnd = 0;
            const ssize_t got = recv(m_socket.Fd(), m_buffer.data() + m_nEnd, m_buffer.size() - m_nEnd, 0);
            if (got <= 0) return false;
            m_nEnd += static_cast<size_t>(got);
        }
        return true;
    }

    CSocket& m_socket;
    std::vector<char> m_buffer;
    size_t m_nStart = 0;
    size_t m_nEnd = 0;
};

void SendBulkBy(CSide& side, const char* congestionControl) {
    CSocket socket = ConnectedSocket(side, false);
    if (congestionControl && setsockopt(socket.Fd(), IPPROTO_TCP, TCP_CONGESTION, congestionControl,
                                        static_cast<socklen_t>(std::strlen(congestionControl))) != 0)
        throw std::runtime_error(std::string("the kernel has no ") + congestionControl);
    CFrameSource source(side);
    while (source.Next()) SendFrame(socket, source.Data(), source.Length());
    side.WaitForStop();
}

void SendBulk(CSide& side) { SendBulkBy(side, nullptr); }
void SendCubic(CSide& side) { SendBulkBy(side, "cubic"); }
void SendBbr(CSide& side) { SendBulkBy(side, "bbr"); }

void ReceiveBulk(CSide& side) {
    CSocket socket = ConnectedSocket(side, true);
    CBulkReceiver receiver(side);
    CFrameReader reader(socket);
    int length = 0;
    while (!receiver.Done()) {
        const char* frame = reader.Next(length);
        if (!frame && receiver.Finished()) break;
        if (!frame) throw std::runtime_error("the TCP connection ended early");
        receiver.OnFrame(frame, length);
    }
    side.WaitForStop();
}

void Ping(CSide& side) {
    CSocket socket = ConnectedSocket(side, false);
    CPinger pinger(side);
    CFrameReader reader(socket);
    for (bool more = true; more;) {
        SendFrame(socket, pinger.Next(), pinger.Length());
        int length = 0;
        const char* frame = reader.Next(length);
        more = frame && pinger.OnReply(frame, length);
    }
    shutdown(socket.Fd(), SHUT_WR);
    side.WaitForStop();
}

void Echo(CSide& side) {
    CSocket socket = ConnectedSocket(side, true);
    CFrameReader reader(socket);
    int length = 0;
    while (const char* frame = reader.Next(length)) SendFrame(socket, frame, length);
    side.WaitForStop();
}

nlohmann::json SettingsWith(const char* congestionControl) {
    return {{"TCP_CONGESTION", congestionControl},
            {"framing", "four-byte length, one sendmsg a frame, receive buffer of 1 MiB"},
            {"TCP_NODELAY", true},
            {"socket buffers", "the kernel's automatic ones"},
            {"threads", "one a side, blocking calls"}};
}

nlohmann::json Settings() { return SettingsWith("the kernel's usual one"); }
nlohmann::json CubicSettings() { return SettingsWith("cubic"); }
nlohmann::json BbrSettings() { return SettingsWith("bbr"); }

}  // namespace

std::vector<CDriver> TcpDrivers() {
    return {{"tcp", Role::Receiver, Listener::Receiver, SendBulk, ReceiveBulk, Settings},
            {"tcp-cubic", Role::Receiver, Listener::Receiver, SendCubic, ReceiveBulk, CubicSettings},
            {"tcp-bbr", Role::Receiver, Listener::Receiver, SendBbr, ReceiveBulk, BbrSettings},
            {"tcp-pictures", Role::Receiver, Listener::Receiver, SendBulk, ReceiveBulk, Settings},
            {"tcp-ping", Role::Sender, Listener::Receiver, Ping, Echo, Settings}};
}

}  // namespace bench
