// A subscriber as the local MCU objects and the relay server see it, whatever its medium.
#pragma once

#include "link/server_hooks.h"

#include <atomic>
#include <cstdint>

class CFrameLink;
class CNewcomers;

class CMcuSink {
public:
    CMcuSink() = default;
    virtual ~CMcuSink() = default;
    CMcuSink(const CMcuSink&) = delete;
    CMcuSink& operator=(const CMcuSink&) = delete;

    /// Leaves the channel; subclasses end their connection too.
    virtual void ReleaseConnections() = 0;
    virtual bool IsDisconnected() = 0;
    virtual CSinkInfo Info() = 0;
    /// Whether it is a UDP sink of this far side.
    virtual bool IsAt(uint32_t /*ip*/, uint16_t /*port*/) const { return false; }
    /// The list of those in a client that have not shown yet that they are there; null for one that has.
    CNewcomers* Newcomers() const { return m_pNewcomers.load(std::memory_order_relaxed); }
    void SetNewcomers(CNewcomers* newcomers) { m_pNewcomers.store(newcomers, std::memory_order_relaxed); }
    bool IsShown() const { return Newcomers() == nullptr; }
    /// Whether the subscriber wants frames, in a medium where it says so.
    virtual bool IsStarted() { return true; }
    /// UDP: acknowledges a connect request.
    virtual void OnReceivedConnect() {}
    /// It has missed frames while it had not shown itself. UDP thread, under the sink table lock.
    virtual void OnGap() {}
    /// Enters the channel, once it is wholly made.
    virtual void Join() = 0;
    /// The reliable link that the worker pumps, or null.
    virtual CFrameLink* GetFrameLink() { return nullptr; }
    /// A sink with more bytes waiting than this counts as disconnected. Any thread.
    virtual void LimitQueue(uint64_t /*bytes*/) {}
    /// Lets what is queued leave, then closes the connection; for sinks whose far side notices.
    virtual void CloseWhenSent() {}

private:
    std::atomic<CNewcomers*> m_pNewcomers{nullptr};
};
