// The tables of one medium's local MCU object, and how its sinks come and go.
#pragma once

#include "link/channel_key.h"
#include "link/frame_link.h"
#include "link/id_table.h"
#include "link/instances.h"
#include "link/limits.h"
#include "link/lock_order.h"
#include "link/mcu_services.h"
#include "link/server_hooks.h"
#include "platform/lumobase/undo.h"

#include <algorithm>
#include <memory>

/// Sinks (of type CMcuSink) are the tables' own; channels, receivers and senders enter and leave by themselves.
/// Looking a channel up, making its sink and entering it is one step against the channel's removal.
template <class TChannel, class TSink, class TReceiver, class TSender>
class CMcuTables {
public:
    /// Unregisters the channel, then ends its sinks. Waits for sinks' callbacks: hold no lock that one takes.
    void RemoveChannel(ChannelKey key) {
        TakeChannel(key);
        sinks.SweepChannel(key, EndSink);
    }
    /// Unregisters the channel only.
    void TakeChannel(ChannelKey key) {
        CAutoLock gate(&m_csConnectGate);
        channels.Take(key);
    }
    /// As RemoveChannel for this very channel. Where another has taken its key only its own sinks end.
    void ForgetChannel(ChannelKey key, const TChannel* channel) {
        TChannel* found = nullptr;
        {
            CAutoLock gate(&m_csConnectGate);
            found = channels.TakeIf(key, [&](TChannel& other) { return &other == channel; });
        }
        sinks.SweepOwned(key, found ? nullptr : channel, EndSink);
    }
    /// Whoever has left the table, on this thread alone.
    static void EndSink(TSink* sink) {
        const std::unique_ptr<TSink> owner(sink);
        IServerHooks* hooks = GetServerHooks();
        const CSinkInfo info = hooks ? sink->Info() : CSinkInfo{};
        sink->ReleaseConnections();
        if (hooks) hooks->OnSinkGone(info);
    }
    bool EndOneSink(uint32_t sinkID) {
        return sinks.EndIf(
            sinkID, [](TSink&) { return true; }, EndSink);
    }
    void EndDisconnectedSinks() {
        sinks.Sweep([](TSink& sink) { return sink.IsDisconnected(); }, EndSink);
    }
    /// The sweep of every second.
    void OnSecond() {
        const uint64_t share = SinkShare(sinks.Size());
        if (!GetServerHooks()) sinks.ForEach([share](TSink& sink) { sink.LimitQueue(share); });
        EndDisconnectedSinks();
    }
    void EndAllSinks() {
        sinks.Sweep([](TSink&) { return true; }, EndSink);
    }

    /// Acknowledges the sink that this far side has, or makes one: `make(channel)` gives a std::unique_ptr. False for
    /// an unknown channel or a full table.
    template <class MakeSink>
    bool Connect(uint32_t receiverID, ChannelKey key, MakeSink make) {
        const auto acknowledge = [](TSink& sink) { sink.OnReceivedConnect(); };
        CAutoLock gate(&m_csConnectGate);
        if (sinks.WithPair(key, receiverID, acknowledge)) return true;
        const uint32_t sinkID = MakeOne(key, make, [&](const CSinkInfo& info, TSink* sink, const void* owner) {
            sinks.Put(info.sinkID, sink, info.channel, receiverID, owner);
        });
        return sinkID != 0 && sinks.With(sinkID, acknowledge);
    }
    /// A TCP sink's ID; 0 as above, and when `make` gives none.
    template <class MakeSink>
    uint32_t Accept(ChannelKey key, MakeSink make) {
        CAutoLock gate(&m_csConnectGate);
        return MakeOne(key, make, [&](const CSinkInfo& info, TSink* sink, const void* owner) {
            sinks.Put(info.sinkID, sink, info.channel, owner);
        });
    }
    /// Before anything is served.
    void SetMaxSinks(size_t count) { m_nMaxSinks = count; }

    /// Lets every reliable link send, the sinks' first; true when one did.
    bool Pump(bool sendersBeforeReceivers = false) {
        bool sent = false;
        const auto pump = [&](auto& endpoint) {
            CFrameLink* link = endpoint.GetFrameLink();
            if (link && link->Pump()) sent = true;
        };
        sinks.ForEach(pump);
        if (sendersBeforeReceivers) senders.ForEach(pump);
        receivers.ForEach(pump);
        if (!sendersBeforeReceivers) senders.ForEach(pump);
        return sent;
    }

    CIDTable<TSink> sinks{lock_order::kMediumTable};
    CIDTable<TChannel, ChannelKey> channels{lock_order::kChannelTable};
    CIDTable<TReceiver> receivers{lock_order::kMediumTable};
    CIDTable<TSender> senders{lock_order::kMediumTable};

private:
    // Whoever subscribes and reads nothing costs the publisher memory, and anybody can do so many times. A server has
    // limits of its own.
    static uint64_t SinkShare(size_t count) {
        return std::min(limits::kMaxQueueBytes, limits::kSinkMemory / std::max<size_t>(1, count));
    }
    template <class MakeSink, class Enter>
    uint32_t MakeOne(ChannelKey key, MakeSink& make, Enter enter) {
        const size_t count = sinks.Size();  // before the channel's lock, which comes after
        if (count >= m_nMaxSinks) return 0;
        std::unique_ptr<TSink> made;
        const void* owner = nullptr;
        CSinkInfo info{};
        CUndo undo([&] {  // outside the channel's lock
            if (made) EndSink(made.release());
        });
        channels.With(key, [&](TChannel& channel) {
            made = make(channel);
            if (!made) return;
            info = made->Info();
            if (IServerHooks* hooks = GetServerHooks())
                hooks->OnSinkMade(info);
            else
                made->LimitQueue(SinkShare(count + 1));
            made->Join();
            owner = &channel;
        });
        if (made) enter(info, made.get(), owner);
        undo.Keep();
        return made.release() ? info.sinkID : 0;
    }

    CCritSec m_csConnectGate{lock_order::kConnectGate};
    size_t m_nMaxSinks = limits::kMaxSinks;
};
