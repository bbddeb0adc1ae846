#include "audio/audio_receiver.h"

#include "link/callback.h"

void CAudioReceiver::NotifyConnected(uint32_t ip) {
    CallApplication([&] { m_pNotify->OnConnected(ip); });
}

void CAudioReceiver::NotifyData(const char* data, int length) {
    CallApplication([&] { m_pNotify->OnAudioData(data, length); });
}
