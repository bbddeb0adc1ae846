// The HTTP library's server with an end to every connection.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"
#include "server/pages/page_stream.h"

#include <httplib.h>
#include <set>

/// Open connections, so that the end of the server can cut them off. Any thread.
class COpenConnections {
public:
    /// False once they are cut.
    bool Add(int socket);
    void Remove(int socket);
    /// A thread that waits for one of them finds it closed.
    void CutAll();

private:
    CCritSec m_cs{lock_order::kLeaf};
    bool m_bCut LUMO_GUARDED_BY(m_cs) = false;
    std::set<int> m_sockets LUMO_GUARDED_BY(m_cs);
};

/// One request a connection, of bounded length and within a bounded time: a client that sends or reads a byte a second
/// would otherwise hold a thread for ever.
class CPageServer : public httplib::Server {
public:
    explicit CPageServer(const PageLimits& limits = PageLimits());
    /// Connections end at once, and so do those that still come. Before stop().
    void CutAll() { m_open.CutAll(); }

private:
    bool process_and_close_socket(socket_t sock) override;

    const PageLimits m_limits;
    COpenConnections m_open;
};
