#include "platform/lumonet/tcp_server.h"

#include "platform/lumobase/undo.h"
#include "platform/lumonet/file_descriptor.h"
#include "platform/lumonet/guarded_call.h"
#include "platform/lumonet/net_real.h"
#include "platform/lumonet/socket_address.h"
#include "platform/lumonet/tcp_farewell.h"

#include <algorithm>
#include <cerrno>

using asio::ip::tcp;

namespace {

bool IsShortage(const asio::error_code& error) {
    return error == asio::error::no_descriptors || error == asio::error::no_buffer_space ||
           error == asio::error::no_memory || error == asio::error_code(ENFILE, asio::system_category()) ||
           error == asio::error_code(ENOSPC, asio::system_category());
}

}  // namespace

CTcpServer::CTcpServer(ITcpServerNotify* notify, ITcpAcceptFilter* filter)
    : m_pNotify(notify), m_pFilter(filter), m_acceptor(m_reactor.Io()), m_pause(m_reactor.Io()) {}

bool CTcpServer::Listen(uint32_t localIP, uint16_t port) {
    CAutoLock lock(&m_cs);
    if (!Open(localIP, port)) return false;
    m_pinned = shared_from_this();
    if (m_reactor.Post([self = m_pinned] { self->WaitAcceptable(); })) return true;
    m_pinned.reset();
    return false;
}

bool CTcpServer::Open(uint32_t localIP, uint16_t port) {
    asio::error_code error;
    CFileDescriptor socket(port ? TakeReservedTcpSocket(localIP, port) : -1);
    const bool reserved = static_cast<bool>(socket);
    if (!reserved) socket = OpenSocket(SOCK_STREAM);
    if (!socket) return false;
    m_acceptor.assign(tcp::v4(), socket.Get(), error);
    if (error) return false;
    socket.Take();  // the acceptor's own from now on
    if (!reserved) {
        m_acceptor.set_option(tcp::acceptor::reuse_address(true), error);
        if (!error) m_acceptor.bind(tcp::endpoint(asio::ip::address_v4(localIP), port), error);
    }
    if (!error) m_acceptor.listen(tcp::acceptor::max_listen_connections, error);
    if (!error) m_acceptor.non_blocking(true, error);
    return !error;
}

void CTcpServer::ReleaseConnections() {
    m_gate.Release();
    const CTcpReactor reactor = m_reactor;  // this call's own: the object may go before Post has returned
    std::shared_ptr<CTcpServer> self;
    {
        CAutoLock lock(&m_cs);
        asio::error_code ignored;
        m_acceptor.close(ignored);  // here and now: the port is free when this returns
        self.swap(m_pinned);
    }
    if (self) reactor.Post([self = std::move(self)] { self->Close(); });
}

bool CTcpServer::AcceptSession(ITcpSession* session) {
    if (!m_reactor.OnThread() || !m_pValidating || session != static_cast<ITcpSession*>(m_pValidating)) return false;
    return m_pValidating->Accept();
}

void CTcpServer::CheckTimeout() {
    m_reactor.Post([self = shared_from_this()] { self->DropSilent(); });
}

bool CTcpServer::Validate(CTcpSession& session, const CTcpValidation& validation) {
    m_waiting.erase(session.ID());
    m_pValidating = &session;
    const bool keep = GuardedCall(m_gate, [&] {
        return m_pNotify->OnTcpServerNotifyValidate(&session, validation.type, validation.data,
                                                    static_cast<int>(validation.length));
    });
    m_pValidating = nullptr;
    return keep;
}

void CTcpServer::WaitAcceptable() {
    CAutoLock lock(&m_cs);
    if (!m_acceptor.is_open()) return;
    m_acceptor.async_wait(tcp::acceptor::wait_read, [self = shared_from_this()](const asio::error_code& error) {
        self->m_bTurnDue = false;
        if (!error) self->AcceptTurn();
    });
    m_bTurnDue = true;
}

void CTcpServer::AcceptTurn() {
    try {
        for (int i = 0; i < net::kAcceptTurn; ++i) {
            tcp::socket socket(m_reactor.Io());
            const asio::error_code error = AcceptOne(socket);
            if (error == asio::error::would_block || error == asio::error::try_again) break;
            if (IsShortage(error) && !CTcpFarewell::EndOldest() && !DropOldest("another connection needs its place"))
                return PauseAccepting();
            if (!error) Admit(std::move(socket));
        }
        WaitAcceptable();
    } catch (...) {  // no memory: later, or with the next CheckTimeout where not even that is to be had
        PauseAccepting();
    }
}

asio::error_code CTcpServer::AcceptOne(tcp::socket& socket) {
    CAutoLock lock(&m_cs);
    // Not Asio's own, whose socket a child process would inherit.
    CFileDescriptor accepted(::accept4(m_acceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!accepted) return {errno, asio::system_category()};
    asio::error_code error;
    socket.assign(tcp::v4(), accepted.Get(), error);
    if (!error) accepted.Take();
    return error;
}

void CTcpServer::PauseAccepting() {
    m_pause.expires_after(net::kAcceptPause);
    m_pause.async_wait([self = shared_from_this()](const asio::error_code&) {
        self->m_bTurnDue = false;
        self->WaitAcceptable();
    });
    m_bTurnDue = true;
}

void CTcpServer::Admit(tcp::socket socket) {
    asio::error_code error;
    const tcp::endpoint from = socket.remote_endpoint(error);
    if (error || !MayAccept(from.address().to_v4().to_uint())) return;
    if (m_waiting.size() >= net::kMaxUnvalidated) DropOldest("too many that do not validate");
    const uint64_t id = ++m_nLastID;
    const auto session = std::make_shared<CTcpSession>(shared_from_this(), id, std::move(socket),
                                                       from.address().to_v4().to_uint(), from.port());
    m_waiting.emplace(id, Waiting{session, Clock::now()});
    CUndo undo([&] { session->Lose("no memory"); });
    session->Start();
    undo.Keep();
}

bool CTcpServer::MayAccept(uint32_t ip) {
    if (!m_pFilter) return !m_gate.IsReleased();
    const auto isIts = [ip](const auto& waiting) { return waiting.second.session->GetRemoteIP() == ip; };
    const auto unvalidated = static_cast<unsigned>(std::count_if(m_waiting.begin(), m_waiting.end(), isIts));
    const auto may = [&](unsigned others) {
        return GuardedCall(m_gate, [&] { return m_pFilter->MayAccept(ip, others); });
    };
    if (may(unvalidated)) return true;
    if (unvalidated == 0 || !may(unvalidated - 1)) return false;
    Drop(std::find_if(m_waiting.begin(), m_waiting.end(), isIts), "another connection of its address needs its place");
    return true;
}

// False when there is none.
bool CTcpServer::DropOldest(const char* reason) {
    if (m_waiting.empty()) return false;
    Drop(m_waiting.begin(), reason);
    return true;
}

void CTcpServer::Drop(std::map<uint64_t, Waiting>::iterator waiting, const char* reason) {
    const std::shared_ptr<CTcpSession> session = waiting->second.session;
    m_waiting.erase(waiting);
    session->Lose(reason);
}

void CTcpServer::DropSilent() {
    const auto limit = std::chrono::milliseconds(net::g_timeouts.validate);
    const Clock::time_point now = Clock::now();
    while (!m_waiting.empty() && now - m_waiting.begin()->second.since >= limit) DropOldest("no validation message");
    if (!m_bTurnDue) WaitAcceptable();
}

void CTcpServer::Close() {
    m_pause.cancel();
    while (DropOldest("the listener is released")) {}
}

ITcpServer* MakeTcpServer(ITcpServerNotify* notify, const TcpServerOptions& options) {
    if (!notify) return nullptr;
    try {
        const auto server = std::make_shared<CTcpServer>(notify, options.filter);
        return server->Listen(options.localIP, options.port) ? server.get() : nullptr;
    } catch (...) {
        return nullptr;
    }
}
