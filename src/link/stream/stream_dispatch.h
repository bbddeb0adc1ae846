// What the datagrams of a stream that starts and stops do, written once for its media.
#pragma once

#include "link/channel_key.h"
#include "link/media.h"
#include "link/stream/stream_receiver.h"
#include "link/tables/mcu_dispatch.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// Objects named by a datagram are used under the lock of their table. TSinkUDP::Make(channel, ip, port, receiverID,
/// userID) gives a std::unique_ptr, or null for one that cannot serve.
template <class TTables, class TSinkUDP>
class CStreamDispatch {
public:
    explicit CStreamDispatch(TTables& tables) : m_tables(tables) {}

    /// Makes the sink of a subscriber, or acknowledges again the one it has. False for an unknown channel or a full
    /// table.
    bool Connect(uint32_t receiverID, ChannelKey key, uint32_t userID, uint32_t ip, uint16_t port) {
        return m_tables.Connect(receiverID, key, ip,
                                [&](auto& channel) { return TSinkUDP::Make(channel, ip, port, receiverID, userID); });
    }

    void OnSinkNamed(const CServerDatagram& datagram) {
        m_tables.OnSinkNamed(Fields(datagram).U32(), datagram.ip, datagram.port);
    }
    void OnSinkConnect(const CServerDatagram& datagram) {
        wire::CWireReader fields = Fields(datagram);
        const uint32_t receiverID = fields.U32();
        const uint32_t channelID = fields.U32();
        Connect(receiverID, channelID, fields.U32(), datagram.ip, datagram.port);
    }
    void OnSinkStart(const CServerDatagram& datagram) { SetSink(datagram, &TSinkUDP::OnReceivedStart); }
    void OnSinkStop(const CServerDatagram& datagram) { SetSink(datagram, &TSinkUDP::OnReceivedStop); }
    void OnSinkFrameAck(const CServerDatagram& datagram) {
        wire::CWireReader fields = Fields(datagram);
        const auto sink = m_tables.sinks.Lock(fields.U32());
        TSinkUDP* udp = sink ? sink->AsUDP() : nullptr;
        if (udp) udp->OnReceivedFrameAck(fields.Rest(), fields.Left());
    }
    void OnSinkDisconnect(const CServerDatagram& datagram) {
        const auto isUDP = [](auto& sink) { return sink.AsUDP() != nullptr; };
        m_tables.sinks.EndIf(Fields(datagram).U32(), isUDP, TTables::EndSink);
    }

    void OnSinkConnectAck(const CServerDatagram& datagram) {
        Acknowledge(datagram, &IStreamDatagramReceiver::OnReceivedConnectACK);
    }
    void OnSinkStartAck(const CServerDatagram& datagram) {
        Acknowledge(datagram, &IStreamDatagramReceiver::OnReceivedStartACK);
    }
    void OnSinkStopAck(const CServerDatagram& datagram) {
        Acknowledge(datagram, &IStreamDatagramReceiver::OnReceivedStopACK);
    }
    void OnSinkFrame(const CServerDatagram& datagram) {
        wire::CWireReader fields = Fields(datagram);
        const auto receiver = m_tables.receivers.Lock(fields.U32());
        IStreamDatagramReceiver* udp = receiver ? receiver->AsDatagramReceiver() : nullptr;
        const uint32_t sinkID = fields.U32();
        if (udp) udp->OnReceivedFrame(sinkID, fields.Rest(), fields.Left(), datagram.ip, datagram.port);
    }

    void OnSourceConnectAck(const CServerDatagram& datagram) {
        wire::CWireReader fields = Fields(datagram);
        const auto sender = m_tables.senders.Lock(fields.U32());
        if (sender) sender->OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    }
    void OnSourceStart(const CServerDatagram& datagram) {
        wire::CWireReader fields = Fields(datagram);
        const auto sender = m_tables.senders.Lock(fields.U32());
        if (sender) sender->OnReceivedStart(fields.U32());
    }
    void OnSourceStop(const CServerDatagram& datagram) {
        const auto sender = m_tables.senders.Lock(Fields(datagram).U32());
        if (sender) sender->OnReceivedStop();
    }
    void OnSourceFrameAck(const CServerDatagram& datagram) {
        wire::CWireReader fields = Fields(datagram);
        const auto sender = m_tables.senders.Lock(fields.U32());
        if (sender) sender->OnReceivedFrameAck(fields.Rest(), fields.Left());
    }

private:
    // The server hears of it outside the lock of the table.
    void SetSink(const CServerDatagram& datagram, bool (TSinkUDP::*set)()) {
        bool news = false;
        CSinkInfo info{};
        {
            const auto sink = m_tables.sinks.Lock(Fields(datagram).U32());
            TSinkUDP* udp = sink ? sink->AsUDP() : nullptr;
            news = udp && (udp->*set)();
            if (news) info = udp->Info();
        }
        IServerHooks* hooks = GetServerHooks();
        if (news && hooks) hooks->OnSinkChanged(info);
    }
    void Acknowledge(const CServerDatagram& datagram,
                     void (IStreamDatagramReceiver::*receive)(uint32_t, uint32_t, uint16_t)) {
        wire::CWireReader fields = Fields(datagram);
        const auto receiver = m_tables.receivers.Lock(fields.U32());
        IStreamDatagramReceiver* udp = receiver ? receiver->AsDatagramReceiver() : nullptr;
        if (udp) (udp->*receive)(fields.U32(), datagram.ip, datagram.port);
    }

    TTables& m_tables;
};

/// Which datagram does what, and then a medium's own rows.
template <class TDispatch, class... TRows>
constexpr std::array<CDispatchRow<TDispatch>, 11 + sizeof...(TRows)> StreamRows(const CMediumRow& medium,
                                                                                const TRows&... own) {
    return {{{medium.sink.connect, &TDispatch::OnSinkConnect},
             {medium.sink.connectAck, &TDispatch::OnSinkConnectAck},
             {medium.sink.keepAlive, &TDispatch::OnSinkStart},
             {medium.sink.keepAliveAck, &TDispatch::OnSinkStartAck},
             {medium.sink.stop, &TDispatch::OnSinkStop},
             {medium.sink.stopAck, &TDispatch::OnSinkStopAck},
             {medium.sink.frame, &TDispatch::OnSinkFrame},
             {medium.sink.disconnect, &TDispatch::OnSinkDisconnect},
             {medium.source.connectAck, &TDispatch::OnSourceConnectAck},
             {medium.source.keepAlive, &TDispatch::OnSourceStart},
             {medium.source.stop, &TDispatch::OnSourceStop},
             own...}};
}
