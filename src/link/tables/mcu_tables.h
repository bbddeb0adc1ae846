// The tables of one medium's local MCU object, and how its sinks come and go.
#pragma once

#include "link/bounds/limits.h"
#include "link/bounds/queue_quotas.h"
#include "link/channel_key.h"
#include "link/lock_order.h"
#include "link/process/instances.h"
#include "link/process/mcu_services.h"
#include "link/process/server_hooks.h"
#include "link/tables/id_table.h"
#include "link/tables/unvalidated_sinks.h"
#include "link/udp/frame_link.h"
#include "platform/lumobase/undo.h"

#include <atomic>
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
    /// Ends a sink that has left the table; only this thread knows it.
    static void EndSink(TSink* sink) {
        const std::unique_ptr<TSink> owner(sink);
        IServerHooks* hooks = GetServerHooks();
        CUnvalidatedSinks* unvalidated = sink->UnvalidatedSinks();
        const CSinkInfo info = hooks || unvalidated ? sink->Info() : CSinkInfo{};
        if (unvalidated) unvalidated->Remove(info.sinkID);
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
        if (!GetServerHooks()) SetQueueQuotas();
        EndDisconnectedSinks();
    }
    void EndAllSinks() {
        sinks.Sweep([](TSink&) { return true; }, EndSink);
    }

    /// Acknowledges the sink that this far side has, or makes one: `make(channel)` gives a std::unique_ptr. False for
    /// an unknown channel or a full table.
    template <class MakeSink>
    bool Connect(uint32_t receiverID, ChannelKey key, uint32_t ip, MakeSink make) {
        const auto acknowledge = [](TSink& sink) { sink.OnReceivedConnect(); };
        const bool introduced = !GetServerHooks() && IsIntroducedPeer(ip);
        if (!sinks.WithPair(key, receiverID, [](TSink&) {}))
            MakeRoom(key, [&] { return m_unvalidated.WhoGivesWayTo(ip, introduced); });
        CAutoLock gate(&m_csConnectGate);
        if (sinks.WithPair(key, receiverID, acknowledge)) return true;
        const uint32_t sinkID =
            MakeOne(key, introduced, make, [&](const CSinkInfo& info, TSink* sink, const void* owner) {
                sinks.Put(info.sinkID, sink, info.channel, receiverID, owner);
            });
        return sinkID != 0 && sinks.With(sinkID, [&](TSink& sink) {
            acknowledge(sink);
            if (!sink.IsValidated()) CUnvalidatedSinks::Begin(sink);
        });
    }
    /// A client's: a datagram has named a sink. From the sink's own address, or another one of an introduced peer, it
    /// validates the sink: the number went to the sink's address alone.
    void OnSinkNamed(uint32_t sinkID, uint32_t ip, uint16_t port) {
        if (m_unvalidated.IsEmpty() || !m_unvalidated.Has(sinkID)) return;
        sinks.With(sinkID, [&](TSink& sink) {
            if (sink.IsAt(ip, port) || IsIntroducedPeer(ip))
                m_unvalidated.OnValidated(sink, sinkID, m_quotas.OfNewSink());
        });
    }
    /// A TCP sink's ID; 0 as above, and when `make` gives none.
    template <class MakeSink>
    uint32_t Accept(ChannelKey key, MakeSink make) {
        MakeRoom(key, [] { return uint32_t{0}; });
        CAutoLock gate(&m_csConnectGate);
        return MakeOne(key, false, make, [&](const CSinkInfo& info, TSink* sink, const void* owner) {
            sinks.Put(info.sinkID, sink, info.channel, owner);
        });
    }
    /// Before anything is served.
    void SetMaxSinks(size_t count) { m_nMaxSinks.store(count, std::memory_order_relaxed); }

    /// Lets every reliable link send, the sinks' first; true when one did.
    bool Pump(bool sendersBeforeReceivers = false) {
        bool sent = PumpAll(sinks);
        if (sendersBeforeReceivers) sent = PumpAll(senders) || sent;
        sent = PumpAll(receivers) || sent;
        if (!sendersBeforeReceivers) sent = PumpAll(senders) || sent;
        return sent;
    }

    CIDTable<TSink> sinks{lock_order::kMediumTable};
    CIDTable<TChannel, ChannelKey> channels{lock_order::kChannelTable};
    CIDTable<TReceiver> receivers{lock_order::kMediumTable};
    CIDTable<TSender> senders{lock_order::kMediumTable};

private:
    template <class T>
    static bool PumpAll(CIDTable<T>& table) {
        bool sent = false;
        for (T& endpoint : table.Each()) {
            CFrameLink* link = endpoint.GetFrameLink();
            sent = (link && link->Pump()) || sent;
        }
        return sent;
    }
    // A subscriber that reads nothing costs the publisher memory, and one host can be many such subscribers. What waits
    // for unvalidated sinks is bounded apart. A server has limits of its own.
    void SetQueueQuotas() {
        const auto counts = [](TSink& sink) { return sink.IsValidated() && sink.IsStarted(); };
        m_quotas.Begin();
        for (TSink& sink : sinks.Each())
            if (counts(sink)) m_quotas.Count(sink.Info().ip);
        m_quotas.End();
        for (TSink& sink : sinks.Each()) {
            const uint64_t quota = counts(sink) ? m_quotas.QuotaAt(sink.Info().ip) : 0;
            if (quota != 0) sink.LimitQueue(quota);
        }
    }
    // Validated sinks take precedence over unvalidated ones, of which the oldest gives way. Called before the gate is
    // taken: the sink that gives way is ended here.
    template <class WhoGivesWay>
    void MakeRoom(ChannelKey key, WhoGivesWay whoGivesWay) {
        if (GetServerHooks() || !channels.With(key, [](TChannel&) {})) return;
        // A listed sink that is not in the table is being made or ended by another thread and stays listed until that
        // is done.
        if (const uint32_t sinkID = whoGivesWay()) EndOneSink(sinkID);
        if (sinks.Size() < m_nMaxSinks) return;
        if (const uint32_t sinkID = m_unvalidated.OldestStranger()) EndOneSink(sinkID);
    }
    template <class MakeSink, class Enter>
    uint32_t MakeOne(ChannelKey key, bool introduced, MakeSink& make, Enter enter) {
        if (sinks.Size() >= m_nMaxSinks) return 0;  // before the channel's lock, which comes after
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
            else if (info.tcp)
                made->LimitQueue(m_quotas.OfNewSink());
            else
                m_unvalidated.Add(*made, info, introduced);
            made->Join();
            owner = &channel;
        });
        if (made) enter(info, made.get(), owner);
        undo.Keep();
        return made.release() ? info.sinkID : 0;
    }

    CCritSec m_csConnectGate{lock_order::kConnectGate};
    std::atomic<size_t> m_nMaxSinks{limits::kMaxSinks};
    CUnvalidatedSinks m_unvalidated;
    CQueueQuotas m_quotas;
};
