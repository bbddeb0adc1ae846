// The bytes of one HTTP connection, which ends in time.
#pragma once

#include <httplib.h>
#include <poll.h>
#include <array>
#include <chrono>
#include <cstddef>
#include <string>

/// What one connection may cost.
struct PageLimits {
    size_t request = 64 << 10;              ///< bytes of it
    std::chrono::milliseconds whole{5000};  ///< from its first byte to the last of the answer
    bool endless = false;                   ///< answers last as long as somebody takes them: `whole` is their pause
};

/// One thread.
class CPageStream : public httplib::Stream {
public:
    CPageStream(socket_t socket, const PageLimits& limits)
        : m_socket(socket), m_limits(limits), m_end(Clock::now() + limits.whole) {}

    bool is_readable() const override { return m_nRead < m_nFilled || Wait(POLLIN); }
    bool is_writable() const override { return Wait(POLLOUT); }
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    // Nothing here depends on who asks.
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return m_socket; }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kSilence{2000};

    bool Wait(short event) const;

    const socket_t m_socket;
    const PageLimits m_limits;
    Clock::time_point m_end;
    std::array<char, 4096> m_buffer;  // requests are read byte by byte
    size_t m_nRead = 0;
    size_t m_nFilled = 0;
    size_t m_nReceived = 0;
};
