// Asks a server, and the proxy before it, why nothing comes of a link.
#pragma once

#include "tools/lumo/net/relay_route.h"
#include "tools/lumo/net/server_trouble.h"

#include "link/media.h"

#include <atomic>
#include <memory>
#include <thread>

namespace lumo {

/// One look at the way that `route` goes, on a thread of its own, over in two seconds and a half. It asks what any
/// client may: for this host's address over UDP, for a connection over TCP, and a nearer server whether it relays.
class CServerCheck {
public:
    /// `medium`: of which the nearer server is to relay a channel.
    CServerCheck(const RelayRoute& route, const CMediumRow& medium);
    ~CServerCheck();
    CServerCheck(const CServerCheck&) = delete;
    CServerCheck& operator=(const CServerCheck&) = delete;

    bool Done() const { return m_bDone.load(std::memory_order_acquire); }
    /// Waits for it, once.
    const ServerTrouble& Result();

private:
    std::atomic<bool> m_bDone{false};
    std::atomic<bool> m_bStop{false};
    ServerTrouble m_trouble;  // the thread's until it is done
    std::thread m_thread;
};

}  // namespace lumo
