// The host's side of a peer's whiteboard client.
#pragma once

#include "link/mcu_sink.h"
#include "lumomedia/whiteboard.h"
#include "whiteboard/wb_paced_requests.h"

#include <algorithm>

class CWBSessionServerUDP;

/// Enters its channel by Join once it is wholly made, and has left it before its destructor begins.
class CWBServerSession : public CWBSession, public CMcuSink {
public:
    explicit CWBServerSession(CWBChannel& channel) : CWBSession(&channel) {}

    void ReleaseConnections() override { LeaveWBChannel(); }
    bool IsDisconnected() override = 0;
    void Join() override { JoinWBChannel(); }
    CSinkInfo Info() override {
        return {wire::Kind::Whiteboard, SessionID(), static_cast<uint32_t>(GetWBChannelID()), 0, 0, false,
                GetFrameLink()};
    }
    /// This object as a UDP session, or null.
    virtual CWBSessionServerUDP* AsUDP() { return nullptr; }
    /// Messages still waiting to go to the client.
    virtual uint32_t GetBufferingFrameCount() = 0;
    /// The worker's turn: answers as many of the requests kept as may be under way.
    void AnswerKept() {
        char request[wb::kHeaderLen];
        while (!m_requests.IsEmpty() && MayAnswer() && m_requests.Take(request))
            OnWBSessionData(request, sizeof request);
    }
    uint32_t SessionID() { return static_cast<uint32_t>(GetWBSessionID()); }

protected:
    /// One message of the client. UDP or TCP thread.
    void OnClientMessage(const char* data, int len) {
        if (!m_requests.Keeps(data, len, MayAnswer())) OnWBSessionData(data, len);
    }
    /// Whether an object more may wait for the client: what others draw needs room too.
    virtual bool MayAnswer() = 0;
    static bool MayAnswer(uint64_t queued, uint64_t limit) { return queued <= std::min(kMostAnswers, limit / 2); }

private:
    static constexpr uint64_t kMostAnswers = 4ULL * 1024 * 1024;

    CWBPacedRequests m_requests;
};
