#include "server/audio/audio_medium.h"

#include "audio/audio_constants.h"
#include "audio/audio_sink_udp.h"
#include "audio/local_mcu_audio.h"
#include "server/audio/audio_leg.h"
#include "server/audio/audio_sink_tcp.h"
#include "server/audio/audio_stream.h"
#include "server/table_classes.h"

namespace {

constexpr CSourceProfile kProfile{.kind = wire::Kind::Audio,
                                  .medium = "audio",
                                  .connect = wire::UDP_AUDIO_SOURCE_CONNECT,
                                  .connectAck = wire::UDP_AUDIO_SOURCE_CONNECT_ACK,
                                  .frame = wire::UDP_AUDIO_SOURCE_FRAME,
                                  .frameAck = 0,
                                  .keepAlive = wire::UDP_AUDIO_SOURCE_START,
                                  .stop = wire::UDP_AUDIO_SOURCE_STOP,
                                  .disconnect = wire::UDP_AUDIO_SOURCE_DISCONNECT,
                                  .acknowledgements = 1,
                                  .session = false,
                                  .subscribersAskOnce = false,
                                  .senderType = wire::TcpType::AudioSender,
                                  .receiverType = wire::TcpType::AudioReceiver,
                                  .tcpStart = audio::kStart,
                                  .tcpStop = audio::kStop};

class CAudioClasses : public CTableClasses<CLocalMCUAudio::CTables> {
public:
    explicit CAudioClasses(const CServerLimits& limits) : CTableClasses(Mcu().Tables(), limits) {}

    std::shared_ptr<CStream> MakeStream(uint32_t channelID) override {
        return std::make_shared<CAudioStream>(channelID, Limits());
    }
    std::unique_ptr<CRelayLeg> MakeLeg(CStream& stream, const CMcuAddress& far, bool tcp,
                                       std::atomic<bool>& news) override {
        return std::make_unique<CAudioLeg>(stream, far, tcp, news);
    }
    bool ConnectSink(const CSinkRequest& request) override {
        return Mcu().ConnectSink(request.receiverID, request.channelID, request.userID, request.peer.ip,
                                 request.peer.port);
    }
    uint32_t AcceptSink(ITcpSession* session, const CSinkRequest& request) override {
        return Mcu().Tables().Accept(request.channelID, [&](CAudioChannel& channel) -> std::unique_ptr<CAudioSink> {
            if (!AcceptTcpSession(session)) return nullptr;
            auto sink = std::make_unique<CAudioSinkTCP>(channel, session, request.userID);
            sink->AnswerValidation();
            return sink;
        });
    }

private:
    static CLocalMCUAudio& Mcu() { return *GetLocalMCUAudio(); }
};

}  // namespace

std::unique_ptr<CMediumServer> MakeAudioServer(CServerContext& context) {
    return std::make_unique<CMediumServer>(kProfile, std::make_unique<CAudioClasses>(context.options.limits), context);
}
