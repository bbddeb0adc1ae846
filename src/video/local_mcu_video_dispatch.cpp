// Which video datagram does what.
#include "video/local_mcu_video.h"
#include "video/video_sender_udp.h"
#include "video/video_sink_udp.h"

namespace {

using CDispatch = CLocalMCUVideo::CDispatch;

constexpr CDispatchRow<CDispatch> kRows[] = {
    {wire::UDP_VIDEO_SINK_CONNECT, &CDispatch::OnSinkConnect},
    {wire::UDP_VIDEO_SINK_CONNECT_ACK, &CDispatch::OnSinkConnectAck},
    {wire::UDP_VIDEO_SINK_START, &CDispatch::OnSinkStart},
    {wire::UDP_VIDEO_SINK_START_ACK, &CDispatch::OnSinkStartAck},
    {wire::UDP_VIDEO_SINK_STOP, &CDispatch::OnSinkStop},
    {wire::UDP_VIDEO_SINK_STOP_ACK, &CDispatch::OnSinkStopAck},
    {wire::UDP_VIDEO_SINK_FRAME, &CDispatch::OnSinkFrame},
    {wire::UDP_VIDEO_SINK_FRAME_ACK, &CDispatch::OnSinkFrameAck},
    {wire::UDP_VIDEO_SINK_DISCONNECT, &CDispatch::OnSinkDisconnect},
    {wire::UDP_VIDEO_SOURCE_CONNECT_ACK, &CDispatch::OnSourceConnectAck},
    {wire::UDP_VIDEO_SOURCE_START, &CDispatch::OnSourceStart},
    {wire::UDP_VIDEO_SOURCE_STOP, &CDispatch::OnSourceStop},
    {wire::UDP_VIDEO_SOURCE_FRAME_ACK, &CDispatch::OnSourceFrameAck},
};

}  // namespace

void CLocalMCUVideo::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                    unsigned short port) {
    DispatchDatagram(m_dispatch, kRows, wire::Kind::Video, data, length, static_cast<uint32_t>(ip), port,
                     [](const wire::CommandRow&) {});
}

bool CLocalMCUVideo::ConnectVideoSink(uint32_t receiverID, uint32_t channelID, uint32_t userID, uint32_t ip,
                                      uint16_t port) {
    return m_dispatch.Connect(receiverID, channelID, userID, ip, port);
}
