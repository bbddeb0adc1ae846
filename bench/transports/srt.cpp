// SRT in file mode, as a stream; frames have a fixed length here.
#include "bench/harness/frames.h"
#include "bench/harness/sockets.h"
#include "bench/transports/transports.h"

#include <arpa/inet.h>
#include <srt/srt.h>

#include <stdexcept>

namespace bench {

namespace {

constexpr int kFlightPackets = 65536;
constexpr int kSrtBufferBytes = 64 * 1024 * 1024;
constexpr int64_t kNoLimit = -1;

void Check(int result, const char* what) {
    if (result == SRT_ERROR) throw std::runtime_error(std::string(what) + ": " + srt_getlasterror_str());
}

class CSrtSocket {
public:
    CSrtSocket() {
        srt_startup();
        srt_setloglevel(LOG_CRIT);
        m_socket = srt_create_socket();
        Check(m_socket, "srt_create_socket");
        Set(SRTO_TRANSTYPE, SRTT_FILE);
        Set(SRTO_FC, kFlightPackets);
        Set(SRTO_SNDBUF, kSrtBufferBytes);
        Set(SRTO_RCVBUF, kSrtBufferBytes);
        Set(SRTO_UDP_SNDBUF, kBufferBytes);
        Set(SRTO_UDP_RCVBUF, kBufferBytes);
        Set(SRTO_MAXBW, kNoLimit);
    }
    ~CSrtSocket() {
        srt_close(m_socket);
        if (m_listener != SRT_INVALID_SOCK) srt_close(m_listener);
        srt_cleanup();
    }
    CSrtSocket(const CSrtSocket&) = delete;
    CSrtSocket& operator=(const CSrtSocket&) = delete;

    uint16_t Listen() {
        sockaddr_in address = SocketAddress(RunHosts().own, 0);
        int length = sizeof address;
        auto* raw = reinterpret_cast<sockaddr*>(&address);
        Check(srt_bind(m_socket, raw, length), "srt_bind");
        Check(srt_listen(m_socket, 1), "srt_listen");
        Check(srt_getsockname(m_socket, raw, &length), "srt_getsockname");
        return ntohs(address.sin_port);
    }
    void Accept() {
        m_listener = m_socket;
        m_socket = srt_accept(m_listener, nullptr, nullptr);
        Check(m_socket, "srt_accept");
    }
    void Dial(uint16_t port) {
        const sockaddr_in address = SocketAddress(RunHosts().far, port);
        Check(srt_connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), "srt_connect");
    }
    void SendAll(const char* data, int length) {
        while (length > 0) {
            const int sent = srt_send(m_socket, data, length);
            Check(sent, "srt_send");
            data += sent;
            length -= sent;
        }
    }
    /// False at the end of the connection.
    bool ReceiveAll(char* data, int length) {
        while (length > 0) {
            const int got = srt_recv(m_socket, data, length);
            if (got <= 0) return false;
            data += got;
            length -= got;
        }
        return true;
    }

private:
    template <class TValue>
    void Set(SRT_SOCKOPT option, TValue value) {
        Check(srt_setsockflag(m_socket, option, &value, sizeof value), "srt_setsockflag");
    }

    SRTSOCKET m_socket = SRT_INVALID_SOCK;
    SRTSOCKET m_listener = SRT_INVALID_SOCK;
};

void Send(CSide& side) {
    CSrtSocket socket;
    socket.Dial(side.Port());
    side.Connected();
    CFrameSource source(side);
    while (source.Next()) socket.SendAll(source.Data(), source.Length());
    side.WaitForStop();
}

void Receive(CSide& side) {
    CSrtSocket socket;
    side.Listening(socket.Listen());
    socket.Accept();
    side.Connected();
    CBulkReceiver receiver(side);
    std::vector<char> frame(side.Spec().frameLen);
    while (!receiver.Done()) {
        if (!socket.ReceiveAll(frame.data(), static_cast<int>(frame.size()))) {
            if (receiver.Finished()) break;
            throw std::runtime_error("the SRT connection ended early");
        }
        receiver.OnFrame(frame.data(), static_cast<int>(frame.size()));
    }
    side.WaitForStop();
}

nlohmann::json Settings() {
    const uint32_t version = srt_getversion();
    return {{"version", std::to_string(version >> 16) + "." + std::to_string((version >> 8) & 255) + "." +
                            std::to_string(version & 255)},
            {"mode", "SRTT_FILE, stream, congestion control 'file'"},
            {"SRTO_FC", kFlightPackets},
            {"SRTO_SNDBUF, SRTO_RCVBUF", kSrtBufferBytes},
            {"SRTO_UDP_SNDBUF, SRTO_UDP_RCVBUF", kBufferBytes},
            {"SRTO_MAXBW", "unlimited"},
            {"encryption", "none"}};
}

}  // namespace

std::vector<CDriver> SrtDrivers() { return {{"srt", Role::Receiver, Listener::Receiver, Send, Receive, Settings}}; }

}  // namespace bench
