// A peer's receiver attached to a channel of this host over UDP.
#pragma once

#include "audio/audio_sink.h"
#include "link/udp_sink.h"

/// Starts as one that wants nothing.
class CAudioSinkUDP : public CAudioSink {
public:
    CAudioSinkUDP(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID);

    void ReleaseConnections() override { CAudioSink::ReleaseConnections(); }
    bool IsDisconnected() override { return CAudioSink::IsDisconnected() || m_udp.IsSilent(); }
    void OnAudioChannelData(const char* data, int length) override;
    unsigned long GetBufferingFrameCount() override { return 0; }  // a frame is sent at once
    CAudioSinkUDP* AsUDP() override { return this; }
    CSinkInfo Info() override;
    bool IsAt(uint32_t ip, uint16_t port) const override { return m_udp.Remote().Is(ip, port); }

    /// Each is a sign of life. UDP thread, under the sink table lock. The last two answer whether that is news.
    void OnReceivedConnect() override;
    bool OnReceivedStart();
    bool OnReceivedStop();

    uint32_t GetRemoteIP() const { return m_udp.Remote().IP(); }
    uint16_t GetRemotePort() const { return m_udp.Remote().Port(); }
    uint32_t GetReceiverID() const { return m_udp.ReceiverID(); }

private:
    CUdpSink m_udp;
};
