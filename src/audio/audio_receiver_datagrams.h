// What the audio receivers that speak datagrams share: all but how they reach a sink.
#pragma once

#include "audio/audio_receiver.h"
#include "link/link_registry.h"

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
