// The inside of a channel: its sinks, its attached receiver, and the way of a frame to them.
#pragma once

#include "link/bounds/limits.h"
#include "link/channel_key.h"
#include "link/lock_order.h"
#include "link/process/mcu_services.h"
#include "link/tables/id_table.h"
#include "platform/lumobase/clock.h"
#include "platform/lumonet/lumonet.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

/// One frame on its way to every sink: over UDP what is sent leaves as one batch, over TCP all queues share one copy.
class CFanOut {
public:
    CFanOut(const void* data, int length) : m_copy(data, length) {}

private:
    CUdpBatch m_batch;
    CTcpFanOut m_copy;
};

/// Written once for every medium. Functions given to it, and loops over its sinks, run under the lock of what they see.
template <class TSink, class TReceiver>
class CChannelHub {
public:
    explicit CChannelHub(uint32_t channelID)
        : m_ulChannelID(channelID != 0 ? channelID : static_cast<uint32_t>(Lumo_Base::GenerateSSRC())) {}

    uint32_t ID() const { return m_ulChannelID; }
    ChannelKey Key() const { return MakeChannelKey(m_ulLegID, m_ulChannelID); }
    /// For a channel that is fetched from another server, before it is registered.
    void SetLeg(uint32_t legID) { m_ulLegID = legID; }
    /// Set by the first subscriber, never cleared: tells a channel that never had one from one that lost them all.
    bool IsDirty() const { return m_bDirty.load(std::memory_order_relaxed); }
    bool IsEmpty() { return IsDirty() && SinkCount() == 0 && !HasReceiver(); }

    void AddSink(uint32_t id, TSink* sink) {
        m_sinks.Put(id, sink);
        m_bDirty.store(true, std::memory_order_relaxed);
    }
    void RemoveSink(uint32_t id) { m_sinks.Take(id); }
    uint32_t SinkCount() { return static_cast<uint32_t>(m_sinks.Size()); }

    /// In ascending sink-ID order, for a range-based loop.
    auto Sinks() { return m_sinks.Each(); }

    void AttachReceiver(TReceiver* receiver) {
        CAutoLock lock(&m_csReceiver);
        m_pReceiver = receiver;
        m_bDirty.store(true, std::memory_order_relaxed);
    }
    void DetachReceiver(TReceiver* receiver) {
        CAutoLock lock(&m_csReceiver);
        if (m_pReceiver == receiver) m_pReceiver = nullptr;
    }
    bool HasReceiver() {
        CAutoLock lock(&m_csReceiver);
        return m_pReceiver != nullptr;
    }
    template <class Use>
    bool WithReceiver(Use use) {
        CAutoLock lock(&m_csReceiver);
        if (!m_pReceiver) return false;
        use(*m_pReceiver);
        return true;
    }

private:
    const uint32_t m_ulChannelID;
    uint32_t m_ulLegID = 0;
    CIDTable<TSink> m_sinks{lock_order::kChannelSinks};
    CCritSec m_csReceiver{lock_order::kChannelReceiver};
    TReceiver* m_pReceiver LUMO_GUARDED_BY(m_csReceiver) = nullptr;
    std::atomic<bool> m_bDirty{false};
};

/// The smallest number of waiting frames, asked endpoint by endpoint; the report of a channel.
class CLeastBuffered {
public:
    /// False once the answer is known to be 0.
    bool Ask(uint32_t waiting) {
        m_bAny = true;
        m_ulLeast = std::min(m_ulLeast, waiting);
        return waiting != 0;
    }
    uint32_t Result() const { return m_bAny ? m_ulLeast : 0; }

private:
    bool m_bAny = false;
    uint32_t m_ulLeast = limits::kMaxBufferingReport;
};
