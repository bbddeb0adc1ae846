// The publisher's half of a TCP link to a subscriber: what every TCP sink does with its accepted session.
#pragma once

#include "core/wire/wire_io.h"
#include "link/activity.h"
#include "link/bounds/limits.h"
#include "link/bounds/queue_limit.h"
#include "link/process/server_hooks.h"
#include "link/tcp/tcp_link.h"
#include "platform/lumonet/lumonet.h"

#include <atomic>
#include <cstdint>

/// How long a server waits for a client that does not take a single byte of what is queued for it.
inline constexpr uint32_t kTakesNothingMs = 10000;

/// Answer, frames within the queue's limit, keep-alives on idle sweeps, end. The session is the network library's.
class CTcpSink {
public:
    explicit CTcpSink(ITcpSession* session);

    /// Takes the session's frames and answers its validation: before the sink enters its channel.
    void Answer(ITcpSessionNotify* notify, const wire::CWireWriter& message);
    /// A frame goes into the queue, unless more waits there than may: the sink counts as disconnected then.
    void Send(const void* data, int length);
    /// The same for a frame that gives way to a newer one of its key, and that nothing else waits behind.
    void SendNewest(uint64_t key, const void* data, int length);
    /// The sweep of every second: sends an idle connection's keep-alive. True when the sink is at its end.
    bool Poll();
    /// Drops what waits, and takes frames again.
    void DropQueue();
    /// For how long it may be over its limit before it counts as disconnected; 0 at first.
    void SetPatience(uint32_t milliseconds) { m_ulPatience = milliseconds; }
    /// For how long a frame may wait before it is dropped; before the first one.
    void SetMaxAge(uint32_t milliseconds) {
        if (m_pSession) m_pSession->SetMaxAge(milliseconds);
    }
    /// Any thread.
    void LimitQueue(uint64_t bytes) { m_limit.Set(bytes); }
    uint64_t QueueLimit() const { return m_limit.Bytes(); }
    /// What the queue occupies.
    uint64_t QueueCost() { return m_pSession ? BytesWaiting(*m_pSession) : 0; }
    uint32_t QueuedFrames() { return m_pSession ? static_cast<uint32_t>(m_pSession->GetSendQueueSize()) : 0; }
    const char* CongestionControl() { return m_pSession ? m_pSession->GetCongestionControl() : ""; }
    void CloseWhenSent() {
        if (m_pSession) m_pSession->CloseWhenSent();
    }
    /// No callback runs after it returns.
    void Release();

    /// The same sink with what is known here.
    CSinkInfo Describe(CSinkInfo info);

private:
    bool IsStuck();

    ITcpSession* m_pSession;
    CPollCount m_keepAlive;
    CQueueLimit m_limit;
    CActivity m_withinLimit;
    uint32_t m_ulPatience = 0;  // set before it is known to other threads
    const uint32_t m_ulRemoteIP;
    const uint16_t m_usRemotePort;
};
