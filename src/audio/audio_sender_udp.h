// Publishes an audio channel to a server over UDP.
#pragma once

#include "audio/audio_sender.h"
#include "link/link_registry.h"

class CAudioSenderUDP : public CStreamSenderUDP<CAudioSender>, public ILinkReport {
public:
    CAudioSenderUDP(IAudioSenderNotify& notify, CAudioChannel& channel);

    void ReleaseConnections() override;
    bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) override;
    unsigned long GetBufferingFrameCount() override { return 0; }
    void SendAudioData(const char* data, int length) override;
    void FillStatistics(LumoLinkStatistics& statistics) override;

private:
    CLinkEntry m_entry;
};
