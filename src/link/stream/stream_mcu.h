// The local MCU object of a stream that starts and stops: its tables, what enters and leaves them, its datagrams.
#pragma once

#include "link/stream/stream_dispatch.h"
#include "link/tables/mcu_create.h"
#include "link/tables/mcu_tables.h"

#include <cstdint>
#include <memory>

class ITcpSession;

/// Sinks are its own, and so are the channels that are still there when it is released; receivers and senders enter and
/// leave by themselves. TState is the inside of the medium's channel.
template <class TState, class TSinkUDP, class TSenderUDP>
class CStreamMcu {
public:
    using CChannel = typename TState::CChannel;
    using CSink = typename TState::CSink;
    using CReceiver = typename TState::CReceiver;
    using CTables = CMcuTables<CChannel, CSink, CReceiver, TSenderUDP>;
    using CDispatch = CStreamDispatch<CTables, TSinkUDP>;

    CStreamMcu(const CStreamMcu&) = delete;
    CStreamMcu& operator=(const CStreamMcu&) = delete;

    CTables& Tables() { return m_tables; }
    /// Makes the sink of a subscriber, or acknowledges again the one it has. False for an unknown channel or a full
    /// table. UDP thread. Callers know the medium's TSinkUDP.
    bool ConnectSink(uint32_t receiverID, ChannelKey key, uint32_t userID, uint32_t ip, uint16_t port) {
        return m_dispatch.Connect(receiverID, key, userID, ip, port);
    }
    /// Makes the TCP sink of an accepted session, which only servers have, and gives its ID, 0 when there is none. TCP
    /// thread, inside the validate callback.
    template <class TSinkTCP>
    uint32_t AcceptSink(ITcpSession* session, ChannelKey key, uint32_t userID) {
        return m_tables.Accept(key, [&](CChannel& channel) -> std::unique_ptr<CSink> {
            if (!AcceptTcpSession(session)) return nullptr;
            auto sink = std::make_unique<TSinkTCP>(channel, session, userID);
            sink->AnswerValidation();
            return sink;
        });
    }
    /// Takes this very channel out, if it is the one registered under its key, and ends its sinks alone.
    void ForgetChannel(CChannel& channel) { m_tables.ForgetChannel(TState::Of(channel).hub.Key(), &channel); }

protected:
    CStreamMcu() = default;
    ~CStreamMcu() = default;

    void PutChannel(CChannel& channel) { m_tables.channels.Put(TState::Of(channel).hub.Key(), &channel); }
    void PutSink(uint32_t sinkID, CSink& sink) {
        const ChannelKey key = sink.Info().channel;
        if (TSinkUDP* udp = sink.AsUDP())
            m_tables.sinks.Put(sinkID, &sink, key, udp->GetReceiverID());
        else
            m_tables.sinks.Put(sinkID, &sink, key);
    }
    void PutReceiver(CReceiver& receiver) { m_tables.receivers.Put(receiver.ReceiverID(), &receiver); }
    void EndSinksOf(uint32_t channelID) { m_tables.sinks.SweepChannel(channelID, CTables::EndSink); }
    /// Releases the channels, and deletes those that are its own.
    void ReleaseChannels() {
        m_tables.channels.Sweep([](CChannel&) { return true; },
                                [](CChannel* channel) {
                                    const bool deleted = TState::Of(*channel).deleted;
                                    channel->ReleaseConnections();
                                    if (deleted) delete channel;
                                });
    }
    /// One datagram of `kind` without its kind byte. UDP thread.
    template <class TRows>
    void Dispatch(const TRows& rows, wire::Kind kind, const char* data, int length, unsigned long ip, uint16_t port) {
        DispatchDatagram(m_dispatch, rows, kind, data, length, static_cast<uint32_t>(ip), port);
    }

private:
    CTables m_tables;
    CDispatch m_dispatch{m_tables};
};
