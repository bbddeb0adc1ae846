// One channel at the server: its publisher or the leg it is relayed over, its subscribers, and what it has carried.
#pragma once

#include "link/bounds/address_quotas.h"
#include "link/bounds/limits.h"
#include "link/channel_key.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"
#include "server/live_options.h"
#include "server/sinks/subscribers.h"
#include "server/sources/source.h"
#include "server/status.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

/// Which channel this is.
/// This server's own channel of that number, or the one at another server.
struct CServerChannelName {
    uint32_t channelID;
    uint32_t legID = 0;       ///< of the leg to the other server, a number of this server's own; 0: its own channel
    CEndpointAddress home{};  ///< the other server, by its first address

    bool IsRelayed() const { return legID != 0; }
    ChannelKey Key() const { return MakeChannelKey(legID, channelID); }
};

/// What the media have in common; the derived class is or has the library's channel. Frames go down to the subscribers
/// only, up to the publisher or the leg only.
class CServerChannel {
public:
    CServerChannel(const char* medium, const CServerChannelName& name, const CLiveOptions& options)
        : m_medium(medium), m_name(name), m_options(options) {}
    virtual ~CServerChannel() = default;
    CServerChannel(const CServerChannel&) = delete;
    CServerChannel& operator=(const CServerChannel&) = delete;

    uint32_t ChannelID() const { return m_name.channelID; }
    ChannelKey Key() const { return m_name.Key(); }
    /// Whether it is fetched from another server, its home.
    bool IsRelayed() const { return m_name.IsRelayed(); }
    const CEndpointAddress& Home() const { return m_name.home; }
    virtual size_t SinkCount() = 0;
    /// How many of the subscribers want frames at the moment. Any thread.
    virtual uint32_t Wanted() { return static_cast<uint32_t>(SinkCount()); }
    /// Registers the channel, so that subscribers find it; takes it out and ends its subscribers.
    virtual void Open() = 0;
    virtual void Close() = 0;

    /// A subscriber needs a key frame; `anew`: what was asked before went to another publisher. Any thread.
    virtual void WantKeyFrame(bool /*anew*/) {}
    /// Asks the publisher, or the far server, for one if it is time to. True while there may be more to ask. Under the
    /// gate.
    virtual bool AskForKeyFrame(uint32_t /*now*/) { return false; }

    /// One whole frame of the publisher, or of the far server. Any thread.
    void OnSourceFrame(const char* data, int length);
    /// One whole frame of a subscriber. Any thread, possibly under the sink table's lock.
    void OnSinkFrame(const void* data, int length);

    /// Under the gate. The channel must have no source.
    void SetSource(std::unique_ptr<CSource> source);
    /// The source, for its end; null when there is none. Under the gate.
    std::unique_ptr<CSource> TakeSource();
    /// Calls `use` with the source; false when there is none.
    template <class Use>
    bool WithSource(Use use) {
        CAutoLock lock(&m_csSource);
        if (!m_pSource) return false;
        use(*m_pSource);
        return true;
    }
    bool HasSource() {
        return WithSource([](CSource&) {});
    }
    /// A subscriber came or went.
    void OnSinksChanged() {
        WithSource([](CSource& source) { source.OnChange(); });
    }

    /// Whether a validated publisher was ever here.
    bool WasPublished() const { return m_bPublished.load(std::memory_order_relaxed); }
    void SetPublished() { m_bPublished.store(true, std::memory_order_relaxed); }
    /// The address whose quota the channel is charged to: its publisher's, then a remaining subscriber's; for a board
    /// or a relayed channel the first validated subscriber's. Under the gate.
    CQuotaHold& Holder() { return m_holder; }
    /// Any thread.
    CSubscribers& Subscribers() { return m_subscribers; }
    /// For how long it has had neither publisher nor subscribers. Under the gate.
    uint32_t EmptyFor(uint32_t now);
    /// A subscriber is let in and has not joined yet. Any thread.
    void SetJoining(bool joining) { m_bJoining.store(joining, std::memory_order_relaxed); }
    bool IsJoining() const { return m_bJoining.load(std::memory_order_relaxed); }

    /// Links that are gone still count.
    void AddEnded(const CLinkSums& sums);
    /// The work of every second.
    void Sample(uint32_t now);
    /// What the publisher sends at the moment.
    uint32_t BytesPerSecond();
    /// With the first `maxListeners` subscribers.
    CChannelStatus Status(size_t maxListeners);
    /// Adds what it has and has had.
    void AddTo(CMediumStatus& medium);

protected:
    /// Counts a frame that came, and one that leaves `times` times.
    void CountIn(int length);
    void CountOut(uint64_t times, int length);
    virtual void SendToSinks(const void* data, int length) = 0;
    /// The longest frame of the publisher that goes on to the subscribers.
    virtual int MaxFrame() const { return limits::kMaxFrameLen; }
    /// False when there is no leg, or its queue is full.
    virtual bool SendToLeg(const void* data, int length) = 0;
    /// Every subscriber, under the channel's sink lock.
    virtual void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) = 0;

    const CServerLimits& Limits() const { return m_options.Limits(); }

private:
    template <class Use>
    void ForEachListener(Use use) {
        ForEachListener(&use, [](void* context, const CListenerStatus& one) { (*static_cast<Use*>(context))(one); });
    }
    CTraffic Traffic() const;
    CLinkSums Ended();

    const char* const m_medium;
    const CServerChannelName m_name;
    const CLiveOptions& m_options;
    CCritSec m_csSource{lock_order::kChannelReceiver};
    std::unique_ptr<CSource> m_pSource LUMO_GUARDED_BY(m_csSource);
    std::atomic<bool> m_bPublished{false};
    CQuotaHold m_holder;  // under the gate
    CSubscribers m_subscribers;
    uint32_t m_ulEmptySince = 0;  // under the gate
    bool m_bEmpty = false;        // under the gate
    std::atomic<bool> m_bJoining{false};

    struct {
        std::atomic<uint64_t> framesIn{0}, bytesIn{0}, framesOut{0}, bytesOut{0}, framesUp{0}, bytesUp{0}, dropped{0};
    } m_traffic;
    CCritSec m_csStatus{lock_order::kLeaf};
    CRateHistory m_history LUMO_GUARDED_BY(m_csStatus);
    CLinkSums m_ended LUMO_GUARDED_BY(m_csStatus);
};
