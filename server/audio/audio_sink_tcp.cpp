#include "server/audio/audio_sink_tcp.h"

#include "audio/audio_constants.h"
#include "link/instances.h"
#include "link/limits.h"
#include "link/tcp_link.h"

void CAudioSinkTCP::AnswerValidation() {
    wire::CDatagram payload;
    payload.U32(GetAudioChannelID()).U32(GetAudioSinkID());
    m_tcp.Answer(this, ValidationMessage(wire::TcpType::AudioReceiver, payload));
}

// The session is let go when no frame can be under way to it any more; a control byte may come until then.
void CAudioSinkTCP::ReleaseConnections() {
    CAudioSink::ReleaseConnections();
    m_tcp.Release();
    SetStarted(false);
}

void CAudioSinkTCP::OnAudioChannelData(const char* data, int length) {
    if (IsStarted() && data && length >= limits::kMinFrameLen) m_tcp.Send(data, length);
}

bool CAudioSinkTCP::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    if (!data || length != 1 || (data[0] != audio::kStart && data[0] != audio::kStop)) return true;
    IServerHooks* hooks = GetServerHooks();
    if (SetStarted(data[0] == audio::kStart) && hooks) hooks->OnSinkChanged(Info());
    return true;
}

CSinkInfo CAudioSinkTCP::Info() {
    CSinkInfo info = CAudioSink::Info();
    info.ip = m_tcp.RemoteIP();
    info.port = m_tcp.RemotePort();
    info.tcp = true;
    return info;
}
