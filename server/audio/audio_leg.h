// An audio channel subscribed to at another server.
#pragma once

#include "audio/audio_receiver_tcp.h"
#include "audio/audio_receiver_udp.h"
#include "server/stream_leg.h"

class CAudioLeg : public CStreamLeg<IAudioReceiverNotify, IAudioReceiver, CAudioReceiverUDP, CAudioReceiverTCP> {
public:
    using CStreamLeg::CStreamLeg;

    void OnAudioData(const char* data, int length) override { m_stream.OnSourceFrame(data, length); }
};
