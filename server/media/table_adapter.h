// The adapters through which the server reaches the library's classes of a medium: what all media need, then files and
// desktops, then audio and video.
#pragma once

#include "link/share/share_mcu.h"
#include "link/tables/mcu_sink.h"
#include "link/tables/mcu_tables.h"
#include "link/udp/frame_link.h"
#include "server/live_options.h"
#include "server/media/medium_adapter.h"

#include <functional>
#include <memory>
#include <vector>

/// The part of a medium's adapter that is the same for every medium: it needs only the medium's tables and the names of
/// the server's own classes.
/// The local MCU object that the tables belong to outlives this.
template <class TTables, class TServerChannel, class TLeg>
class CTableAdapter : public IMediumAdapter {
public:
    CTableAdapter(TTables& tables, const CLiveOptions& options) : m_tables(tables), m_options(options) {
        CTableAdapter::FollowLimits();
    }

    std::shared_ptr<CServerChannel> MakeChannel(const CServerChannelName& name) override {
        return std::make_shared<TServerChannel>(name, m_options);
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
    void FollowLimits() override { m_tables.SetMaxSinks(m_options.Limits().sinks); }
    void EndSinksIf(const std::function<bool(uint32_t ip)>& unwanted) override {
        std::vector<uint32_t> ids;
        for (CMcuSink& sink : m_tables.sinks.Each()) {
            const CSinkInfo info = sink.Info();
            if (unwanted(info.ip)) ids.push_back(info.sinkID);
        }
        for (const uint32_t id : ids) EndSink(id);
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
    const CLiveOptions& m_options;
};

/// The adapter to the library's classes of files and desktops.
template <class TServerChannel, class TLeg>
class CShareAdapter : public CTableAdapter<CShareMcu::CTables, TServerChannel, TLeg> {
public:
    CShareAdapter(CShareMcu& mcu, const CLiveOptions& options)
        : CShareAdapter::CTableAdapter(mcu.Tables(), options), m_mcu(mcu) {}

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
    CStreamAdapter(TMcu& mcu, const CLiveOptions& options)
        : CStreamAdapter::CTableAdapter(mcu.Tables(), options), m_mcu(mcu) {}

    bool ConnectSink(ChannelKey key, const CSinkRequest& request) override {
        return m_mcu.ConnectSink(request.receiverID, key, request.userID, request.address.ip, request.address.port);
    }
    uint32_t AcceptSink(ChannelKey key, ITcpSession* session, const CSinkRequest& request) override {
        return m_mcu.template AcceptSink<TSinkTCP>(session, key, request.userID);
    }

private:
    TMcu& m_mcu;
};
