#include "server/pages/page_server.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

bool COpenConnections::Add(int socket) {
    CAutoLock lock(&m_cs);
    return !m_bCut && m_sockets.insert(socket).second;
}

void COpenConnections::Remove(int socket) {
    CAutoLock lock(&m_cs);
    m_sockets.erase(socket);
}

void COpenConnections::CutAll() {
    CAutoLock lock(&m_cs);
    m_bCut = true;
    for (int socket : m_sockets) shutdown(socket, SHUT_RDWR);
}

CPageServer::CPageServer(const PageLimits& limits) : m_limits(limits) {
    // Not the library's default, which lets two servers share a port unnoticed.
    set_socket_options([](socket_t sock) {
        const int on = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        fcntl(sock, F_SETFD, FD_CLOEXEC);
    });
}

bool CPageServer::process_and_close_socket(socket_t sock) {
    fcntl(sock, F_SETFD, FD_CLOEXEC);  // a process started while a page is read must not inherit the connection
    bool answered = false;
    if (m_open.Add(sock)) {
        CPageStream stream(sock, m_limits);
        bool closed = false;
        answered = process_request(stream, true, closed, nullptr);
        m_open.Remove(sock);  // before the number can be another connection's
    }
    shutdown(sock, SHUT_RDWR);
    close(sock);
    return answered;
}
