// A peer's whiteboard client attached to a channel of this host over UDP.
#pragma once

#include "link/frame_link.h"
#include "link/udp_sink.h"
#include "whiteboard/wb_channel_state.h"
#include "whiteboard/wb_server_session.h"

#include <atomic>

class CWBSessionServerUDP : public CWBServerSession, public CFrameLink {
public:
    CWBSessionServerUDP(CWBChannel& channel, uint32_t ip, uint16_t port, uint32_t remoteSessionID);

    /// False when the session cannot be opened. Before it joins its channel.
    bool StartSession();
    /// At a server it joins only once it has shown that it is there.
    void Join() override;
    void JoinAsProved();
    /// Who joins once more hears of everything anew.
    void OnGap() override { JoinWBChannel(); }
    void LeaveWBChannel() override;
    void SendWBSessionData(const char* data, int len) override;
    bool IsDisconnected() override { return m_udp.IsSilent() || IsOverLimit(); }
    CWBSessionServerUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return this; }
    void LimitQueue(uint64_t bytes) override { SetQueueLimit(bytes); }
    CSinkInfo Info() override;
    uint32_t GetBufferingFrameCount() override { return static_cast<uint32_t>(GetCount()); }
    bool IsAt(uint32_t ip, uint16_t port) const override { return m_udp.Remote().Is(ip, port); }

    /// Each is a sign of life. UDP thread, under the session table lock.
    void OnReceivedConnect() override { SendConnectAck(); }
    void SendConnectAck();
    void OnReceivedKeepAlive();
    void OnReceivedFrame(const char* packet, int length);

    void OnSCTPSessionReceivedFrame(char* data, int length) override { OnClientMessage(data, length); }
    void SendSCTPData(char* packet, int length) override;

protected:
    uint64_t Queued() override { return QueueCost(); }
    uint64_t MostQueued() override { return QueueLimit(); }
    void DescribeLink(LumoLinkStatistics& statistics) const override;

private:
    CUdpSink m_udp;
    CWBChannelState& m_channel;
    std::atomic<bool> m_bAwaited{false};
};
