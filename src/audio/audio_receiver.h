// The common base of the audio receivers.
#pragma once

#include "link/stream_receiver.h"
#include "lumomedia/audio.h"

#include <cstdint>

class CAudioReceiver : public CStreamReceiver<IAudioReceiver, IAudioReceiverNotify> {
public:
    using CStreamReceiver::CStreamReceiver;

    virtual uint32_t GetAudioChannelID() { return m_ulChannelID; }
    virtual uint32_t GetAudioReceiverID() { return ReceiverID(); }
    virtual uint32_t GetAudioSinkID() { return SinkID(); }

protected:
    void NotifyData(const char* data, int length) {
        CallApplication([&] { m_pNotify->OnAudioData(data, length); });
    }
};
