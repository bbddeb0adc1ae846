// The video part of the local MCU: its tables and the datagram dispatch of kind 1.
#pragma once

#include "link/mcu_tables.h"
#include "link/stream_dispatch.h"
#include "video/video_channel_state.h"
#include "video/video_receiver.h"
#include "video/video_sink.h"

class CVideoSender;
class CVideoSenderUDP;
class CVideoSenderTCP;

/// One per local MCU manager. Sinks are its own, and so are the channels that are still there when it is released;
/// receivers and senders enter and leave by themselves.
class CLocalMCUVideo {
public:
    using CTables = CMcuTables<CVideoChannel, CVideoSink, CVideoReceiver, CVideoSenderUDP>;
    using CDispatch = CStreamDispatch<CTables, CVideoSinkUDP>;

    CLocalMCUVideo();
    virtual ~CLocalMCUVideo();
    CLocalMCUVideo(const CLocalMCUVideo&) = delete;
    CLocalMCUVideo& operator=(const CLocalMCUVideo&) = delete;

    virtual void AddVideoChannel(CVideoChannel* channel);
    /// Unregisters the channel, then ends its sinks. Hold no lock that one of their callbacks takes.
    virtual void RemoveVideoChannel(uint32_t channelID) { m_tables.RemoveChannel(channelID); }
    virtual void RemoveAllVideoChannels();
    virtual void AddVideoSink(uint32_t sinkID, CVideoSink* sink);
    virtual void RemoveVideoSink(uint32_t sinkID) { m_tables.sinks.Take(sinkID); }
    virtual void RemoveDisconnectedVideoSinks() { m_tables.EndDisconnectedSinks(); }
    virtual void RemoveAllVideoSinks() { m_tables.EndAllSinks(); }
    virtual void RemoveVideoSinks(uint32_t channelID) { m_tables.sinks.SweepChannel(channelID, CTables::EndSink); }
    virtual void AddVideoReceiver(CVideoReceiver* receiver);
    virtual void RemoveVideoReceiver(uint32_t receiverID) { m_tables.receivers.Take(receiverID); }
    /// Once a second.
    virtual void OnTimer() { m_tables.OnSecond(); }
    virtual void ReleaseConnections();

    /// Lets every sink and sender send; true when one did. Worker thread.
    bool ProcessSend();

    /// One datagram of kind 1 without its kind byte. UDP thread.
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port);
    /// Makes the sink of a subscriber, or acknowledges again the one it has. False for an unknown channel or a full
    /// table. UDP thread.
    bool ConnectVideoSink(uint32_t receiverID, uint32_t channelID, uint32_t userID, uint32_t ip, uint16_t port);

    /// Null without a local MCU or for an unknown channel. The object is in its channel (and table) already.
    static CVideoSender* CreateVideoSenderTCP(IVideoSenderNotify& notify, uint32_t channelID);
    static CVideoSender* CreateVideoSenderUDP(IVideoSenderNotify& notify, uint32_t channelID);
    static void RemoveVideoSenderUDP(uint32_t senderKey);

    /// Takes this very channel out, if it is the one registered under its ID.
    void ForgetVideoChannel(CVideoChannel* channel);
    CTables& Tables() { return m_tables; }

private:
    CTables m_tables;
    CDispatch m_dispatch{m_tables};
};
