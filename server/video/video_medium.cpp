#include "server/video/video_medium.h"

#include "server/table_classes.h"
#include "server/video/video_leg.h"
#include "server/video/video_sink_tcp.h"
#include "server/video/video_stream.h"
#include "video/local_mcu_video.h"
#include "video/video_constants.h"
#include "video/video_sink_udp.h"

namespace {

constexpr CSourceProfile kProfile{.kind = wire::Kind::Video,
                                  .medium = "video",
                                  .connect = wire::UDP_VIDEO_SOURCE_CONNECT,
                                  .connectAck = wire::UDP_VIDEO_SOURCE_CONNECT_ACK,
                                  .frame = wire::UDP_VIDEO_SOURCE_FRAME,
                                  .frameAck = wire::UDP_VIDEO_SOURCE_FRAME_ACK,
                                  .keepAlive = wire::UDP_VIDEO_SOURCE_START,
                                  .stop = wire::UDP_VIDEO_SOURCE_STOP,
                                  .disconnect = wire::UDP_VIDEO_SOURCE_DISCONNECT,
                                  .acknowledgements = 1,
                                  .session = true,
                                  .subscribersAskOnce = false,
                                  .senderType = wire::TcpType::VideoSender,
                                  .receiverType = wire::TcpType::VideoReceiver,
                                  .tcpStart = video::kStart,
                                  .tcpStop = video::kStop,
                                  .tcpKeyFrame = video::kKeyFrameWanted};

class CVideoClasses : public CTableClasses<CLocalMCUVideo::CTables> {
public:
    explicit CVideoClasses(const CServerLimits& limits) : CTableClasses(Mcu().Tables(), limits) {}

    std::shared_ptr<CStream> MakeStream(uint32_t channelID) override {
        return std::make_shared<CVideoStream>(channelID, Limits());
    }
    std::unique_ptr<CRelayLeg> MakeLeg(CStream& stream, const CMcuAddress& far, bool tcp,
                                       std::atomic<bool>& news) override {
        return std::make_unique<CVideoLeg>(static_cast<CVideoStream&>(stream), far, tcp, news);
    }
    bool ConnectSink(const CSinkRequest& request) override {
        return Mcu().ConnectSink(request.receiverID, request.channelID, request.userID, request.peer.ip,
                                 request.peer.port);
    }
    uint32_t AcceptSink(ITcpSession* session, const CSinkRequest& request) override {
        return Mcu().Tables().Accept(request.channelID, [&](CVideoChannel& channel) -> std::unique_ptr<CVideoSink> {
            if (!AcceptTcpSession(session)) return nullptr;
            auto sink = std::make_unique<CVideoSinkTCP>(channel, session, request.userID);
            sink->AnswerValidation();
            return sink;
        });
    }

private:
    static CLocalMCUVideo& Mcu() { return *GetLocalMCUVideo(); }
};

}  // namespace

std::unique_ptr<CMediumServer> MakeVideoServer(CServerContext& context) {
    return std::make_unique<CMediumServer>(kProfile, std::make_unique<CVideoClasses>(context.options.limits), context);
}
