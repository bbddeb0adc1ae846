// Publishes a video channel to a server over TCP.
#pragma once

#include "video/video_sender.h"

#include <cstdint>

class CVideoSenderTCP : public CStreamSenderTCP<CVideoSender> {
public:
    CVideoSenderTCP(IVideoSenderNotify& notify, CVideoChannel& channel)
        : CStreamSenderTCP(notify, channel, media::kVideo) {}

    /// Numbers the frame in its bytes 1 and 2; a key frame takes the place of all that waits.
    void SendVideoData(char* data, int length) override;

protected:
    void OnControl(char control) override;

private:
    uint16_t m_usSequence = 0;  // under the channel's sink lock
};
