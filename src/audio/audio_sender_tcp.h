// Publishes an audio channel to a server over TCP.
#pragma once

#include "audio/audio_sender.h"

class CAudioSenderTCP : public CStreamSenderTCP<CAudioSender> {
public:
    CAudioSenderTCP(IAudioSenderNotify& notify, CAudioChannel& channel);

    void SendAudioData(const char* data, int length) override;
};
