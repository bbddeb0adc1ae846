// Subscribes to an audio channel at a server over UDP.
#pragma once

#include "audio/audio_receiver_datagrams.h"

class CAudioReceiverUDP : public CStreamReceiverUDP<CAudioReceiverDatagrams> {
public:
    using CStreamReceiverUDP::CStreamReceiverUDP;
};
