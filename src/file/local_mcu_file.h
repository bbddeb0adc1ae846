// The file part of the local MCU: datagrams of kind 6, accepted sessions of service type 13, the pump.
#pragma once

#include "file/file_channel_state.h"
#include "link/share/share_mcu.h"

class CFileReceiver;
class CFileSink;
class CFileSenderTCP;
class CFileSenderUDP;
class CFileReceiverP2P;
class CFileReceiverP2PTCP;
class CFileReceiverTCP;
class CFileReceiverUDP;

/// One per local MCU manager. Sinks are its own; channels, receivers and senders enter and leave by themselves.
class CLocalMCUFile : public CShareMcu {
public:
    CLocalMCUFile();
    virtual ~CLocalMCUFile();

    virtual void AddFileChannel(CFileChannel* channel) { PutChannel(CFileChannelState::Of(*channel)); }
    /// Unregisters the channel, then ends its sinks. Waits for sinks' callbacks: hold no lock that one takes.
    virtual void RemoveFileChannel(ChannelKey key) { Tables().RemoveChannel(key); }
    virtual void AddFileSink(uint32_t sinkID, CFileSink* sink);
    virtual void RemoveFileSink(uint32_t sinkID) { Tables().sinks.Take(sinkID); }
    virtual void RemoveDisconnectedFileSinks() { Tables().EndDisconnectedSinks(); }
    virtual void RemoveAllFileSinks() { Tables().EndAllSinks(); }
    virtual void RemoveFileSinks(uint32_t channelID) { Tables().sinks.SweepChannel(channelID, CTables::EndSink); }
    virtual void AddFileReceiver(CFileReceiver* receiver);
    virtual void RemoveFileReceiver(uint32_t receiverID);
    virtual void ReleaseConnections() { RemoveAllFileSinks(); }
    /// Once a second.
    virtual void OnTimer() { Tables().OnSecond(); }
    /// Each turn of the worker; true when a session sent something.
    virtual bool ProcessSend() { return Tables().Pump(); }

    /// One datagram of kind 6 without its kind byte. UDP thread.
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port);

    /// Null without a local MCU or for an unknown channel. The object is in its channel (and table) already.
    static CFileSenderUDP* CreateFileSenderUDP(IFileSenderNotify& notify, uint32_t channelID);
    static CFileSenderTCP* CreateFileSenderTCP(IFileSenderNotify& notify, uint32_t channelID);
    static CFileReceiverUDP* CreateFileReceiverUDP(IFileReceiverNotify& notify, ChannelKey key);
    static CFileReceiverTCP* CreateFileReceiverTCP(IFileReceiverNotify& notify, ChannelKey key);
    static CFileReceiverP2P* CreateFileReceiverP2P(IFileReceiverNotify& notify, uint32_t channelID);
    static CFileReceiverP2PTCP* CreateFileReceiverP2PTCP(IFileReceiverNotify& notify, uint32_t channelID);
    void RemoveFileSenderUDP(uint32_t senderKey) { Tables().senders.Take(senderKey); }
};
