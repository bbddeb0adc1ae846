// A video channel at the server.
#pragma once

#include "server/started_stream.h"
#include "server/video/key_frame_requests.h"
#include "video/video_channel_state.h"

class CVideoLeg;

class CVideoStream : public CStartedStream<CVideoChannel, CVideoChannelState> {
public:
    CVideoStream(const CStreamName& name, const CServerLimits& limits);

    void Open() override;
    void WantKeyFrame(bool anew) override;
    bool AskForKeyFrame(uint32_t now) override;
    /// What it is relayed over, or null. Under the gate.
    void SetLeg(CVideoLeg* leg) { m_pLeg = leg; }

protected:
    void SendToSinks(const void* data, int length) override;

private:
    CKeyFrameRequests m_requests;
    CVideoLeg* m_pLeg = nullptr;  // under the gate
};
