// Subscribes to a video channel at a server over UDP.
#pragma once

#include "video/video_receiver_datagrams.h"

class CVideoReceiverUDP : public CStreamReceiverUDP<CVideoReceiverDatagrams> {
public:
    using CStreamReceiverUDP::CStreamReceiverUDP;
};
