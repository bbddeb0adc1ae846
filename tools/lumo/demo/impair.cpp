#include "tools/lumo/demo/impair.h"

#include "core/session_constants.h"
#include "core/wire/commands.h"
#include "lumomedia/packet.h"
#include "tools/lumo/demo/sockets.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace lumo {

namespace {
constexpr size_t kMaxLinks = 1024;
constexpr size_t kNobody = SIZE_MAX;
}  // namespace

void CRepeatCounter::Look(uint64_t direction, const uint8_t* datagram, size_t length) {
    if (length < 2 || datagram[0] >= wire::kKindCount) return;
    const auto kind = static_cast<wire::Kind>(datagram[0]);
    const wire::CommandRow* row = wire::FindCommand(kind, datagram + 1, static_cast<int>(length - 1));
    if (!row || row->tail != wire::Tail::SessionPacket) return;
    const auto header = static_cast<size_t>(row->FixedLength()) + 1;
    if (length <= header + session::kHeaderLen) return;
    CSCTPPacket packet(reinterpret_cast<const char*>(datagram + header), session::kHeaderLen);
    if (packet.GetVersion() != 0 || packet.GetCommand() != session::SCTP_CMD_DATA) return;
    uint64_t key = uint64_t{datagram[0]} << 40 | uint64_t{datagram[1]} << 32;
    for (size_t i = 2; i < 6; ++i) key |= uint64_t{datagram[i]} << (8 * (5 - i));  // the first ID
    if (m_links.size() >= kMaxLinks) m_links.clear();
    Link& link = m_links[{direction, key}];
    ++m_nData;
    const auto ahead = static_cast<uint16_t>(packet.GetSequence() - link.highest);
    if (link.started && (ahead == 0 || ahead > 0x7FFF)) {
        ++m_nRepeated;
    } else {
        link.started = true;
        link.highest = packet.GetSequence();
    }
}

CImpairedPath::CImpairedPath(const Endpoint& target, const ImpairOptions& options)
    : m_target(target), m_options(options), m_random(options.seed) {}

bool CImpairedPath::Open(const Endpoint& listen, std::string& problem) {
    m_listen = OpenSocket(SOCK_DGRAM, listen, problem);
    if (!m_listen) return false;
    EnlargeBuffers(m_listen.Get());
    m_usPort = LocalEndpoint(m_listen.Get()).port;
    return true;
}

size_t CImpairedPath::ClientOf(const Endpoint& address) {
    for (size_t i = 0; i < m_clients.size(); ++i) {
        if (m_clients[i].address.ip == address.ip && m_clients[i].address.port == address.port) return i;
    }
    if (m_clients.size() >= kMaxClients) return kNobody;
    std::string problem;
    CFileDescriptor fd = OpenSocket(SOCK_DGRAM, Endpoint{}, problem);
    if (!fd) return kNobody;
    EnlargeBuffers(fd.Get());
    m_clients.push_back({address, std::move(fd)});
    return m_clients.size() - 1;
}

void CImpairedPath::Pass(uint64_t now, size_t client, bool toTarget, const char* data, size_t length) {
    ++m_nSeen;
    m_repeats.Look(2 * client + toTarget, reinterpret_cast<const uint8_t*>(data), length);
    const bool lost = std::uniform_real_distribution<double>(0, 1)(m_random) < m_options.loss;
    if (lost || m_waiting.size() >= kMaxWaiting) {
        ++m_nLost;
        return;
    }
    const int fd = toTarget ? m_clients[client].fd.Get() : m_listen.Get();
    const Endpoint& to = toTarget ? m_target : m_clients[client].address;
    if (m_options.delayMs == 0)
        SendDatagram(fd, to, data, length);
    else
        m_waiting.push_back({now + m_options.delayMs, fd, to, std::string(data, length)});
}

void CImpairedPath::TakeFrom(int fd, size_t client, uint64_t now) {
    char buffer[65536];
    for (int i = 0; i < kBurst; ++i) {
        Endpoint from;
        const ssize_t got = ReceiveDatagram(fd, from, buffer, sizeof buffer);
        if (got < 0 && errno == ECONNREFUSED) continue;  // the target is away just now
        if (got < 0) return;
        const bool toTarget = client == kNobody;
        const size_t whose = toTarget ? ClientOf(from) : client;
        if (whose != kNobody) Pass(now, whose, toTarget, buffer, static_cast<size_t>(got));
    }
}

void CImpairedPath::SendDue(uint64_t now) {
    for (; !m_waiting.empty() && m_waiting.front().due <= now; m_waiting.pop_front()) {
        const Waiting& next = m_waiting.front();
        SendDatagram(next.fd, next.to, next.bytes.data(), next.bytes.size());
    }
}

void CImpairedPath::Turn(uint64_t now, uint64_t milliseconds, int alsoFd) {
    SendDue(now);
    if (!m_waiting.empty()) milliseconds = std::min(milliseconds, m_waiting.front().due - now);
    std::vector<pollfd> waits{{alsoFd, POLLIN, 0}, {m_listen.Get(), POLLIN, 0}};
    for (const Client& client : m_clients) waits.push_back({client.fd.Get(), POLLIN, 0});
    if (poll(waits.data(), waits.size(), static_cast<int>(milliseconds)) <= 0) return;
    for (size_t i = 2; i < waits.size(); ++i) {
        if (waits[i].revents != 0) TakeFrom(waits[i].fd, i - 2, now);
    }
    if (waits[1].revents != 0) TakeFrom(m_listen.Get(), kNobody, now);
}

}  // namespace lumo
