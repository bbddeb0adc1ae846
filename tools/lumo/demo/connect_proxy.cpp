#include "tools/lumo/demo/connect_proxy.h"

#include "tools/lumo/demo/sockets.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace lumo {

bool CConnectProxy::Open(const Endpoint& listenOn, std::string& problem) {
    m_listen = OpenSocket(SOCK_STREAM, listenOn, problem);
    if (!m_listen) return false;
    if (listen(m_listen.Get(), 64) != 0) {
        problem = ErrorText(errno);
        return false;
    }
    m_usPort = LocalEndpoint(m_listen.Get()).port;
    return true;
}

bool CConnectProxy::ParseRequest(const std::string& head, Endpoint& target) {
    static const std::string verb = "CONNECT ";
    const size_t end = head.find(' ', verb.size());
    if (head.compare(0, verb.size(), verb) != 0 || end == std::string::npos) return false;
    if (head.compare(end, 6, " HTTP/") != 0) return false;
    return ParseEndpoint(head.substr(verb.size(), end - verb.size()), target) && target.ip >> 24 == 127 &&
           target.port != 0;
}

void CConnectProxy::Accept() {
    while (m_tunnels.size() < kMaxTunnels) {
        CUniqueFd fd(accept4(m_listen.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!fd) return;
        const int on = 1;
        setsockopt(fd.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        m_tunnels.emplace_back();
        m_tunnels.back().client.fd = std::move(fd);
    }
}

void CConnectProxy::Answer(Tunnel& tunnel, const char* line) {
    tunnel.client.out = std::string("HTTP/1.1 ") + line + "\r\n\r\n";
}

void CConnectProxy::ReadHead(Tunnel& tunnel) {
    char piece[4096];
    const ssize_t got = recv(tunnel.client.fd.Get(), piece, sizeof piece, MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (got <= 0) {
        tunnel.dead = true;
        return;
    }
    tunnel.head.append(piece, static_cast<size_t>(got));
    const size_t end = tunnel.head.find("\r\n\r\n");
    if (end == std::string::npos) {
        tunnel.dead = tunnel.head.size() > kMaxHead;
        return;
    }
    Endpoint target;
    std::string problem;
    const bool valid = ParseRequest(tunnel.head, target);
    if (valid) tunnel.target.fd = OpenSocket(SOCK_STREAM, Endpoint{0x7F000001, 0}, problem);
    if (tunnel.target.fd && StartConnect(tunnel.target.fd.Get(), target)) {
        const int on = 1;
        setsockopt(tunnel.target.fd.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        tunnel.connecting = true;
        tunnel.target.out = tunnel.head.substr(end + 4);  // what came with the request is the target's
        return;
    }
    Answer(tunnel, valid ? "502 Bad Gateway" : "403 Forbidden");
    Write(tunnel, tunnel.client, tunnel.target);
    tunnel.dead = true;
}

void CConnectProxy::FinishConnect(Tunnel& tunnel) {
    int error = 0;
    socklen_t length = sizeof error;
    getsockopt(tunnel.target.fd.Get(), SOL_SOCKET, SO_ERROR, &error, &length);
    tunnel.connecting = false;
    tunnel.open = error == 0;
    tunnel.dead = error != 0;
    m_nTunnels += tunnel.open;
    Answer(tunnel, tunnel.open ? "200 Connection established" : "502 Bad Gateway");
    Write(tunnel, tunnel.client, tunnel.target);
}

void CConnectProxy::Read(Tunnel& tunnel, Side& from, Side& to) {
    char piece[65536];
    while (!from.readEnd && to.out.size() < kMaxBuffered) {
        const ssize_t got = recv(from.fd.Get(), piece, sizeof piece, MSG_DONTWAIT);
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) break;
        if (got < 0) tunnel.dead = true;
        if (got <= 0) from.readEnd = true;
        if (got > 0) to.out.append(piece, static_cast<size_t>(got));
    }
}

void CConnectProxy::Write(Tunnel& tunnel, Side& to, const Side& from) {
    size_t done = 0;
    while (done < to.out.size()) {
        const ssize_t put = send(to.fd.Get(), to.out.data() + done, to.out.size() - done, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (put <= 0) {
            tunnel.dead = tunnel.dead || (errno != EAGAIN && errno != EINTR);
            break;
        }
        done += static_cast<size_t>(put);
    }
    to.out.erase(0, done);
    if (!from.readEnd || !to.out.empty() || to.writeEnd) return;
    to.writeEnd = true;
    shutdown(to.fd.Get(), SHUT_WR);
}

void CConnectProxy::AddWaits(const Tunnel& tunnel, std::vector<pollfd>& waits) {
    const auto waitFor = [&waits](const Side& side, const Side& other) {
        const bool reads = !side.readEnd && other.out.size() < kMaxBuffered;
        const auto events = static_cast<short>((reads ? POLLIN : 0) | (side.out.empty() ? 0 : POLLOUT));
        waits.push_back({events != 0 ? side.fd.Get() : -1, events, 0});  // a hang-up would wake us for ever
    };
    if (tunnel.open) {
        waitFor(tunnel.client, tunnel.target);
        waitFor(tunnel.target, tunnel.client);
    } else {
        waits.push_back({tunnel.connecting ? -1 : tunnel.client.fd.Get(), POLLIN, 0});
        waits.push_back({tunnel.connecting ? tunnel.target.fd.Get() : -1, POLLOUT, 0});
    }
}

void CConnectProxy::Serve(Tunnel& tunnel, const pollfd& client, const pollfd& target) {
    if (client.revents == 0 && target.revents == 0) return;
    if (!tunnel.open) {
        if (tunnel.connecting)
            FinishConnect(tunnel);
        else
            ReadHead(tunnel);
        return;
    }
    Read(tunnel, tunnel.client, tunnel.target);
    Read(tunnel, tunnel.target, tunnel.client);
    Write(tunnel, tunnel.target, tunnel.client);
    Write(tunnel, tunnel.client, tunnel.target);
    tunnel.dead = tunnel.dead || (tunnel.client.writeEnd && tunnel.target.writeEnd);
}

void CConnectProxy::Turn(uint64_t milliseconds, int alsoFd) {
    std::vector<pollfd> waits{{alsoFd, POLLIN, 0}, {m_tunnels.size() < kMaxTunnels ? m_listen.Get() : -1, POLLIN, 0}};
    for (const Tunnel& tunnel : m_tunnels) AddWaits(tunnel, waits);
    if (poll(waits.data(), waits.size(), static_cast<int>(milliseconds)) <= 0) return;
    size_t at = 2;
    for (auto tunnel = m_tunnels.begin(); tunnel != m_tunnels.end(); at += 2) {
        Serve(*tunnel, waits[at], waits[at + 1]);
        tunnel = tunnel->dead ? m_tunnels.erase(tunnel) : std::next(tunnel);
    }
    if (waits[1].revents != 0) Accept();
}

}  // namespace lumo
