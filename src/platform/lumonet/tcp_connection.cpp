#include "platform/lumonet/tcp_connection.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/congestion.h"
#include "platform/lumonet/tcp_farewell.h"

#include <netinet/tcp.h>
#include <asio/buffer.hpp>
#include <utility>

namespace {

bool MustWait(const asio::error_code& error) {
    return error == asio::error::would_block || error == asio::error::try_again || error == asio::error::interrupted;
}

}  // namespace

CTcpConnection::CTcpConnection(uint32_t strangerIP)
    : m_ulStranger(strangerIP), m_socket(m_reactor.Io()), m_timer(m_reactor.Io()), m_look(m_reactor.Io()) {}

CTcpConnection::~CTcpConnection() {
    m_out.account.Leave();
    m_in.account.Leave();
    if (m_nCharged > 0) m_in.account.Return(m_nCharged);
}

// A handler that keeps this object alive and, whatever happens in it, leaves the connection working or ended.
template <typename Work>
auto CTcpConnection::Later(Work work) {
    return [self = shared_from_this(), work](const asio::error_code& error = {}) {
        if (error || self->IsLost()) return;
        try {
            (self.get()->*work)();
        } catch (...) {
            self->Lose("no memory");
        }
    };
}

void CTcpConnection::Send(const char* data, int length, int mode) {
    if (!data || length <= 0 || IsLost()) return;
    const auto bytes = static_cast<uint32_t>(length);
    CTcpValidation laidOut;
    if (mode == 1 && !(bytes <= net::kMaxUnvalidatedBody && ParseValidation(data, bytes, laidOut))) return;
    if (bytes > net::kMaxBody) return;
    try {
        CSharedMessage frame = mode == 1 ? nullptr : ShareFrame(data, bytes, m_out.account.HoldsLittle(bytes));
        CQueueCharge charge;
        if (mode != 1 && (!frame || !charge.Take(m_out.account, bytes))) {
            return m_bKeepsPlace.load(std::memory_order_relaxed) ? void() : GiveWay();  // a gap would follow
        }
        const bool wake =
            mode == 1 ? m_queue.PushValidation(data, bytes) : m_queue.PushFrame(std::move(frame), std::move(charge));
        if (wake) BeginWriting();
    } catch (...) {
        LUMO_LOG_ERROR("CTcpConnection::Send. no memory for %d bytes", length);
        GiveWay();
    }
}

void CTcpConnection::SendOnlyNewest(uint64_t key, const char* data, int length) {
    if (!data || length <= 0 || static_cast<uint32_t>(length) > net::kMaxBody || IsLost()) return;
    const auto bytes = static_cast<uint32_t>(length);
    CSharedMessage frame = ShareFrame(data, bytes, m_out.account.HoldsLittle(bytes));
    CQueueCharge charge;
    if (frame && charge.Take(m_out.account, bytes) && m_queue.PushNewest(key, std::move(frame), std::move(charge)))
        BeginWriting();
}

void CTcpConnection::BeginWriting() {
    if (!m_reactor.Post(Later(&CTcpConnection::WriteTurn))) m_queue.NotWoken();
}

void CTcpConnection::CWay::GiveWay() {
    if (this != &owner.m_out || !owner.m_bKeepsPlace.load(std::memory_order_relaxed)) return owner.GiveWay();
    owner.m_queue.Clear();
    account.Recover();
}

void CTcpConnection::GiveWay() {
    std::shared_ptr<CTcpConnection> self = weak_from_this().lock();
    if (!self) return;
    const CTcpReactor reactor = m_reactor;   // the object may go before Post has returned
    reactor.Post([self = std::move(self)] {  // the worker keeps no use of the reactor, which has the budget's lock
        self->LetGo();
    });
}

// A message that is not whole grows with what has come of it, whatever it announces.
void CTcpConnection::ChargeKept() {
    const size_t kept = m_decoder.Capacity() > net::kUnchargedBuffer ? m_decoder.Capacity() : 0;
    if (kept < m_nCharged) m_in.account.Return(m_nCharged - kept);
    if (kept > m_nCharged) {
        m_in.account.Enter(m_ulStranger);
        if (!m_in.account.Take(kept - m_nCharged)) return LetGo();
    }
    m_nCharged = kept;
}

void CTcpConnection::LetGo() {
    Lose("gives way for want of memory");
    m_decoder = CTcpDecoder();
    ChargeKept();
}

void CTcpConnection::FinishSending() {
    if (m_bFinishing.exchange(true)) return;
    if (!m_queue.Finish() || m_reactor.Post(Later(&CTcpConnection::WriteTurn))) return;
    m_queue.NotWoken();  // no memory to say so: the next call may have some
    m_bFinishing.store(false);
}

void CTcpConnection::End(const char* reason, bool gently) {
    if (m_bLost.exchange(true)) return;
    LUMO_LOG_LINE("CTcpConnection::Lose. %s", reason);
    CancelTimer();
    m_look.cancel();
    asio::error_code ignored;
    if (gently && m_nSent > 0 && m_socket.is_open()) CTcpFarewell::Begin(m_reactor, std::move(m_socket));
    m_socket.close(ignored);
    m_queue.Close();
    OnLost();
}

void CTcpConnection::Begin() {
    asio::error_code error;
    m_socket.non_blocking(true, error);
    if (error) return Lose("no way to set up the socket");
    using UserTimeout = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_USER_TIMEOUT>;
    m_socket.set_option(asio::ip::tcp::no_delay(true), error);
    m_socket.set_option(UserTimeout(net::kUserTimeoutMs), error);
    m_pCongestionControl.store(net::AskForCongestionControl(m_socket.native_handle()), std::memory_order_relaxed);
    m_out.account.Enter(m_ulStranger);
    WaitReadable();
    WriteTurn();
}

void CTcpConnection::Resume() { m_reactor.Post(Later(&CTcpConnection::Continue)); }

void CTcpConnection::Continue() {
    const bool goesOn = Deliver();
    ChargeKept();
    if (goesOn) WaitReadable();
}

void CTcpConnection::SetTimer(int milliseconds, const char* reason) {
    m_timer.expires_after(std::chrono::milliseconds(milliseconds));
    m_timer.async_wait([self = shared_from_this(), setting = ++m_nTimer, reason](const asio::error_code& error) {
        if (!error && setting == self->m_nTimer) self->Lose(reason);
    });
}

void CTcpConnection::CancelTimer() {
    ++m_nTimer;
    m_timer.cancel();
}

void CTcpConnection::Pin() {
    CAutoLock lock(&m_csPinned);
    m_pinned = shared_from_this();
}

void CTcpConnection::Unpin() {
    std::shared_ptr<CTcpConnection> self;  // goes after the lock
    CAutoLock lock(&m_csPinned);
    self.swap(m_pinned);
}

void CTcpConnection::Release() {
    m_gate.Release();
    std::shared_ptr<CTcpConnection> self = shared_from_this();
    Unpin();
    const CTcpReactor reactor = m_reactor;  // this call's own: the object may go before Post has returned
    reactor.Post([self = std::move(self)] { self->LoseGently("released"); });
}

void CTcpConnection::WaitReadable() {
    if (m_bAwaitsRead || IsLost()) return;
    m_bAwaitsRead = true;
    m_socket.async_wait(asio::socket_base::wait_read, Later(&CTcpConnection::ReadTurn));
}

void CTcpConnection::ReadTurn() {
    m_bAwaitsRead = false;
    if (!m_socket.is_open()) return;  // a write turn has just given it away
    asio::error_code error;
    const size_t length = m_socket.read_some(asio::buffer(m_reactor.Scratch(), net::kReadTurn), error);
    if (error && !MustWait(error)) return Lose(error == asio::error::eof ? "closed by the far side" : "read failed");
    m_nReceived.store(ReceivedBytes() + length, std::memory_order_relaxed);
    m_decoder.Feed(m_reactor.Scratch(), length);
    Continue();
}

// True when reading should go on.
bool CTcpConnection::Deliver() {
    while (!IsLost()) {
        if (m_bFinishing.load(std::memory_order_acquire)) {
            m_decoder = CTcpDecoder();
            return true;
        }
        CTcpMessage message;
        const CTcpDecoder::Result result = m_decoder.Next(message);
        if (result == CTcpDecoder::Result::NeedMore) return true;
        const Verdict verdict = result == CTcpDecoder::Result::Message ? OnMessage(message) : Verdict::Refused;
        if (verdict == Verdict::NotNow) {
            m_decoder.Undo();
            return m_decoder.Kept() < net::kMaxHeld;
        }
        if (verdict == Verdict::Refused) LoseGently("message refused");
    }
    return false;
}

CTcpConnection::Verdict CTcpConnection::OnMessage(const CTcpMessage& message) {
    if (m_bValidated) {
        if (message.kind == TcpKind::Validation || message.length == 0) return Verdict::Taken;
        return OnFrame(message.data, static_cast<int>(message.length));
    }
    CTcpValidation validation;
    if (message.kind != TcpKind::Validation || !ParseValidation(message.data, message.length, validation)) {
        return Verdict::Refused;
    }
    m_bValidated = true;
    m_decoder.SetMaxBody(net::kMaxBody);
    return OnValidation(validation) ? Verdict::Taken : Verdict::Refused;
}

void CTcpConnection::WaitWritable() {
    m_bAwaitsWrite = true;
    WatchStall();
    m_socket.async_wait(asio::socket_base::wait_write, Later(&CTcpConnection::WriteTurn));
}

void CTcpConnection::WatchStall() {
    if (!m_stall.IsJudged() || m_bLooking) return;
    m_stall.Begin(Taken());
    LookWhetherStalled();
}

void CTcpConnection::LookWhetherStalled() {
    m_bLooking = m_bAwaitsWrite && m_socket.is_open();
    if (!m_bLooking) return;
    if (m_stall.Look(Taken()) && m_queue.Count() > 0) return Lose("the far side takes nothing");
    m_look.expires_after(std::chrono::milliseconds(m_stall.LookEveryMs()));
    m_look.async_wait(Later(&CTcpConnection::LookWhetherStalled));
}

void CTcpConnection::WriteTurn() {
    m_bAwaitsWrite = false;
    const CTcpSendQueue::Pieces pieces = m_queue.Gather();
    if (pieces.empty()) {
        if (m_bFinishing.load(std::memory_order_acquire)) Linger();
        return;
    }
    asio::error_code error;
    const size_t length = Write(pieces, error);
    m_queue.Sent(length);
    m_nSent.fetch_add(length, std::memory_order_relaxed);
    if (error && !MustWait(error)) return OnWriteFailed();
    // The others come first, if there is memory to say so.
    if (length < asio::buffer_size(pieces) || !m_reactor.Post(Later(&CTcpConnection::WriteTurn))) WaitWritable();
}

size_t CTcpConnection::Write(CTcpSendQueue::Pieces pieces, asio::error_code& error) {
    const bool ages = m_queue.Ages() || m_queue.GathersNewest();
    const int mostUnsent = ages ? 1 : m_stall.IsJudged() ? net::kMaxUnsent : 0;
    if (mostUnsent != m_nMostUnsent) {
        using NotSentLowWater = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_NOTSENT_LOWAT>;
        m_socket.set_option(NotSentLowWater(mostUnsent), error);
        m_nMostUnsent = mostUnsent;
    }
    if (!ages) return m_socket.write_some(pieces, error);
    // The kernel counts what is unsent only where it begins a new record, which the mark makes each write.
    return m_socket.send(pieces, MSG_EOR, error);
}

// All has left.
void CTcpConnection::Linger() {
    const auto ended = [self = shared_from_this()] { self->Lose("the far side has closed, or has not in time"); };
    if (!CTcpFarewell::Begin(m_reactor, std::move(m_socket), ended)) Lose("closed");
}

// The far side has most likely gone. What it sent before lies in the kernel still, and reading it ends the connection.
void CTcpConnection::OnWriteFailed() {
    m_queue.Close();
    if (!m_bAwaitsRead) return Lose("write failed");
    SetTimer(net::g_timeouts.linger, "write failed");
}
