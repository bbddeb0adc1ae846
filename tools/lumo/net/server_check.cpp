#include "tools/lumo/net/server_check.h"

#include "tools/lumo/net/loop.h"

#include "core/wire/wire_io.h"
#include "link/relay_request.h"
#include "link/tcp/tcp_link.h"
#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/socket_address.h"
#include "platform/lumonet/tcp_framing.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <future>
#include <utility>
#include <vector>

namespace lumo {
namespace {

constexpr uint64_t kUdpMs = 900, kTcpMs = 900, kProxyMs = 1900, kRelayMs = 600;
constexpr uint64_t kClosesMs = 150;  // so soon a server closes what comes from where it serves nobody
constexpr uint64_t kAgainMs = 250;   // a datagram may be lost
constexpr uint64_t kSliceMs = 50;    // how soon it notices that nobody wants to know any more
constexpr ssize_t kReflected = 1 + 4 + 2;

CMcuAddress AddressOf(const RelayTarget& server) { return {server.ips, server.port}; }

class CInquiry {
public:
    CInquiry(const RelayRoute& route, const CMediumRow& medium, const std::atomic<bool>& stop)
        : m_route(route), m_medium(medium), m_bStop(stop) {}

    ServerTrouble Run() {
        const RelayTarget& server = m_route.Server();
        ServerTrouble trouble = Reach(server);
        if (trouble.fault != ServerFault::Answers || &server == &m_route.mcu) return trouble;
        if (RefusesToRelay())
            return {ServerFault::RefusesToRelay, server.Text() + " refuses to relay from " + m_route.mcu.Text(),
                    "its --relay-to says from which servers it may; without --near this goes straight to that one"};
        const int error = m_route.tcp ? 0 : AskUdp(m_route.mcu);
        return error == 0 ? trouble : TroubleOf(error, m_route.mcu, " over UDP");
    }

private:
    struct Dialled {
        CFileDescriptor socket;
        CProxyFailure failure;
    };

    bool GoesOn(uint64_t untilMs) const { return !m_bStop && CToolLoop::Now() < untilMs; }
    ServerTrouble Reach(const RelayTarget& server);
    ServerTrouble ReachTcp(const RelayTarget& server);
    int AskUdp(const RelayTarget& server);
    CFileDescriptor Connect(const RelayTarget& server, int& error);
    Dialled DialProxy(const RelayTarget& server);
    bool RefusesToRelay();
    /// Whether the far side closes before it has said anything.
    bool Closes(int fd, uint64_t milliseconds);

    const RelayRoute& m_route;
    const CMediumRow& m_medium;
    const std::atomic<bool>& m_bStop;
    CFileDescriptor m_connection;  // to the server, when it was reached over TCP
};

ServerTrouble CInquiry::Reach(const RelayTarget& server) {
    if (m_route.tcp) return ReachTcp(server);
    const int error = AskUdp(server);
    if (error == 0) return {ServerFault::Answers, server.Text() + " is there", ""};
    if (error != ETIMEDOUT) return TroubleOf(error, server, " over UDP");
    ServerTrouble overTcp = ReachTcp(server);
    if (overTcp.fault != ServerFault::Answers) return overTcp;
    return {ServerFault::NoUdp, server.Text() + " is there over TCP and does not answer over UDP",
            "a firewall may drop UDP; --tcp does without it"};
}

ServerTrouble CInquiry::ReachTcp(const RelayTarget& server) {
    if (m_route.proxy.type != ProxyType::None) {
        Dialled dialled = DialProxy(server);
        if (!dialled.socket) return TroubleOf(dialled.failure, server, m_route.proxy);
        m_connection = std::move(dialled.socket);
    } else {
        int error = 0;
        m_connection = Connect(server, error);
        if (!m_connection) return TroubleOf(error, server, m_route.tcp ? " over TCP" : "");
    }
    if (Closes(m_connection.Get(), kClosesMs))
        return {ServerFault::Closes, server.Text() + " closes every connection from here at once",
                "its --allow says whom it serves, and --max-unvalidated how many wait at a time"};
    return {ServerFault::Answers, server.Text() + " is there", ""};
}

// 0 when one of its addresses has answered, else an errno value.
int CInquiry::AskUdp(const RelayTarget& server) {
    std::vector<CFileDescriptor> sockets;
    int error = ETIMEDOUT;
    for (const uint32_t ip : server.ips) {
        if (ip == 0) continue;
        CFileDescriptor socket = ::OpenSocket(SOCK_DGRAM | SOCK_NONBLOCK);
        const sockaddr_in to = ::ToSocketAddress(ip, server.port);
        // Connected, so that the kernel says when nobody is there.
        if (socket && connect(socket.Get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0)
            sockets.push_back(std::move(socket));
        else
            error = errno;
    }
    const auto failed = [&error](ssize_t result) {
        const bool fails = result < 0 && errno != EAGAIN;
        if (fails) error = errno;
        return fails;
    };
    uint64_t askMs = 0;
    for (const uint64_t until = CToolLoop::Now() + kUdpMs; !sockets.empty() && GoesOn(until);) {
        const bool ask = CToolLoop::Now() >= askMs;
        if (ask) askMs = CToolLoop::Now() + kAgainMs;
        std::vector<pollfd> waits;
        bool answered = false;
        const char question = static_cast<char>(wire::Kind::Stun);
        const auto ends = [&](const CFileDescriptor& socket) {
            char answer[16];
            if (ask && failed(send(socket.Get(), &question, 1, 0))) return true;
            const ssize_t got = recv(socket.Get(), answer, sizeof answer, 0);
            answered = answered || (got == kReflected && answer[0] == question);
            if (failed(got)) return true;
            waits.push_back({socket.Get(), POLLIN, 0});
            return false;
        };
        sockets.erase(std::remove_if(sockets.begin(), sockets.end(), ends), sockets.end());
        if (answered) return 0;
        poll(waits.data(), waits.size(), static_cast<int>(kSliceMs));
    }
    return error;
}

// Address 0 alone, as links over TCP.
CFileDescriptor CInquiry::Connect(const RelayTarget& server, int& error) {
    CFileDescriptor socket = ::OpenSocket(SOCK_STREAM | SOCK_NONBLOCK);
    const sockaddr_in to = ::ToSocketAddress(server.ips[0], server.port);
    error = 0;
    if (!socket || connect(socket.Get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) error = errno;
    if (error == EINPROGRESS) {
        error = ETIMEDOUT;
        for (const uint64_t until = CToolLoop::Now() + kTcpMs; error == ETIMEDOUT && GoesOn(until);) {
            pollfd ready{socket.Get(), POLLOUT, 0};
            socklen_t size = sizeof error;
            if (poll(&ready, 1, static_cast<int>(kSliceMs)) > 0)
                getsockopt(socket.Get(), SOL_SOCKET, SO_ERROR, &error, &size);
        }
    }
    return error == 0 ? std::move(socket) : CFileDescriptor();
}

CInquiry::Dialled CInquiry::DialProxy(const RelayTarget& server) {
    const auto promise = std::make_shared<std::promise<Dialled>>();
    std::future<Dialled> dialled = promise->get_future();
    const CProxyDial dial(m_route.proxy, GetIpAddr(server.ips[0]), server.port,
                          [promise](CFileDescriptor socket, const CProxyFailure& failure) {
                              promise->set_value({std::move(socket), failure});
                          });
    for (const uint64_t until = CToolLoop::Now() + kProxyMs; GoesOn(until);)
        if (dialled.wait_for(std::chrono::milliseconds(kSliceMs)) == std::future_status::ready) return dialled.get();
    return {CFileDescriptor(), {ProxyFault::Other, "nothing has come of it for two seconds"}};
}

bool CInquiry::Closes(int fd, uint64_t milliseconds) {
    for (const uint64_t until = CToolLoop::Now() + milliseconds; GoesOn(until);) {
        char first = 0;
        pollfd ready{fd, POLLIN, 0};
        if (poll(&ready, 1, static_cast<int>(kSliceMs)) > 0) return recv(fd, &first, 1, MSG_PEEK) <= 0;
    }
    return false;
}

// Over TCP a server that will not relay says so by closing; over UDP it says nothing.
bool CInquiry::RefusesToRelay() {
    if (!m_connection && ReachTcp(m_route.Server()).fault != ServerFault::Answers) return false;
    CRelayRequest request;
    request.Set(AddressOf(m_route.mcu), AddressOf(m_route.nearMcu));
    wire::CWireWriter payload = wire::CWireWriter().U32(m_route.channel);
    request.Append(payload, m_medium.sink);
    const wire::CWireWriter body = ValidationMessage(m_medium.tcp.receiver, payload);
    const CMessageBlock message = EncodeMessage(TcpKind::Validation, body.Data(), static_cast<uint32_t>(body.Length()));
    const size_t length = net::kHeaderLen + static_cast<size_t>(body.Length());
    return message && send(m_connection.Get(), message.Get(), length, MSG_NOSIGNAL) == static_cast<ssize_t>(length) &&
           Closes(m_connection.Get(), kRelayMs);
}

}  // namespace

CServerCheck::CServerCheck(const RelayRoute& route, const CMediumRow& medium)
    : m_thread([this, route, &medium] {
          try {
              m_trouble = CInquiry(route, medium, m_bStop).Run();
          } catch (const std::exception& error) {
              m_trouble = {ServerFault::NoWay, "cannot ask " + route.Server().Text(), error.what()};
          }
          m_bDone.store(true, std::memory_order_release);
      }) {}

CServerCheck::~CServerCheck() {
    m_bStop = true;
    if (m_thread.joinable()) m_thread.join();
}

const ServerTrouble& CServerCheck::Result() {
    if (m_thread.joinable()) m_thread.join();
    return m_trouble;
}

}  // namespace lumo
