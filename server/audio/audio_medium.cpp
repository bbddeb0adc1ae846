#include "server/audio/audio_medium.h"

#include "audio/audio_sink_udp.h"
#include "audio/local_mcu_audio.h"
#include "server/audio/audio_leg.h"
#include "server/audio/audio_sink_tcp.h"
#include "server/audio/audio_stream.h"
#include "server/stream_classes.h"

std::unique_ptr<CMediumServer> MakeAudioServer(CServerContext& context) {
    using CClasses = CStreamClasses<CLocalMCUAudio, CAudioStream, CAudioLeg, CAudioSinkTCP>;
    return std::make_unique<CMediumServer>(
        media::kAudio, std::make_unique<CClasses>(*GetLocalMCUAudio(), context.options.limits), context);
}
