// Which audio datagram does what.
#include "audio/audio_sender_udp.h"
#include "audio/audio_sink_udp.h"
#include "audio/local_mcu_audio.h"

namespace {

using CDispatch = CLocalMCUAudio::CDispatch;

constexpr CDispatchRow<CDispatch> kRows[] = {
    {wire::UDP_AUDIO_SINK_CONNECT, &CDispatch::OnSinkConnect},
    {wire::UDP_AUDIO_SINK_CONNECT_ACK, &CDispatch::OnSinkConnectAck},
    {wire::UDP_AUDIO_SINK_START, &CDispatch::OnSinkStart},
    {wire::UDP_AUDIO_SINK_START_ACK, &CDispatch::OnSinkStartAck},
    {wire::UDP_AUDIO_SINK_STOP, &CDispatch::OnSinkStop},
    {wire::UDP_AUDIO_SINK_STOP_ACK, &CDispatch::OnSinkStopAck},
    {wire::UDP_AUDIO_SINK_FRAME, &CDispatch::OnSinkFrame},
    {wire::UDP_AUDIO_SINK_DISCONNECT, &CDispatch::OnSinkDisconnect},
    {wire::UDP_AUDIO_SOURCE_CONNECT_ACK, &CDispatch::OnSourceConnectAck},
    {wire::UDP_AUDIO_SOURCE_START, &CDispatch::OnSourceStart},
    {wire::UDP_AUDIO_SOURCE_STOP, &CDispatch::OnSourceStop},
};

}  // namespace

void CLocalMCUAudio::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                    unsigned short port) {
    DispatchDatagram(m_dispatch, kRows, wire::Kind::Audio, data, length, static_cast<uint32_t>(ip), port,
                     [](const wire::CommandRow&) {});
}

bool CLocalMCUAudio::ConnectAudioSink(uint32_t receiverID, uint32_t channelID, uint32_t userID, uint32_t ip,
                                      uint16_t port) {
    return m_dispatch.Connect(receiverID, channelID, userID, ip, port);
}
