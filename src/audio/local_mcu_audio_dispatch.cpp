// What each audio datagram does. Objects named by a datagram are used under the lock of their table.
#include "audio/audio_sender_udp.h"
#include "audio/audio_sink_udp.h"
#include "audio/local_mcu_audio.h"
#include "link/mcu_dispatch.h"

using wire::CWireReader;

struct CAudioDispatch {
    static constexpr CDispatchRow<CLocalMCUAudio> kRows[] = {
        {wire::UDP_AUDIO_SINK_CONNECT, &CLocalMCUAudio::OnSinkConnect},
        {wire::UDP_AUDIO_SINK_CONNECT_ACK, &CLocalMCUAudio::OnSinkConnectAck},
        {wire::UDP_AUDIO_SINK_START, &CLocalMCUAudio::OnSinkStart},
        {wire::UDP_AUDIO_SINK_START_ACK, &CLocalMCUAudio::OnSinkStartAck},
        {wire::UDP_AUDIO_SINK_STOP, &CLocalMCUAudio::OnSinkStop},
        {wire::UDP_AUDIO_SINK_STOP_ACK, &CLocalMCUAudio::OnSinkStopAck},
        {wire::UDP_AUDIO_SINK_FRAME, &CLocalMCUAudio::OnSinkFrame},
        {wire::UDP_AUDIO_SINK_DISCONNECT, &CLocalMCUAudio::OnSinkDisconnect},
        {wire::UDP_AUDIO_SOURCE_CONNECT_ACK, &CLocalMCUAudio::OnSourceConnectAck},
        {wire::UDP_AUDIO_SOURCE_START, &CLocalMCUAudio::OnSourceStart},
        {wire::UDP_AUDIO_SOURCE_STOP, &CLocalMCUAudio::OnSourceStop},
    };
};

void CLocalMCUAudio::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                    unsigned short port) {
    DispatchDatagram(*this, CAudioDispatch::kRows, wire::Kind::Audio, data, length, static_cast<uint32_t>(ip), port,
                     [](const wire::CommandRow&) {});
}

void CLocalMCUAudio::OnSinkConnect(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const uint32_t receiverID = fields.U32();
    const uint32_t channelID = fields.U32();
    ConnectAudioSink(receiverID, channelID, fields.U32(), datagram.ip, datagram.port);
}

// Told outside the lock of the table.
void CLocalMCUAudio::SetSink(const CServerDatagram& datagram, bool (CAudioSinkUDP::*set)()) {
    bool news = false;
    CSinkInfo info{};
    m_tables.sinks.With(Fields(datagram).U32(), [&](CAudioSink& sink) {
        CAudioSinkUDP* udp = sink.AsUDP();
        news = udp && (udp->*set)();
        if (news) info = udp->Info();
    });
    IServerHooks* hooks = GetServerHooks();
    if (news && hooks) hooks->OnSinkChanged(info);
}

void CLocalMCUAudio::OnSinkStart(const CServerDatagram& datagram) {
    SetSink(datagram, &CAudioSinkUDP::OnReceivedStart);
}

void CLocalMCUAudio::OnSinkStop(const CServerDatagram& datagram) { SetSink(datagram, &CAudioSinkUDP::OnReceivedStop); }

void CLocalMCUAudio::OnSinkDisconnect(const CServerDatagram& datagram) {
    const auto isUDP = [](CAudioSink& sink) { return sink.AsUDP() != nullptr; };
    m_tables.sinks.EndIf(Fields(datagram).U32(), isUDP, CTables::EndSink);
}

template <class Use>
void CLocalMCUAudio::WithReceiver(const CServerDatagram& datagram, Use use) {
    CWireReader fields = Fields(datagram);
    m_tables.receivers.With(fields.U32(), [&](CAudioReceiver& receiver) {
        if (IAudioDatagramReceiver* udp = receiver.AsDatagramReceiver()) use(*udp, fields);
    });
}

void CLocalMCUAudio::OnSinkConnectAck(const CServerDatagram& datagram) {
    WithReceiver(datagram, [&](IAudioDatagramReceiver& receiver, CWireReader& fields) {
        receiver.OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUAudio::OnSinkStartAck(const CServerDatagram& datagram) {
    WithReceiver(datagram, [&](IAudioDatagramReceiver& receiver, CWireReader& fields) {
        receiver.OnReceivedStartACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUAudio::OnSinkStopAck(const CServerDatagram& datagram) {
    WithReceiver(datagram, [&](IAudioDatagramReceiver& receiver, CWireReader& fields) {
        receiver.OnReceivedStopACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUAudio::OnSinkFrame(const CServerDatagram& datagram) {
    WithReceiver(datagram, [&](IAudioDatagramReceiver& receiver, CWireReader& fields) {
        const uint32_t sinkID = fields.U32();
        receiver.OnReceivedFrame(sinkID, fields.Rest(), fields.Left(), datagram.ip, datagram.port);
    });
}

void CLocalMCUAudio::OnSourceConnectAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_tables.senders.With(fields.U32(), [&](CAudioSenderUDP& sender) {
        sender.OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUAudio::OnSourceStart(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_tables.senders.With(fields.U32(), [&](CAudioSenderUDP& sender) { sender.OnReceivedStart(fields.U32()); });
}

void CLocalMCUAudio::OnSourceStop(const CServerDatagram& datagram) {
    m_tables.senders.With(Fields(datagram).U32(), [](CAudioSenderUDP& sender) { sender.OnReceivedStop(); });
}
