// The audio part of the local MCU: its tables and the datagram dispatch of kind 0.
#pragma once

#include "audio/audio_channel_state.h"
#include "audio/audio_receiver.h"
#include "audio/audio_sink.h"
#include "audio/audio_thinning.h"
#include "link/stream/stream_mcu.h"

class CAudioSender;
class CAudioSenderUDP;

/// One per local MCU manager.
class CLocalMCUAudio : public CStreamMcu<CAudioChannelState, CAudioSinkUDP, CAudioSenderUDP> {
public:
    CLocalMCUAudio();
    virtual ~CLocalMCUAudio();

    virtual bool Open() { return true; }
    virtual void AddAudioChannel(CAudioChannel* channel) { PutChannel(*channel); }
    /// Unregisters the channel, then ends its sinks. Hold no lock that one of their callbacks takes.
    virtual void RemoveAudioChannel(ChannelKey key) { Tables().RemoveChannel(key); }
    virtual void RemoveAllAudioChannels() { ReleaseChannels(); }
    virtual void AddAudioSink(uint32_t sinkID, CAudioSink* sink);
    virtual void RemoveAudioSink(uint32_t sinkID) { Tables().sinks.Take(sinkID); }
    virtual void RemoveDisconnectedAudioSinks() { Tables().EndDisconnectedSinks(); }
    virtual void RemoveAllAudioSinks() { Tables().EndAllSinks(); }
    virtual void RemoveAudioSinks(uint32_t channelID) { EndSinksOf(channelID); }
    virtual void AddAudioReceiver(CAudioReceiver* receiver) { PutReceiver(*receiver); }
    virtual void RemoveAudioReceiver(uint32_t receiverID) { Tables().receivers.Take(receiverID); }
    virtual void ReleaseConnections();
    /// Once a second.
    virtual void OnTimer();

    CAudioThinning& Thinning() { return m_thinning; }

    /// One datagram of kind 0 without its kind byte. UDP thread.
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port);

    /// Null without a local MCU or for an unknown channel. The object is in its channel (and table) already.
    static CAudioSender* CreateAudioSenderTCP(IAudioSenderNotify& notify, uint32_t channelID);
    static CAudioSender* CreateAudioSenderUDP(IAudioSenderNotify& notify, uint32_t channelID);
    static void RemoveAudioSenderUDP(uint32_t senderKey);

private:
    CAudioThinning m_thinning;
};
