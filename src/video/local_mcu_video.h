// The video part of the local MCU: its tables and the datagram dispatch of kind 1.
#pragma once

#include "link/stream/stream_mcu.h"
#include "video/video_channel_state.h"
#include "video/video_receiver.h"
#include "video/video_sink.h"

class CVideoSender;
class CVideoSenderUDP;

/// One per local MCU manager.
class CLocalMCUVideo : public CStreamMcu<CVideoChannelState, CVideoSinkUDP, CVideoSenderUDP> {
public:
    CLocalMCUVideo();
    virtual ~CLocalMCUVideo();

    virtual void AddVideoChannel(CVideoChannel* channel) { PutChannel(*channel); }
    /// Unregisters the channel, then ends its sinks. Hold no lock that one of their callbacks takes.
    virtual void RemoveVideoChannel(ChannelKey key) { Tables().RemoveChannel(key); }
    virtual void RemoveAllVideoChannels() { ReleaseChannels(); }
    virtual void AddVideoSink(uint32_t sinkID, CVideoSink* sink);
    virtual void RemoveVideoSink(uint32_t sinkID) { Tables().sinks.Take(sinkID); }
    virtual void RemoveDisconnectedVideoSinks() { Tables().EndDisconnectedSinks(); }
    virtual void RemoveAllVideoSinks() { Tables().EndAllSinks(); }
    virtual void RemoveVideoSinks(uint32_t channelID) { EndSinksOf(channelID); }
    virtual void AddVideoReceiver(CVideoReceiver* receiver) { PutReceiver(*receiver); }
    virtual void RemoveVideoReceiver(uint32_t receiverID) { Tables().receivers.Take(receiverID); }
    /// Once a second.
    virtual void OnTimer() { Tables().OnSecond(); }
    virtual void ReleaseConnections();

    /// Lets every sink and sender send; true when one did. Worker thread.
    bool ProcessSend();

    /// One datagram of kind 1 without its kind byte. UDP thread.
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port);

    /// Null without a local MCU or for an unknown channel. The object is in its channel (and table) already.
    static CVideoSender* CreateVideoSenderTCP(IVideoSenderNotify& notify, uint32_t channelID);
    static CVideoSender* CreateVideoSenderUDP(IVideoSenderNotify& notify, uint32_t channelID);
    static void RemoveVideoSenderUDP(uint32_t senderKey);
};
