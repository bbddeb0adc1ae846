#include "server/media/make_servers.h"

#include "link/activity.h"
#include "server/channels/key_frame_requests.h"
#include "server/channels/stream_server_channel.h"
#include "server/media/table_adapter.h"
#include "server/relays/stream_leg.h"
#include "server/sinks/stream_sink_tcp.h"
#include "video/local_mcu_video.h"
#include "video/video_channel_state.h"
#include "video/video_constants.h"
#include "video/video_receiver.h"
#include "video/video_sink.h"

namespace {

/// A subscriber of video over TCP.
class CVideoSinkTCP : public CStreamSinkTCP<CVideoSink> {
public:
    CVideoSinkTCP(CVideoChannel& channel, ITcpSession* session, uint32_t userID);

    /// A key frame takes the place of all that waits.
    void OnVideoChannelData(char* data, int length) override;

protected:
    void OnControl(char control) override;
};

class CVideoLeg;

/// A video channel at the server.
class CVideoServerChannel : public CStreamServerChannel<CVideoChannel, CVideoChannelState> {
public:
    CVideoServerChannel(const CServerChannelName& name, const CLiveOptions& options);

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

/// A video channel subscribed to at another server.
class CVideoLeg : public CStreamLeg<IVideoReceiverNotify, IVideoReceiver, CVideoReceiverUDP, CVideoReceiverTCP> {
public:
    CVideoLeg(CVideoServerChannel& channel, const CMcuAddress& far, bool tcp, std::atomic<bool>& news);

    bool Open() override;
    void Close() override;
    /// Asks the far server. Under the gate.
    void RequestKeyFrame();

    void OnVideoData(const char* data, int length) override { m_channel.OnSourceFrame(data, length); }

private:
    CVideoServerChannel& m_video;
};

CVideoSinkTCP::CVideoSinkTCP(CVideoChannel& channel, ITcpSession* session, uint32_t userID)
    : CStreamSinkTCP(media::kVideo, channel, session, userID) {
    m_tcp.SetPatience(video::kPatienceMs);
}

void CVideoSinkTCP::OnVideoChannelData(char* data, int length) {
    if (!IsStarted() || !data || length < video::kMinFrame) return;
    if (video::IsKeyFrame(data)) m_tcp.DropQueue();
    m_tcp.Send(data, length);
}

void CVideoSinkTCP::OnControl(char control) {
    if (control == m_row.tcp.keyFrame) return WantKeyFrame();
    CStreamSinkTCP::OnControl(control);
}

constexpr uint32_t kLegRepeatMs = 500;
// A publisher whose START was lost sends nothing when it is asked, and START comes again every 2 s.
constexpr uint32_t kSourceRepeatMs = 2000;

CVideoServerChannel::CVideoServerChannel(const CServerChannelName& name, const CLiveOptions& options)
    : CStreamServerChannel("video", name, options) {}

void CVideoServerChannel::Open() {
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->AddVideoChannel(m_pChannel.get());
}

void CVideoServerChannel::WantKeyFrame(bool anew) {
    if (anew) m_requests.Came();
    m_requests.Want(CActivity::Now());
}

// The next key frame goes to every subscriber, so one request serves all. A publisher that is not there is asked when
// it comes.
bool CVideoServerChannel::AskForKeyFrame(uint32_t now) {
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
void CVideoServerChannel::SendToSinks(const void* data, int length) {
    const auto* frame = static_cast<const char*>(data);
    if (length >= video::kMinFrame && video::IsKeyFrame(frame)) m_requests.Came();
    m_pChannel->OnVideoChannelData(const_cast<char*>(frame), length);
}

CVideoLeg::CVideoLeg(CVideoServerChannel& channel, const CMcuAddress& far, bool tcp, std::atomic<bool>& news)
    : CStreamLeg(channel, far, tcp, news), m_video(channel) {}

bool CVideoLeg::Open() {
    if (!CStreamLeg::Open()) return false;
    m_video.SetLeg(this);
    return true;
}

void CVideoLeg::Close() {
    m_video.SetLeg(nullptr);
    CStreamLeg::Close();
}

void CVideoLeg::RequestKeyFrame() {
    if (m_pReceiver && IsUp()) m_pReceiver->RequestKeyFrame();
}

}  // namespace

std::unique_ptr<CMediumServer> MakeVideoServer(CServerContext& context) {
    using CAdapter = CStreamAdapter<CLocalMCUVideo, CVideoServerChannel, CVideoLeg, CVideoSinkTCP>;
    return std::make_unique<CMediumServer>(media::kVideo, std::make_unique<CAdapter>(*GetLocalMCUVideo(), context.live),
                                           context);
}
