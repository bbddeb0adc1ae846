// SRT in file mode, as a stream, and in live mode, whose sender is told the rate; frames have a fixed length here.
#include "bench/harness/frames.h"
#include "bench/harness/sockets.h"
#include "bench/transports/transports.h"

#include <arpa/inet.h>
#include <srt/srt.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <stdexcept>

namespace bench {

namespace {

constexpr int kFlightPackets = 65536;
constexpr int kSrtBufferBytes = 64 * 1024 * 1024;
constexpr int64_t kNoLimit = -1;
constexpr double kShareOfPath = 0.96;
constexpr int kLivePayload = 1456;  // the largest

void Check(int result, const char* what) {
    if (result == SRT_ERROR) throw std::runtime_error(std::string(what) + ": " + srt_getlasterror_str());
}

class CSrtSocket {
public:
    /// No rate: file mode.
    explicit CSrtSocket(int64_t liveBytesPerSecond) : m_bLive(liveBytesPerSecond > 0) {
        srt_startup();
        srt_setloglevel(LOG_CRIT);
        m_socket = srt_create_socket();
        Check(m_socket, "srt_create_socket");
        Set(SRTO_TRANSTYPE, m_bLive ? SRTT_LIVE : SRTT_FILE);
        if (m_bLive) {
            Set(SRTO_PAYLOADSIZE, kLivePayload);
            Set(SRTO_TSBPDMODE, false);  // at once, and nothing is given up: frames are to arrive whole
            Set(SRTO_TLPKTDROP, false);
        }
        Set(SRTO_FC, kFlightPackets);
        Set(SRTO_SNDBUF, kSrtBufferBytes);
        Set(SRTO_RCVBUF, kSrtBufferBytes);
        Set(SRTO_UDP_SNDBUF, kBufferBytes);
        Set(SRTO_UDP_RCVBUF, kBufferBytes);
        Set(SRTO_LINGER, linger{});  // what a run of a time leaves unsent goes nowhere
        Set(SRTO_MAXBW, m_bLive ? liveBytesPerSecond : kNoLimit);
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
            const int sent = m_bLive ? srt_sendmsg(m_socket, data, std::min(length, kLivePayload), -1, 1)
                                     : srt_send(m_socket, data, length);
            Check(sent, "srt_send");
            data += sent;
            length -= sent;
        }
    }
    /// False at the end of the connection. In live mode there must be room for a whole message behind the last byte.
    bool ReceiveAll(char* data, int length) {
        while (length > 0) {
            const int got = srt_recv(m_socket, data, m_bLive ? kLivePayload : length);
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

    const bool m_bLive;
    SRTSOCKET m_socket = SRT_INVALID_SOCK;
    SRTSOCKET m_listener = SRT_INVALID_SOCK;
};

void SendAt(CSide& side, int64_t rate) {
    CSrtSocket socket(rate);
    socket.Dial(side.Port());
    side.Connected();
    CFrameSource source(side);
    while (source.Next()) socket.SendAll(source.Data(), source.Length());
    side.WaitForStop();
}

void ReceiveAt(CSide& side, int64_t rate) {
    CSrtSocket socket(rate);
    side.Listening(socket.Listen());
    socket.Accept();
    side.Connected();
    CBulkReceiver receiver(side);
    const int length = static_cast<int>(side.Spec().frameLen);
    std::vector<char> frame(side.Spec().frameLen + kLivePayload);
    while (!receiver.Done()) {
        if (!socket.ReceiveAll(frame.data(), length)) {
            if (receiver.Finished()) break;
            throw std::runtime_error("the SRT connection ended early");
        }
        receiver.OnFrame(frame.data(), length);
    }
    side.WaitForStop();
}

/// A little less than the path carries, which would only fill its queue.
int64_t BytesPerSecond(const CSide& side) {
    return static_cast<int64_t>(kShareOfPath * side.Spec().path.megabits * 1e6 / 8);
}

void Send(CSide& side) { SendAt(side, 0); }
void Receive(CSide& side) { ReceiveAt(side, 0); }
void SendLive(CSide& side) { SendAt(side, BytesPerSecond(side)); }
void ReceiveLive(CSide& side) { ReceiveAt(side, BytesPerSecond(side)); }

nlohmann::json SettingsOf(const char* mode, const char* rate) {
    const uint32_t version = srt_getversion();
    return {{"version", std::to_string(version >> 16) + "." + std::to_string((version >> 8) & 255) + "." +
                            std::to_string(version & 255)},
            {"mode", mode},
            {"SRTO_FC", kFlightPackets},
            {"SRTO_SNDBUF, SRTO_RCVBUF", kSrtBufferBytes},
            {"SRTO_UDP_SNDBUF, SRTO_UDP_RCVBUF", kBufferBytes},
            {"SRTO_MAXBW", rate},
            {"encryption", "none"}};
}

nlohmann::json Settings() { return SettingsOf("SRTT_FILE, stream, congestion control 'file'", "unlimited"); }
nlohmann::json LiveSettings() {
    return SettingsOf("SRTT_LIVE, messages of 1,456 bytes in order, SRTO_TSBPDMODE and SRTO_TLPKTDROP off",
                      "0.96 of the path's rate");
}

}  // namespace

std::vector<CDriver> SrtDrivers() {
    return {{"srt", Role::Receiver, Listener::Receiver, Send, Receive, Settings},
            {"srt-live", Role::Receiver, Listener::Receiver, SendLive, ReceiveLive, LiveSettings}};
}

}  // namespace bench
