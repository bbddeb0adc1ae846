// Peers' whiteboard clients attached to a channel of this host.
#pragma once

#include "link/callback.h"
#include "link/tables/mcu_sink.h"
#include "link/tcp/tcp_sink.h"
#include "link/udp/frame_link.h"
#include "link/udp/udp_sink.h"
#include "lumomedia/whiteboard.h"
#include "whiteboard/wb_channel_state.h"
#include "whiteboard/wb_paced_requests.h"

#include <algorithm>
#include <atomic>

class CWBSessionServerUDP;

/// The host's side of a peer's whiteboard client.
/// Enters its channel by Join once it is wholly made, and has left it before its destructor begins.
class CWBServerSession : public CWBSession, public CMcuSink {
public:
    explicit CWBServerSession(CWBChannel& channel)
        : CWBSession(&channel), m_channel(CWBChannelState::Of(channel).Key()) {}

    void ReleaseConnections() override { LeaveWBChannel(); }
    bool IsDisconnected() override = 0;
    void Join() override { JoinWBChannel(); }
    CSinkInfo Info() override { return {wire::Kind::Whiteboard, SessionID(), m_channel, 0, 0, false, GetFrameLink()}; }
    /// This object as a UDP session, or null.
    virtual CWBSessionServerUDP* AsUDP() { return nullptr; }
    /// Messages still waiting to go to the client.
    virtual uint32_t GetBufferingFrameCount() = 0;
    /// The worker's turn: answers some of the pending requests, as many as may be in flight. True when it did.
    bool AnswerPending() {
        char request[wb::kHeaderLen];
        int answered = 0;
        for (; answered < kMostAnswersATurn && !m_requests.IsEmpty() && MayAnswer(); ++answered) {
            if (!m_requests.Take(request)) break;
            Hear(request, sizeof request);
        }
        return answered > 0;
    }
    uint32_t SessionID() { return static_cast<uint32_t>(GetWBSessionID()); }

protected:
    /// One message of the client. UDP or TCP thread.
    void OnClientMessage(const char* data, int len) {
        if (!CWBPacedRequests::IsRequest(data, len) || !MustWait() || !m_requests.Add(data, MostQueued()))
            Hear(data, len);
    }
    /// What waits for the client, and its limit, in bytes.
    virtual uint64_t Queued() = 0;
    virtual uint64_t MostQueued() = 0;

private:
    /// The board is the application's: it may have a say in what is drawn.
    void Hear(const char* data, int len) {
        CallApplication([&] { OnWBSessionData(data, len); });
    }

    static constexpr uint64_t kMostAnswers = 4ULL * 1024 * 1024;
    static constexpr int kMostAnswersATurn = 64;  // the worker has others to serve

    /// Whether an object more may wait: what others draw needs room too.
    bool MayAnswer() { return Queued() <= std::min(kMostAnswers, MostQueued() / 2); }
    /// Behind requests that wait already, a request waits too.
    bool MustWait() { return !m_requests.IsEmpty() || !MayAnswer(); }

    const ChannelKey m_channel;
    CWBPacedRequests m_requests;
};

/// A peer's whiteboard client attached to a channel of this host over UDP.
class CWBSessionServerUDP : public CWBServerSession, private ILinkOwner {
public:
    CWBSessionServerUDP(CWBChannel& channel, uint32_t ip, uint16_t port, uint32_t remoteSessionID);

    /// False when the session cannot be opened. Before it joins its channel.
    bool StartSession();
    /// At a server it joins only once it is validated.
    void Join() override;
    void JoinOnceValidated();
    /// Who joins once more hears of everything anew.
    void OnGap() override { JoinWBChannel(); }
    void LeaveWBChannel() override;
    void SendWBSessionData(const char* data, int len) override;
    bool IsDisconnected() override { return m_udp.IsSilent() || m_frames.IsOverLimit(); }
    CWBSessionServerUDP* AsUDP() override { return this; }
    CFrameLink* GetFrameLink() override { return &m_frames; }
    void LimitQueue(uint64_t bytes) override { m_frames.SetQueueLimit(bytes); }
    CSinkInfo Info() override;
    uint32_t GetBufferingFrameCount() override { return m_frames.QueuedFrames(); }
    bool IsAt(uint32_t ip, uint16_t port) const override { return m_udp.Remote().Is(ip, port); }

    /// Each is a sign of life. UDP thread, under the session table lock.
    void OnReceivedConnect() override { SendConnectAck(); }
    void SendConnectAck();
    void OnReceivedKeepAlive();
    void OnReceivedFrame(const char* packet, int length);

protected:
    uint64_t Queued() override { return m_frames.QueueCost(); }
    uint64_t MostQueued() override { return m_frames.QueueLimit(); }

private:
    void OnSCTPSessionReceivedFrame(char* data, int length) override { OnClientMessage(data, length); }
    void SendSCTPData(char* packet, int length) override { m_udp.SendPacket(packet, length); }
    void DescribeLink(LumoLinkStatistics& statistics) const override { m_udp.Describe(statistics); }

    CUdpSink m_udp;
    CFrameLink m_frames{*this};
    CWBChannelState& m_channel;
    std::atomic<bool> m_bAwaited{false};
};

/// A peer's whiteboard client attached to a channel of this host over TCP.
class CWBSessionServerTCP : public CWBServerSession, public ITcpSessionNotify {
public:
    CWBSessionServerTCP(CWBChannel& channel, ITcpSession* session) : CWBServerSession(channel), m_tcp(session) {}

    /// Takes the session's frames and answers its validation: before it joins its channel.
    void AnswerValidation();

    void LeaveWBChannel() override;
    void SendWBSessionData(const char* data, int len) override;
    bool IsDisconnected() override { return m_tcp.Poll(); }
    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;
    void LimitQueue(uint64_t bytes) override { m_tcp.LimitQueue(bytes); }
    void CloseWhenSent() override { m_tcp.CloseWhenSent(); }
    CSinkInfo Info() override { return m_tcp.Describe(CWBServerSession::Info()); }
    uint32_t GetBufferingFrameCount() override { return m_tcp.QueuedFrames(); }

protected:
    uint64_t Queued() override { return m_tcp.QueueCost(); }
    uint64_t MostQueued() override { return m_tcp.QueueLimit(); }

private:
    CTcpSink m_tcp;
};
