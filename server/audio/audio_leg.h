// An audio channel subscribed to at another server.
#pragma once

#include "audio/audio_receiver_tcp.h"
#include "audio/audio_receiver_udp.h"
#include "server/stream_leg.h"

struct CAudioLegClasses {
    using IReceiver = IAudioReceiver;
    using INotify = IAudioReceiverNotify;
    using CReceiverUDP = CAudioReceiverUDP;
    using CReceiverTCP = CAudioReceiverTCP;
};

class CAudioLeg : public CStreamLeg<CAudioLegClasses> {
public:
    using CStreamLeg::CStreamLeg;

    void OnAudioData(const char* data, int length) override { m_stream.OnSourceFrame(data, length); }
};
