#include "platform/lumonet/tcp_farewell.h"

#include "platform/lumobase/crit_sec.h"
#include "platform/lumobase/undo.h"
#include "platform/lumonet/tcp_limits.h"

#if defined(__linux__)
#include <linux/sockios.h>
#endif
#include <sys/ioctl.h>

#include <algorithm>
#include <asio/buffer.hpp>
#include <thread>
#include <utility>
#include <vector>

namespace {

struct State {
    CCritSec cs;
    std::vector<CTcpFarewell*> all LUMO_GUARDED_BY(cs);
};

State& GetState() {
    static State& state = *new State;  // never destroyed: connections may outlive any static
    return state;
}

bool IsFull() {
    State& state = GetState();
    CAutoLock lock(&state.cs);
    return state.all.size() >= net::kMaxFarewells;
}

}  // namespace

bool CTcpFarewell::Begin(const CTcpReactor& reactor, asio::ip::tcp::socket socket, Closed closed) noexcept {
    try {
        if (IsFull()) EndOldest();
        const auto farewell = std::make_shared<CTcpFarewell>(reactor, std::move(socket), std::move(closed));
        CUndo undo([&farewell] {
            farewell->m_closed = {};
            farewell->Close();
        });
        farewell->Start();
        undo.Keep();
        return true;
    } catch (...) {  // the socket has closed
        return false;
    }
}

CTcpFarewell::CTcpFarewell(const CTcpReactor& reactor, asio::ip::tcp::socket socket, Closed closed)
    : m_reactor(reactor),
      m_socket(std::move(socket)),
      m_timer(reactor.Io()),
      m_end(std::chrono::steady_clock::now() + std::chrono::milliseconds(net::g_timeouts.linger)),
      m_closed(std::move(closed)) {
    State& state = GetState();
    CAutoLock lock(&state.cs);
    state.all.push_back(this);
}

CTcpFarewell::~CTcpFarewell() { Leave(); }

void CTcpFarewell::Leave() {
    State& state = GetState();
    CAutoLock lock(&state.cs);
    state.all.erase(std::remove(state.all.begin(), state.all.end(), this), state.all.end());
}

bool CTcpFarewell::EndOldest() {
    State& state = GetState();
    std::shared_ptr<CTcpFarewell> oldest;
    {
        CAutoLock lock(&state.cs);
        if (!state.all.empty()) oldest = state.all.front()->weak_from_this().lock();
    }
    if (!oldest) return false;
    oldest->Close();
    return true;
}

void CTcpFarewell::Start() {
    asio::error_code ignored;
    m_socket.cancel(ignored);  // what the connection was waiting for
    m_socket.non_blocking(true, ignored);
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    m_timer.expires_at(m_end);
    m_timer.async_wait([self = shared_from_this()](const asio::error_code&) { self->Close(); });
    Turn();
}

void CTcpFarewell::Turn() {
    if (!Discard()) return Close();
    m_socket.async_wait(asio::socket_base::wait_read, [self = shared_from_this()](const asio::error_code& error) {
        if (!error) self->Turn();
    });
}

bool CTcpFarewell::Discard() {
    asio::error_code error;
    m_socket.read_some(asio::buffer(m_reactor.Scratch(), net::kReadTurn), error);
    return !error || error == asio::error::would_block || error == asio::error::interrupted;
}

bool CTcpFarewell::HasArrived() {
#if defined(SIOCOUTQ)
    int waiting = 0;
    return ioctl(m_socket.native_handle(), SIOCOUTQ, &waiting) != 0 || waiting == 0;
#else
    return false;
#endif
}

void CTcpFarewell::Close() {
    asio::error_code ignored;
    m_socket.close(ignored);
    m_timer.cancel();
    Leave();
    if (const Closed closed = std::exchange(m_closed, {})) closed();
}

void CTcpFarewell::FinishAll() noexcept {
    State& state = GetState();
    CAutoLock lock(&state.cs);  // of no use to others any more
    for (CTcpFarewell* farewell : state.all) {
        while (farewell->m_socket.is_open() && farewell->Discard() && !farewell->HasArrived() &&
               std::chrono::steady_clock::now() < farewell->m_end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}
