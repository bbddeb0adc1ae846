// One TCP connection that carries messages: what the client and the accepted session share.
#pragma once

#include "platform/lumonet/guarded_call.h"
#include "platform/lumonet/tcp_framing.h"
#include "platform/lumonet/tcp_reactor.h"
#include "platform/lumonet/tcp_send_queue.h"
#include "platform/lumonet/tcp_stall.h"

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <memory>

/// Lives until its owner has released it and the reactor has no more work for it. Members marked "reactor" belong to
/// the reactor's thread; the others may be called on any.
class CTcpConnection : public std::enable_shared_from_this<CTcpConnection> {
public:
    CTcpConnection(const CTcpConnection&) = delete;
    CTcpConnection& operator=(const CTcpConnection&) = delete;

    bool IsLost() const { return m_bLost.load(std::memory_order_acquire); }
    /// As they come, whole messages or not.
    uint64_t ReceivedBytes() const { return m_nReceived.load(std::memory_order_relaxed); }
    /// What the kernel uses for it; empty before it is connected, and where that cannot be told.
    const char* CongestionControl() const { return m_pCongestionControl.load(std::memory_order_relaxed); }
    /// Queues one message. Drops what cannot be one: nothing, too long, or a validation message not laid out as such.
    void Send(const char* data, int length, int mode);
    /// Queues a frame that gives way to a newer one of its key; dropped where there is no memory for it.
    void SendOnlyNewest(uint64_t key, const char* data, int length);
    /// Takes and delivers nothing more; ends once what is queued has left and the far side has closed.
    void FinishSending();
    /// Reactor: ends at once. The reason goes to the log.
    void Lose(const char* reason) { End(reason, false); }
    /// Reactor: the same, but what was handed to the kernel still reaches the far side.
    void LoseGently(const char* reason) { End(reason, true); }

protected:
    /// The address is that of a far side that came by itself: what the connection holds counts towards its quota.
    explicit CTcpConnection(uint32_t strangerIP);
    virtual ~CTcpConnection();

    /// What became of a frame. Refused: the connection ends. NotNow: it is kept, with what follows, until Resume.
    enum class Verdict { Taken, Refused, NotNow };

    /// Reactor: the far side's validation message; false ends the connection.
    virtual bool OnValidation(const CTcpValidation& validation) = 0;
    /// Reactor: a frame.
    virtual Verdict OnFrame(const char* data, int length) = 0;
    /// Reactor: the connection has ended. Once.
    virtual void OnLost() = 0;

    /// Reactor: the socket is connected. Reads and writes begin.
    void Begin();
    /// What was kept may be taken now.
    void Resume();
    /// Reactor: the connection ends after that time unless the timer is set again or cancelled.
    void SetTimer(int milliseconds, const char* reason);
    void CancelTimer();
    /// Reactor: the longest frame from now on.
    void SetMaxBody(uint32_t length) { m_decoder.SetMaxBody(length); }

    /// What waits ends the connection when the far side takes nothing for so long.
    void SetStallLimit(uint32_t milliseconds) { m_stall.SetLimit(milliseconds); }
    /// What waits gives way alone, and the connection stays.
    void KeepPlace() { m_bKeepsPlace.store(true, std::memory_order_relaxed); }

    /// The object stays alive until Unpin, for a holder of a raw pointer to it.
    void Pin();
    void Unpin();
    /// By that owner, once: no callback runs from its return on, and the connection ends.
    void Release();

private:
    /// One way of the connection, as the budgets see it.
    struct CWay final : public IBudgetHolder {
        CWay(CTcpConnection& connection, CMemoryBudget& budget, const std::atomic<uint64_t>& bytes)
            : owner(connection), moved(bytes), account(budget, *this) {}
        void GiveWay() override;
        uint64_t BytesMoved() override { return moved.load(std::memory_order_relaxed); }

        CTcpConnection& owner;
        const std::atomic<uint64_t>& moved;
        CBudgetAccount account;
    };
    std::atomic<uint64_t> m_nSent{0};  // handed to the kernel
    std::atomic<uint64_t> m_nReceived{0};
    std::atomic<const char*> m_pCongestionControl{""};
    CWay m_out{*this, SendBudget(), m_nSent};  // outlives the queue
    CWay m_in{*this, ReceiveBudget(), m_nReceived};
    const uint32_t m_ulStranger;

protected:
    const CTcpReactor m_reactor;     // goes after all that is below
    asio::ip::tcp::socket m_socket;  // reactor
    CTcpSendQueue m_queue;
    CReleaseGate m_gate;  // of every callback of the application

private:
    template <typename Work>
    auto Later(Work work);
    void WaitReadable();
    void ReadTurn();
    void Continue();
    bool Deliver();
    Verdict OnMessage(const CTcpMessage& message);
    void BeginWriting();
    void WaitWritable();
    void WatchStall();
    void LookWhetherStalled();
    uint64_t Taken() { return CTcpStall::Taken(m_nSent, m_socket.native_handle()); }
    void WriteTurn();
    /// Where frames age, or give way to newer ones, the kernel takes the next ones only once all before are on their
    /// way.
    size_t Write(CTcpSendQueue::Pieces pieces, asio::error_code& error);
    void OnWriteFailed();
    /// Any thread: this connection ends, for want of memory.
    void GiveWay();
    /// Reactor: the same at once.
    void LetGo();
    void ChargeKept();
    void Linger();
    void End(const char* reason, bool gently);

    CTcpDecoder m_decoder;        // reactor
    int m_nMostUnsent = 0;        // reactor: as the kernel was told
    asio::steady_timer m_timer;   // reactor
    unsigned m_nTimer = 0;        // reactor: which setting of the timer is the last
    bool m_bValidated = false;    // reactor: the far side has validated
    bool m_bAwaitsRead = false;   // reactor
    size_t m_nCharged = 0;        // reactor: for what the decoder keeps
    bool m_bAwaitsWrite = false;  // reactor
    bool m_bLooking = false;      // reactor: the timer of the next line is set
    asio::steady_timer m_look;    // reactor
    CTcpStall m_stall;            // reactor
    std::atomic<bool> m_bKeepsPlace{false};
    std::atomic<bool> m_bFinishing{false};
    std::atomic<bool> m_bLost{false};
    CCritSec m_csPinned;
    std::shared_ptr<CTcpConnection> m_pinned LUMO_GUARDED_BY(m_csPinned);
};
