// Receives an audio channel from a peer's local MCU over UDP.
#pragma once

#include "audio/audio_receiver_datagrams.h"
#include "p2p/stream_receiver_p2p.h"

class CAudioReceiverP2P : public CStreamReceiverP2P<CAudioReceiverDatagrams> {
public:
    using CStreamReceiverP2P::CStreamReceiverP2P;
};
