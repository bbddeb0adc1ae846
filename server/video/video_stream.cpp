#include "server/video/video_stream.h"

#include "link/activity.h"
#include "server/video/video_leg.h"
#include "video/local_mcu_video.h"
#include "video/video_constants.h"
#include "video/video_sink.h"

namespace {

constexpr uint32_t kLegRepeatMs = 500;
// A publisher whose START was lost sends nothing when it is asked, and START comes again every 2 s.
constexpr uint32_t kSourceRepeatMs = 2000;

}  // namespace

CVideoStream::CVideoStream(const CStreamName& name, const CServerLimits& limits)
    : CStartedStream("video", name, limits) {}

void CVideoStream::Open() {
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->AddVideoChannel(m_pChannel.get());
}

void CVideoStream::WantKeyFrame(bool anew) {
    if (anew) m_requests.Came();
    m_requests.Want(CActivity::Now());
}

// The next one goes to everybody, so the question is that of all. A publisher that is not there is asked when it comes.
bool CVideoStream::AskForKeyFrame(uint32_t now) {
    const bool relayed = IsRelayed();
    uint32_t repeatMs = relayed ? kLegRepeatMs : kSourceRepeatMs;
    if (Wanted() == 0 || (!relayed && !HasSource())) repeatMs = 0;  // none can come
    if (m_requests.IsDue(now, repeatMs)) {
        if (!relayed) WithSource([](CSource& source) { source.RequestKeyFrame(); });
        if (relayed && m_pLeg) m_pLeg->RequestKeyFrame();
    }
    return m_requests.IsOpen(repeatMs);
}

// Only subscribers' sinks are in the channel: nobody writes into the frame.
void CVideoStream::SendToSinks(const void* data, int length) {
    const auto* frame = static_cast<const char*>(data);
    if (length >= video::kMinFrame && video::IsKeyFrame(frame)) m_requests.Came();
    m_pChannel->OnVideoChannelData(const_cast<char*>(frame), length);
}
