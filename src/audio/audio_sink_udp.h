// A peer's receiver attached to a channel of this host over UDP.
#pragma once

#include "audio/audio_sink.h"

#include <memory>

class CAudioSinkUDP : public CStreamSinkUDP<CAudioSink> {
public:
    CAudioSinkUDP(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID);
    static std::unique_ptr<CAudioSink> Make(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID,
                                            uint32_t userID) {
        return std::make_unique<CAudioSinkUDP>(channel, ip, port, receiverID, userID);
    }

    void OnAudioChannelData(const char* data, int length) override;
    unsigned long GetBufferingFrameCount() override { return 0; }  // a frame is sent at once
    CAudioSinkUDP* AsUDP() override { return this; }
};
