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
    /// It gets one frame of so many. Any thread.
    void SetEvery(uint32_t frames) { m_nEvery.store(frames, std::memory_order_relaxed); }

protected:
    void OnStarted() override;

private:
    /// One that has not shown itself hears a second of it.
    bool MayHear() const;

    bool IsItsTurn();

    std::atomic<uint32_t> m_nEvery{1};
    uint32_t m_nFrame;  // under the channel's sink lock
    std::atomic<uint32_t> m_ulFirstStart{0};
    std::atomic<bool> m_bHasStarted{false};
};
