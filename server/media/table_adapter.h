// The adapters through which the server reaches the library's classes of a medium: what all media need, then files and
// desktops, then audio and video.
#pragma once

#include "link/share/share_mcu.h"
#include "link/tables/mcu_sink.h"
#include "link/tables/mcu_tables.h"
#include "link/udp/frame_link.h"
#include "server/media/medium_adapter.h"
#include "server/server_options.h"

/// The part of a medium's adapter that is the same for every medium: it needs only the medium's tables and the names of
/// the server's own classes.
/// The local MCU object that the tables belong to outlives this.
template <class TTables, class TServerChannel, class TLeg>
class CTableAdapter : public IMediumAdapter {
public:
    CTableAdapter(TTables& tables, const CServerLimits& limits) : m_tables(tables), m_limits(limits) {
        m_tables.SetMaxSinks(limits.sinks);
    }

    std::shared_ptr<CServerChannel> MakeChannel(const CServerChannelName& name) override {
        return std::make_shared<TServerChannel>(name, m_limits);
    }
    std::unique_ptr<CRelayLeg> MakeLeg(CServerChannel& channel, const CMcuAddress& far, bool tcp,
                                       std::atomic<bool>& news) override {
        return std::make_unique<TLeg>(static_cast<TServerChannel&>(channel), far, tcp, news);
    }
    void EndSink(uint32_t sinkID) override { m_tables.EndOneSink(sinkID); }
    void AskForSign(ChannelKey key, const CSinkRequest& request) override {
        m_tables.sinks.WithPair(key, request.receiverID, [](CMcuSink& sink) {
            if (CFrameLink* link = sink.GetFrameLink()) link->OfferOpening();
        });
    }
    SinkOwner OwnerOf(ChannelKey key, const CSinkRequest& request) override {
        SinkOwner owner = SinkOwner::None;
        m_tables.sinks.WithPair(key, request.receiverID, [&](CMcuSink& sink) {
            owner = sink.IsAt(request.address.ip, request.address.port) ? SinkOwner::Same : SinkOwner::Other;
        });
        return owner;
    }
    bool IsSinkAt(uint32_t sinkID, const CEndpointAddress& address) override {
        bool is = false;
        m_tables.sinks.With(sinkID, [&](CMcuSink& sink) { is = sink.IsAt(address.ip, address.port); });
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
        for (CMcuSink& sink : m_tables.sinks.Each()) sink.CloseWhenSent();
    }
    size_t CountTcpSinks() override {
        size_t count = 0;
        for (CMcuSink& sink : m_tables.sinks.Each()) count += sink.Info().tcp && !sink.IsDisconnected() ? 1 : 0;
        return count;
    }

private:
    TTables& m_tables;
    const CServerLimits& m_limits;
};

/// The adapter to the library's classes of files and desktops.
template <class TServerChannel, class TLeg>
class CShareAdapter : public CTableAdapter<CShareMcu::CTables, TServerChannel, TLeg> {
public:
    CShareAdapter(CShareMcu& mcu, const CServerLimits& limits)
        : CShareAdapter::CTableAdapter(mcu.Tables(), limits), m_mcu(mcu) {}

    bool ConnectSink(ChannelKey key, const CSinkRequest& request) override {
        return m_mcu.ConnectSink(request.receiverID, key, request.address.ip, request.address.port);
    }
    uint32_t AcceptSink(ChannelKey key, ITcpSession* session, const CSinkRequest&) override {
        return m_mcu.AcceptSink(session, key);
    }

private:
    CShareMcu& m_mcu;
};

/// The adapter to the library's classes of audio and video, whose subscribers start and stop the stream.
template <class TMcu, class TServerChannel, class TLeg, class TSinkTCP>
class CStreamAdapter : public CTableAdapter<typename TMcu::CTables, TServerChannel, TLeg> {
public:
    CStreamAdapter(TMcu& mcu, const CServerLimits& limits)
        : CStreamAdapter::CTableAdapter(mcu.Tables(), limits), m_mcu(mcu) {}

    bool ConnectSink(ChannelKey key, const CSinkRequest& request) override {
        return m_mcu.ConnectSink(request.receiverID, key, request.userID, request.address.ip, request.address.port);
    }
    uint32_t AcceptSink(ChannelKey key, ITcpSession* session, const CSinkRequest& request) override {
        return m_mcu.template AcceptSink<TSinkTCP>(session, key, request.userID);
    }

private:
    TMcu& m_mcu;
};
