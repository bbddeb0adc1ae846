// The receivers of audio: what they have in common, and one for each way to a channel elsewhere.
#pragma once

#include "link/process/link_registry.h"
#include "link/stream/stream_receiver.h"
#include "lumomedia/audio.h"
#include "p2p/stream_receiver_p2p.h"

#include <cstdint>

/// The common base of the audio receivers.
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

/// What the audio receivers that speak datagrams share: all but how they reach a sink.
class CAudioReceiverDatagrams : public CStreamReceiverDatagrams<CAudioReceiver>, public ILinkReport {
public:
    void ReleaseConnections() override;
    void OnReceivedFrame(uint32_t sinkID, const char* data, int length, uint32_t ip, uint16_t port) override;
    void FillStatistics(LumoLinkStatistics& statistics) override;

protected:
    using CStreamReceiverDatagrams::CStreamReceiverDatagrams;

    static constexpr const CMediumRow& kMedium = media::kAudio;
    /// Enters the local MCU's table and the statistics.
    bool Enter();

private:
    CLinkEntry m_entry;
};

/// Subscribes to an audio channel at a server over UDP.
class CAudioReceiverUDP : public CStreamReceiverUDP<CAudioReceiverDatagrams> {
public:
    using CStreamReceiverUDP::CStreamReceiverUDP;
};

/// Subscribes to an audio channel at a server over TCP.
class CAudioReceiverTCP : public CStreamReceiverTCP<CAudioReceiver> {
public:
    CAudioReceiverTCP(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID)
        : CStreamReceiverTCP(notify, channelID, userID, media::kAudio) {}
};

/// Receives an audio channel from a peer's local MCU over UDP.
class CAudioReceiverP2P : public CStreamReceiverP2P<CAudioReceiverDatagrams> {
public:
    using CStreamReceiverP2P::CStreamReceiverP2P;
};
