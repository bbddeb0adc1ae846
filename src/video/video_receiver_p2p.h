// Receives a video channel from a peer's local MCU over UDP.
#pragma once

#include "p2p/stream_receiver_p2p.h"
#include "video/video_receiver_datagrams.h"

class CVideoReceiverP2P : public CStreamReceiverP2P<CVideoReceiverDatagrams> {
public:
    using CStreamReceiverP2P::CStreamReceiverP2P;
};
