// Subscribes to a video channel at a server over TCP.
#pragma once

#include "video/video_receiver.h"

class CVideoReceiverTCP : public CStreamReceiverTCP<CVideoReceiver> {
public:
    CVideoReceiverTCP(IVideoReceiverNotify& notify, uint32_t channelID, uint32_t userID);

    void RequestKeyFrame() override;
    void AdjustWindowSize(bool) override {}  // TCP has its own
};
