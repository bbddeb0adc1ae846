// One TCP connection that carries messages: what the client and the accepted session share.
#pragma once

#include "platform/lumonet/guarded_call.h"
#include "platform/lumonet/tcp_framing.h"
#include "platform/lumonet/tcp_reactor.h"
#include "platform/lumonet/tcp_send_queue.h"

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
    /// Queues one message. Drops what cannot be one: nothing, too long, or a validation message not laid out as such.
    void Send(const char* data, int length, int mode);
    /// Takes and delivers nothing more; ends once what is queued has left and the far side has closed.
    void FinishSending();
    /// Reactor: ends at once. The reason goes to the log.
    void Lose(const char* reason) { End(reason, false); }
    /// Reactor: the same, but what was handed to the kernel still reaches the far side.
    void LoseGently(const char* reason) { End(reason, true); }

protected:
    CTcpConnection();
    virtual ~CTcpConnection() = default;

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

    /// The object stays alive until Unpin, for whoever holds it as a raw pointer.
    void Pin();
    void Unpin();
    /// By that owner, once: no callback runs from its return on, and the connection ends.
    void Release();

    const CTcpReactor m_reactor;     // first, so that it goes last
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
    void WaitWritable();
    void WriteTurn();
    /// Where frames age the kernel takes the next ones only once all before are on their way.
    size_t Write(CTcpSendQueue::Pieces pieces, asio::error_code& error);
    void OnWriteFailed();
    void Linger();
    void End(const char* reason, bool gently);

    CTcpDecoder m_decoder;          // reactor
    bool m_bNothingUnsent = false;  // reactor: the kernel was told
    asio::steady_timer m_timer;     // reactor
    unsigned m_nTimer = 0;          // reactor: which setting of the timer is the last
    bool m_bProved = false;         // reactor: the far side has validated
    bool m_bAwaitsRead = false;     // reactor
    bool m_bWrote = false;          // reactor
    std::atomic<bool> m_bFinishing{false};
    std::atomic<bool> m_bLost{false};
    std::atomic<uint64_t> m_nReceived{0};
    CCritSec m_csPinned;
    std::shared_ptr<CTcpConnection> m_pinned LUMO_GUARDED_BY(m_csPinned);
};
