// Publishes an audio channel to a server over UDP.
#pragma once

#include "audio/audio_sender.h"

class CAudioSenderUDP : public CStreamSenderUDP<CAudioSender> {
public:
    CAudioSenderUDP(IAudioSenderNotify& notify, CAudioChannel& channel);

    void ReleaseConnections() override;
    unsigned long GetBufferingFrameCount() override { return 0; }
    void SendAudioData(const char* data, int length) override;
};
