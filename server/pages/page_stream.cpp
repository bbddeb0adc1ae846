#include "server/pages/page_stream.h"

#include <sys/socket.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

bool CPageStream::Wait(short event) const {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(m_end - Clock::now());
    if (left.count() <= 0) return false;
    pollfd one{m_socket, event, 0};
    return poll(&one, 1, static_cast<int>(std::min(left, kSilence).count())) > 0;
}

ssize_t CPageStream::read(char* data, size_t size) {
    if (m_nRead == m_nFilled) {
        if (m_nReceived >= m_limits.request || !Wait(POLLIN)) return -1;
        const ssize_t got = recv(m_socket, m_buffer.data(), m_buffer.size(), MSG_DONTWAIT);
        if (got <= 0) return got;
        m_nRead = 0;
        m_nFilled = static_cast<size_t>(got);
        m_nReceived += m_nFilled;
    }
    const size_t count = std::min(size, m_nFilled - m_nRead);
    std::memcpy(data, m_buffer.data() + m_nRead, count);
    m_nRead += count;
    return static_cast<ssize_t>(count);
}

ssize_t CPageStream::write(const char* data, size_t size) {
    if (m_limits.endless) m_end = Clock::now() + m_limits.whole;
    if (!Wait(POLLOUT)) return -1;
    const ssize_t sent = send(m_socket, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    return sent < 0 && errno == EAGAIN ? 0 : sent;
}
