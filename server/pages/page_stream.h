// The bytes of one HTTP connection, which ends in time.
#pragma once

#include <httplib.h>
#include <poll.h>
#include <array>
#include <chrono>
#include <cstddef>
#include <string>

/// One thread.
class CPageStream : public httplib::Stream {
public:
    explicit CPageStream(socket_t socket) : m_socket(socket), m_end(Clock::now() + kWhole) {}

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
    static constexpr std::chrono::milliseconds kWhole{5000};
    static constexpr size_t kMaxRequest = 64 << 10;

    bool Wait(short event) const;

    const socket_t m_socket;
    const Clock::time_point m_end;
    std::array<char, 4096> m_buffer;  // requests are read byte by byte
    size_t m_nRead = 0;
    size_t m_nFilled = 0;
    size_t m_nReceived = 0;
};
