#include "audio/audio_sender.h"

#include "link/callback.h"

void CAudioSender::NotifyConnected(uint32_t ip) {
    CallApplication([&] { m_pNotify->OnConnected(ip); });
}

void CAudioSender::OnAudioChannelData(const char* data, int length) {
    if (!IsStarted()) return;
    SendAudioData(data, length);
    m_ulSentFrames.fetch_add(1, std::memory_order_relaxed);
}
