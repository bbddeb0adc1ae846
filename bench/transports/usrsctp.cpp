// usrsctp: SCTP in user space over UDP encapsulation, one association, one stream.
#include "bench/harness/frames.h"
#include "bench/harness/sockets.h"
#include "bench/transports/transports.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <unistd.h>
#include <usrsctp.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

constexpr uint16_t kSctpPort = 5001;  // inside the UDP encapsulation, where nothing else is
constexpr int kFinishAttempts = 500;
constexpr uint32_t kSpace = 256 * 1024;  // more overruns its UDP socket, whose buffer it does not let one raise
constexpr uint32_t kPathSpace = 8 * 1024 * 1024;  // over a path, which hands over one packet after another
constexpr uint32_t kChunks = 65536;

void Check(bool good, const char* what) {
    if (!good) throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

uint16_t FreeUdpPort() { return CSocket(SOCK_DGRAM).Bind(0); }

class CSctpSocket {
public:
    CSctpSocket(uint16_t udpPort, uint32_t space) {
        usrsctp_init(udpPort, nullptr, nullptr);
        usrsctp_sysctl_set_sctp_sendspace(space);
        usrsctp_sysctl_set_sctp_recvspace(space);
        usrsctp_sysctl_set_sctp_max_chunks_on_queue(kChunks);
        usrsctp_sysctl_set_sctp_ecn_enable(0);
        usrsctp_sysctl_set_sctp_no_csum_on_loopback(1);
        m_pSocket = usrsctp_socket(AF_INET, SOCK_STREAM, IPPROTO_SCTP, nullptr, nullptr, 0, nullptr);
        Check(m_pSocket, "usrsctp_socket");
        const int on = 1;
        Set(SCTP_NODELAY, on);
    }
    ~CSctpSocket() {
        if (m_pSocket) usrsctp_close(m_pSocket);
        if (m_pListener) usrsctp_close(m_pListener);
        for (int i = 0; i < kFinishAttempts && usrsctp_finish() != 0; ++i) usleep(1000);
    }
    CSctpSocket(const CSctpSocket&) = delete;
    CSctpSocket& operator=(const CSctpSocket&) = delete;

    void Listen() {
        sockaddr_in address = SocketAddress(RunHosts().own, kSctpPort);
        Check(usrsctp_bind(m_pSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "usrsctp_bind");
        Check(usrsctp_listen(m_pSocket, 1) == 0, "usrsctp_listen");
    }
    void Accept() {
        m_pListener = m_pSocket;
        m_pSocket = usrsctp_accept(m_pListener, nullptr, nullptr);
        Check(m_pSocket, "usrsctp_accept");
    }
    void Dial(uint16_t udpPort) {
        sctp_udpencaps encapsulation{};
        encapsulation.sue_address.ss_family = AF_INET;
        encapsulation.sue_port = htons(udpPort);
        Set(SCTP_REMOTE_UDP_ENCAPS_PORT, encapsulation);
        sockaddr_in address = SocketAddress(RunHosts().far, kSctpPort);
        Check(usrsctp_connect(m_pSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
              "usrsctp_connect");
    }
    void Send(const char* data, int length) {
        const ssize_t sent =
            usrsctp_sendv(m_pSocket, data, static_cast<size_t>(length), nullptr, 0, nullptr, 0, SCTP_SENDV_NOINFO, 0);
        Check(sent == length, "usrsctp_sendv");
    }
    /// Some bytes of the current message; 0 or less at the end.
    int Receive(char* data, int room) {
        socklen_t infoLength = 0;
        unsigned infoType = 0;
        int flags = 0;
        const ssize_t got = usrsctp_recvv(m_pSocket, data, static_cast<size_t>(room), nullptr, nullptr, nullptr,
                                          &infoLength, &infoType, &flags);
        return static_cast<int>(got);
    }

    /// Whether Receive would not wait.
    bool HasNews() { return (usrsctp_get_events(m_pSocket) & SCTP_EVENT_READ) != 0; }

private:
    template <class TValue>
    void Set(int option, const TValue& value) {
        Check(usrsctp_setsockopt(m_pSocket, IPPROTO_SCTP, option, &value, sizeof value) == 0, "usrsctp_setsockopt");
    }

    struct socket* m_pSocket = nullptr;
    struct socket* m_pListener = nullptr;
};

uint32_t Space(const CSide& side) { return side.Spec().path.IsEmulated() ? kPathSpace : kSpace; }

void Send(CSide& side) {
    CSctpSocket socket(FreeUdpPort(), Space(side));
    socket.Dial(side.Port());
    side.Connected();
    CFrameSource source(side);
    while (source.Next()) socket.Send(source.Data(), source.Length());
    side.WaitForStop();
}

/// A run of a time: so that its sender does not block. Nor does this, since a sender that ends may leave much unsent.
void Drain(CSide& side, CSctpSocket& socket, std::vector<char>& room) {
    while (side.Spec().seconds > 0 && !side.Stopped(socket.HasNews() ? 0 : 1))
        if (socket.HasNews() && socket.Receive(room.data(), static_cast<int>(room.size())) <= 0) return;
}

void Receive(CSide& side) {
    const uint16_t udpPort = FreeUdpPort();
    CSctpSocket socket(udpPort, Space(side));
    socket.Listen();
    side.Listening(udpPort);
    socket.Accept();
    side.Connected();
    CBulkReceiver receiver(side);
    std::vector<char> frame(side.Spec().frameLen);
    const int length = static_cast<int>(frame.size());
    while (!receiver.Finished()) {
        int have = 0;
        while (have < length) {
            const int got = socket.Receive(frame.data() + have, length - have);
            Check(got > 0, "usrsctp_recvv");
            have += got;
        }
        receiver.OnFrame(frame.data(), length);
    }
    Drain(side, socket, frame);
    side.WaitForStop();
}

nlohmann::json Settings() {
    return {{"version", USRSCTP_VERSION},
            {"encapsulation", "UDP"},
            {"socket", "one-to-one, SCTP_NODELAY, one stream, ordered"},
            {"sctp_sendspace, sctp_recvspace", kSpace},
            {"the same over a path", kPathSpace},
            {"sctp_max_chunks_on_queue", kChunks},
            {"sctp_no_csum_on_loopback", 1},
            {"sctp_ecn_enable", 0}};
}

}  // namespace

std::vector<CDriver> UsrsctpDrivers() {
    return {{"usrsctp", Role::Receiver, Listener::Receiver, Send, Receive, Settings}};
}

}  // namespace bench
