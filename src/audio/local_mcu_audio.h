// The audio part of the local MCU: its tables and the datagram dispatch of kind 0.
#pragma once

#include "audio/audio_channel_state.h"
#include "audio/audio_receiver.h"
#include "audio/audio_sink.h"
#include "link/mcu_tables.h"
#include "link/stream_dispatch.h"

class CAudioSender;
class CAudioSenderUDP;
class CAudioSenderTCP;

/// One per local MCU manager. Sinks are its own, and so are the channels that are still there when it is released;
/// receivers and senders enter and leave by themselves.
class CLocalMCUAudio {
public:
    using CTables = CMcuTables<CAudioChannel, CAudioSink, CAudioReceiver, CAudioSenderUDP>;
    using CDispatch = CStreamDispatch<CTables, CAudioSinkUDP>;

    CLocalMCUAudio();
    virtual ~CLocalMCUAudio();
    CLocalMCUAudio(const CLocalMCUAudio&) = delete;
    CLocalMCUAudio& operator=(const CLocalMCUAudio&) = delete;

    virtual bool Open() { return true; }
    virtual void AddAudioChannel(CAudioChannel* channel);
    /// Unregisters the channel, then ends its sinks. Hold no lock that one of their callbacks takes.
    virtual void RemoveAudioChannel(uint32_t channelID) { m_tables.RemoveChannel(channelID); }
    virtual void RemoveAllAudioChannels();
    virtual void AddAudioSink(uint32_t sinkID, CAudioSink* sink);
    virtual void RemoveAudioSink(uint32_t sinkID) { m_tables.sinks.Take(sinkID); }
    virtual void RemoveDisconnectedAudioSinks() { m_tables.EndDisconnectedSinks(); }
    virtual void RemoveAllAudioSinks() { m_tables.EndAllSinks(); }
    virtual void RemoveAudioSinks(uint32_t channelID) { m_tables.sinks.SweepChannel(channelID, CTables::EndSink); }
    virtual void AddAudioReceiver(CAudioReceiver* receiver);
    virtual void RemoveAudioReceiver(uint32_t receiverID) { m_tables.receivers.Take(receiverID); }
    virtual void ReleaseConnections();
    /// Once a second.
    virtual void OnTimer() { RemoveDisconnectedAudioSinks(); }

    /// One datagram of kind 0 without its kind byte. UDP thread.
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port);
    /// Makes the sink of a subscriber, or acknowledges again the one it has. False for an unknown channel or a full
    /// table. UDP thread.
    bool ConnectAudioSink(uint32_t receiverID, uint32_t channelID, uint32_t userID, uint32_t ip, uint16_t port);

    /// Null without a local MCU or for an unknown channel. The object is in its channel (and table) already.
    static CAudioSender* CreateAudioSenderTCP(IAudioSenderNotify& notify, uint32_t channelID);
    static CAudioSender* CreateAudioSenderUDP(IAudioSenderNotify& notify, uint32_t channelID);
    static void RemoveAudioSenderUDP(uint32_t senderKey);

    /// Takes this very channel out, if it is the one registered under its ID.
    void ForgetAudioChannel(CAudioChannel* channel);
    CTables& Tables() { return m_tables; }

private:
    CTables m_tables;
    CDispatch m_dispatch{m_tables};
};
