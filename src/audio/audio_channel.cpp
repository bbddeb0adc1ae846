#include "audio/audio_channel_state.h"
#include "audio/audio_constants.h"
#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"
#include "link/callback.h"
#include "link/stream/stream_channel.h"
#include "lumomedia/audio.h"

CAudioChannel::CAudioChannel(unsigned long ulAudioChannelID)
    : m_pState(new CAudioChannelState(static_cast<uint32_t>(ulAudioChannelID))) {
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->AddAudioChannel(this);
}

CAudioChannel::CAudioChannel(CAudioChannelState& state) : m_pState(&state) {}

CAudioChannel::~CAudioChannel() {
    SayDeletedInCallback("Channel", m_pState->hub.ID());
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->ForgetChannel(*this);
    delete m_pState;
}

void CAudioChannel::ReleaseConnections() {
    if (RefusesRelease("Channel", m_pState->hub.ID())) return;
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->ForgetChannel(*this);
}

bool CAudioChannel::IsEmpty() { return m_pState->hub.IsEmpty(); }

void CAudioChannel::AddAudioSink(unsigned long ulAudioSinkID, CAudioSink* pAudioSink) {
    m_pState->hub.AddSink(static_cast<uint32_t>(ulAudioSinkID), pAudioSink);
}

void CAudioChannel::RemoveAudioSink(unsigned long ulAudioSinkID) {
    m_pState->hub.RemoveSink(static_cast<uint32_t>(ulAudioSinkID));
}

bool CAudioChannel::HasStartedAudioSink() { return HasStartedSink(m_pState->hub); }

void CAudioChannel::OnAudioChannelData(const char* data, int length) {
    if (length > audio::kMaxFrame) return;
    const auto fanOut = [&] {
        const CFanOut toAll(data, length);
        for (CAudioSink& sink : m_pState->hub.Sinks()) sink.OnAudioChannelData(data, length);
    };
    CLocalMCUAudio* mcu = GetLocalMCUAudio();
    if (mcu && !GetServerHooks())
        mcu->Thinning().Measure(fanOut);
    else
        fanOut();
}

unsigned long CAudioChannel::GetAudioChannelID() { return m_pState->hub.ID(); }

unsigned long CAudioChannel::GetAudioSinkCount() { return m_pState->hub.SinkCount(); }

bool CAudioChannel::IsDirty() { return m_pState->hub.IsDirty(); }

unsigned long CAudioChannel::GetBufferingFrameCount() { return LeastBufferedStarted(m_pState->hub); }
