#include "audio/audio_receiver.h"

#include "audio/local_mcu_audio.h"

bool CAudioReceiverDatagrams::Enter() {
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->AddAudioReceiver(this);
    m_entry.Enter(*this);
    return true;
}

void CAudioReceiverDatagrams::OnReceivedFrame(uint32_t sinkID, const char* data, int length, uint32_t ip,
                                              uint16_t port) {
    if (m_subscriberLink.Accepts(sinkID, ip, port)) NotifyData(data, length);
}

void CAudioReceiverDatagrams::FillStatistics(LumoLinkStatistics& statistics) {
    statistics = LumoLinkStatistics();
    m_subscriberLink.Describe(statistics);
}

void CAudioReceiverDatagrams::ReleaseConnections() {
    if (RefusesRelease("A receiver of channel", m_ulChannelID)) return;
    m_entry.Leave();
    SendDisconnect();
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->RemoveAudioReceiver(ReceiverID());
    delete this;
}
