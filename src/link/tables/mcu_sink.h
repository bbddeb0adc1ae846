// A subscriber as the local MCU objects and the relay server see it, whatever its medium.
#pragma once

#include "link/process/server_hooks.h"

#include <atomic>
#include <cstdint>

class CFrameLink;
class CUnvalidatedSinks;

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
    /// A client's list of unvalidated sinks that this one is in; null once it is validated.
    CUnvalidatedSinks* UnvalidatedSinks() const { return m_pUnvalidatedSinks.load(std::memory_order_relaxed); }
    void SetUnvalidatedSinks(CUnvalidatedSinks* list) { m_pUnvalidatedSinks.store(list, std::memory_order_relaxed); }
    bool IsValidated() const { return UnvalidatedSinks() == nullptr; }
    /// Whether the subscriber wants frames, in a medium where it says so.
    virtual bool IsStarted() { return true; }
    /// UDP: acknowledges a connect request.
    virtual void OnReceivedConnect() {}
    /// It missed frames before it was validated. UDP thread, under the sink table lock.
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
    std::atomic<CUnvalidatedSinks*> m_pUnvalidatedSinks{nullptr};
};
