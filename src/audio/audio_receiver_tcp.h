// Subscribes to an audio channel at a server over TCP.
#pragma once

#include "audio/audio_receiver.h"

class CAudioReceiverTCP : public CStreamReceiverTCP<CAudioReceiver> {
public:
    CAudioReceiverTCP(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID)
        : CStreamReceiverTCP(notify, channelID, userID, media::kAudio) {}
};
