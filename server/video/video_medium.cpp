#include "server/video/video_medium.h"

#include "server/stream_classes.h"
#include "server/video/video_leg.h"
#include "server/video/video_sink_tcp.h"
#include "server/video/video_stream.h"
#include "video/local_mcu_video.h"
#include "video/video_sink_udp.h"

std::unique_ptr<CMediumServer> MakeVideoServer(CServerContext& context) {
    using CClasses = CStreamClasses<CLocalMCUVideo, CVideoStream, CVideoLeg, CVideoSinkTCP>;
    return std::make_unique<CMediumServer>(
        media::kVideo, std::make_unique<CClasses>(*GetLocalMCUVideo(), context.options.limits), context);
}
