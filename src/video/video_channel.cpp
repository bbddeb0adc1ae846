#include "link/bounds/limits.h"
#include "link/callback.h"
#include "link/stream/stream_channel.h"
#include "lumomedia/video.h"
#include "video/local_mcu_video.h"
#include "video/video_channel_state.h"
#include "video/video_sink.h"

CVideoChannel::CVideoChannel(unsigned long ulVideoChannelID)
    : m_pState(new CVideoChannelState(static_cast<uint32_t>(ulVideoChannelID))) {
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->AddVideoChannel(this);
}

CVideoChannel::CVideoChannel(CVideoChannelState& state) : m_pState(&state) {}

CVideoChannel::~CVideoChannel() {
    SayDeletedInCallback("Channel", m_pState->hub.ID());
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->ForgetChannel(*this);
    delete m_pState;
}

void CVideoChannel::ReleaseConnections() {
    if (RefusesRelease("Channel", m_pState->hub.ID())) return;
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->ForgetChannel(*this);
}

bool CVideoChannel::IsEmpty() { return m_pState->hub.IsEmpty(); }

void CVideoChannel::AddVideoSink(unsigned long ulVideoSinkID, CVideoSink* pVideoSink) {
    m_pState->hub.AddSink(static_cast<uint32_t>(ulVideoSinkID), pVideoSink);
}

void CVideoChannel::RemoveVideoSink(unsigned long ulVideoSinkID) {
    m_pState->hub.RemoveSink(static_cast<uint32_t>(ulVideoSinkID));
}

bool CVideoChannel::HasStartedVideoSink() { return HasStartedSink(m_pState->hub); }

// One flag a call: those of later sinks wait for the next.
bool CVideoChannel::HasKeyFrameRequest() {
    for (CVideoSink& sink : m_pState->hub.Sinks())
        if (sink.TestKeyFrameRequest()) return true;
    return false;
}

void CVideoChannel::OnVideoChannelData(char* data, int length) {
    if (length > limits::kMaxFrameLen) return;
    const CFanOut fanOut(data, length);
    for (CVideoSink& sink : m_pState->hub.Sinks()) sink.OnVideoChannelData(data, length);
}

unsigned long CVideoChannel::GetVideoChannelID() { return m_pState->hub.ID(); }

unsigned long CVideoChannel::GetVideoSinkCount() { return m_pState->hub.SinkCount(); }

bool CVideoChannel::IsDirty() { return m_pState->hub.IsDirty(); }

unsigned long CVideoChannel::GetBufferingFrameCount() { return LeastBufferedStarted(m_pState->hub); }
