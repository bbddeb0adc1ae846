// What the server needs of a medium's classes and can have from their tables, or from the names of the server's own
// classes, whatever the medium.
#pragma once

#include "link/frame_link.h"
#include "link/mcu_sink.h"
#include "link/mcu_tables.h"
#include "server/medium_classes.h"
#include "server/server_options.h"

/// The local MCU object that the tables belong to outlives this.
template <class TTables, class TStream, class TLeg>
class CTableClasses : public IMediumClasses {
public:
    CTableClasses(TTables& tables, const CServerLimits& limits) : m_tables(tables), m_limits(limits) {
        m_tables.SetMaxSinks(limits.sinks);
    }

    std::shared_ptr<CStream> MakeStream(const CStreamName& name) override {
        return std::make_shared<TStream>(name, m_limits);
    }
    std::unique_ptr<CRelayLeg> MakeLeg(CStream& stream, const CMcuAddress& far, bool tcp,
                                       std::atomic<bool>& news) override {
        return std::make_unique<TLeg>(static_cast<TStream&>(stream), far, tcp, news);
    }
    void EndSink(uint32_t sinkID) override { m_tables.EndOneSink(sinkID); }
    void AskForSign(ChannelKey channel, const CSinkRequest& request) override {
        m_tables.sinks.WithPair(channel, request.receiverID, [](CMcuSink& sink) {
            if (CFrameLink* link = sink.GetFrameLink()) link->OfferOpening();
        });
    }
    SinkOwner OwnerOf(ChannelKey channel, const CSinkRequest& request) override {
        SinkOwner owner = SinkOwner::None;
        m_tables.sinks.WithPair(channel, request.receiverID, [&](CMcuSink& sink) {
            owner = sink.IsAt(request.peer.ip, request.peer.port) ? SinkOwner::Same : SinkOwner::Other;
        });
        return owner;
    }
    bool IsSinkAt(uint32_t sinkID, const CPeer& peer) override {
        bool is = false;
        m_tables.sinks.With(sinkID, [&](CMcuSink& sink) { is = sink.IsAt(peer.ip, peer.port); });
        return is;
    }
    void Unhold(uint32_t sinkID, uint64_t queueBytes) override {
        m_tables.sinks.With(sinkID, [&](CMcuSink& sink) {
            if (CFrameLink* link = sink.GetFrameLink()) {
                link->SetQueueLimit(queueBytes);
                link->SetHeld(false);
            }
        });
    }
    size_t SinkCount() override { return m_tables.sinks.Size(); }
    void CloseTcpSinks() override {
        m_tables.sinks.ForEach([](CMcuSink& sink) { sink.CloseWhenSent(); });
    }
    size_t CountTcpSinks() override {
        size_t count = 0;
        m_tables.sinks.ForEach([&](CMcuSink& sink) { count += sink.Info().tcp && !sink.IsDisconnected() ? 1 : 0; });
        return count;
    }

private:
    TTables& m_tables;
    const CServerLimits& m_limits;
};
