// A listener, and the connections that have not validated yet.
#pragma once

#include "platform/lumobase/crit_sec.h"
#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/tcp_session.h"

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <memory>

class CTcpServer final : public ITcpServer, public std::enable_shared_from_this<CTcpServer> {
public:
    CTcpServer(ITcpServerNotify* notify, ITcpAcceptFilter* filter);
    /// False when the address is not to be had. True: the object is the caller's until ReleaseConnections.
    bool Listen(uint32_t localIP, uint16_t port);

    void ReleaseConnections() override;
    bool AcceptSession(ITcpSession* session) override;
    void CheckTimeout() override;

    /// Reactor: asks the application whether it keeps the session, which is its own business from now on.
    bool Validate(CTcpSession& session, const CTcpValidation& validation);
    /// Reactor: a connection has ended before it validated.
    void Forget(uint64_t id) { m_waiting.erase(id); }

private:
    using Clock = std::chrono::steady_clock;
    struct Waiting {
        std::shared_ptr<CTcpSession> session;
        Clock::time_point since;
    };

    bool Open(uint32_t localIP, uint16_t port) LUMO_REQUIRES(m_cs);
    void WaitAcceptable();
    void AcceptTurn();
    asio::error_code AcceptOne(asio::ip::tcp::socket& socket);
    void PauseAccepting();
    void Admit(asio::ip::tcp::socket socket);
    bool MayAccept(uint32_t ip);
    bool DropOldest(const char* reason);
    void Drop(std::map<uint64_t, Waiting>::iterator waiting, const char* reason);
    void DropSilent();
    void Close();

    const CTcpReactor m_reactor;  // first, so that it goes last
    ITcpServerNotify* const m_pNotify;
    ITcpAcceptFilter* const m_pFilter;
    CReleaseGate m_gate;
    CCritSec m_cs;                                             // never held during a callback
    asio::ip::tcp::acceptor m_acceptor LUMO_GUARDED_BY(m_cs);  // closed by the thread that releases
    std::shared_ptr<CTcpServer> m_pinned LUMO_GUARDED_BY(m_cs);
    asio::steady_timer m_pause;             // reactor
    std::map<uint64_t, Waiting> m_waiting;  // reactor: in the order of their arrival
    uint64_t m_nLastID = 0;                 // reactor
    bool m_bTurnDue = false;                // reactor: something will accept again
    CTcpSession* m_pValidating = nullptr;   // reactor
};
