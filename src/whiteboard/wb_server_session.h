// The host's side of a peer's whiteboard client.
#pragma once

#include "link/mcu_sink.h"
#include "lumomedia/whiteboard.h"
#include "whiteboard/wb_channel_state.h"
#include "whiteboard/wb_paced_requests.h"

#include <algorithm>

class CWBSessionServerUDP;

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
    /// The worker's turn: answers some of the requests kept, as many as may be under way. True when it did.
    bool AnswerKept() {
        char request[wb::kHeaderLen];
        int answered = 0;
        for (; answered < kMostAnswersATurn && !m_requests.IsEmpty() && MayAnswer(); ++answered) {
            if (!m_requests.Take(request)) break;
            OnWBSessionData(request, sizeof request);
        }
        return answered > 0;
    }
    uint32_t SessionID() { return static_cast<uint32_t>(GetWBSessionID()); }

protected:
    /// One message of the client. UDP or TCP thread.
    void OnClientMessage(const char* data, int len) {
        if (!CWBPacedRequests::IsRequest(data, len) || !MustWait() || !m_requests.Keep(data, MostQueued()))
            OnWBSessionData(data, len);
    }
    /// What waits for the client, and its limit, in bytes.
    virtual uint64_t Queued() = 0;
    virtual uint64_t MostQueued() = 0;

private:
    static constexpr uint64_t kMostAnswers = 4ULL * 1024 * 1024;
    static constexpr int kMostAnswersATurn = 64;  // the worker has others to serve

    /// Whether an object more may wait: what others draw needs room too.
    bool MayAnswer() { return Queued() <= std::min(kMostAnswers, MostQueued() / 2); }
    /// Behind requests that wait already, a request waits too.
    bool MustWait() { return !m_requests.IsEmpty() || !MayAnswer(); }

    const ChannelKey m_channel;
    CWBPacedRequests m_requests;
};
