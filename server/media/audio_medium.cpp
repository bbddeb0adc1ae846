#include "server/media/make_servers.h"

#include "audio/audio_channel_state.h"
#include "audio/audio_constants.h"
#include "audio/audio_receiver.h"
#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"
#include "server/channels/stream_server_channel.h"
#include "server/media/table_adapter.h"
#include "server/relays/stream_leg.h"
#include "server/sinks/stream_sink_tcp.h"

namespace {

/// A subscriber of audio over TCP.
class CAudioSinkTCP : public CStreamSinkTCP<CAudioSink> {
public:
    CAudioSinkTCP(CAudioChannel& channel, ITcpSession* session, uint32_t userID)
        : CStreamSinkTCP(media::kAudio, channel, session, userID) {
        m_tcp.SetMaxAge(audio::kMaxWaitMs);
    }

    void OnAudioChannelData(const char* data, int length) override {
        if (IsStarted() && data && length >= limits::kMinFrameLen) m_tcp.Send(data, length);
    }
};

/// An audio channel at the server.
class CAudioServerChannel : public CStreamServerChannel<CAudioChannel, CAudioChannelState> {
public:
    CAudioServerChannel(const CServerChannelName& name, const CLiveOptions& options);

    void Open() override;

protected:
    void SendToSinks(const void* data, int length) override;
    int MaxFrame() const override;
};

/// An audio channel subscribed to at another server.
class CAudioLeg : public CStreamLeg<IAudioReceiverNotify, IAudioReceiver, CAudioReceiverUDP, CAudioReceiverTCP> {
public:
    using CStreamLeg::CStreamLeg;

    void OnAudioData(const char* data, int length) override { m_channel.OnSourceFrame(data, length); }
};

CAudioServerChannel::CAudioServerChannel(const CServerChannelName& name, const CLiveOptions& options)
    : CStreamServerChannel("audio", name, options) {}

void CAudioServerChannel::Open() {
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->AddAudioChannel(m_pChannel.get());
}

int CAudioServerChannel::MaxFrame() const { return audio::kMaxFrame; }

void CAudioServerChannel::SendToSinks(const void* data, int length) {
    m_pChannel->OnAudioChannelData(static_cast<const char*>(data), length);
}

}  // namespace

std::unique_ptr<CMediumServer> MakeAudioServer(CServerContext& context) {
    using CAdapter = CStreamAdapter<CLocalMCUAudio, CAudioServerChannel, CAudioLeg, CAudioSinkTCP>;
    return std::make_unique<CMediumServer>(media::kAudio, std::make_unique<CAdapter>(*GetLocalMCUAudio(), context.live),
                                           context);
}
