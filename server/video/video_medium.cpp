#include "server/video/video_medium.h"

#include "server/stream_classes.h"
#include "server/stream_profile.h"
#include "server/video/video_leg.h"
#include "server/video/video_sink_tcp.h"
#include "server/video/video_stream.h"
#include "video/local_mcu_video.h"
#include "video/video_constants.h"
#include "video/video_sink_udp.h"

namespace {

constexpr CSourceProfile Profile() {
    CSourceProfile profile = StreamSourceProfile(wire::kVideoCodes, "video", video::kStart, video::kStop);
    profile.frameAck = wire::UDP_VIDEO_SOURCE_FRAME_ACK;
    profile.session = true;
    profile.tcpKeyFrame = video::kKeyFrameWanted;
    return profile;
}

}  // namespace

std::unique_ptr<CMediumServer> MakeVideoServer(CServerContext& context) {
    static constexpr CSourceProfile kProfile = Profile();
    using CClasses = CStreamClasses<CLocalMCUVideo, CVideoStream, CVideoLeg, CVideoSinkTCP>;
    return std::make_unique<CMediumServer>(
        kProfile, std::make_unique<CClasses>(*GetLocalMCUVideo(), context.options.limits), context);
}
