#include "bench/harness/control.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string>

namespace bench {

std::pair<int, int> CControl::MakePair() {
    std::array<int, 2> fds{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds.data()) != 0)
        throw std::runtime_error("no socket pair");
    fcntl(fds[1], F_SETFD, 0);
    return {fds[0], fds[1]};
}

bool CControl::Send(const nlohmann::json& message) {
    const std::string text = message.dump();
    return send(m_fd.Get(), text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

std::optional<nlohmann::json> CControl::Receive(int timeoutMs) {
    pollfd wait{m_fd.Get(), POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&wait, 1, timeoutMs);
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0) return std::nullopt;
    std::array<char, 16384> buffer{};
    const ssize_t length = recv(m_fd.Get(), buffer.data(), buffer.size(), 0);
    if (length <= 0) return nlohmann::json();
    return nlohmann::json::parse(buffer.data(), buffer.data() + length, nullptr, false);
}

}  // namespace bench
