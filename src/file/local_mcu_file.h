// The file part of the local MCU: its tables, the datagram dispatch of kind 6, the TCP service for peers, the pump.
#pragma once

#include "file/file_channel_state.h"
#include "file/file_receiver.h"
#include "file/file_sink.h"
#include "link/mcu_tables.h"

class CFileSender;
class CFileSenderTCP;
class CFileSenderUDP;
class CFileReceiverP2P;
class CFileReceiverP2PTCP;
class CFileReceiverTCP;
class CFileReceiverUDP;
class ITcpSession;

/// One per local MCU manager. Sinks are its own; channels, receivers and senders enter and leave by themselves.
class CLocalMCUFile {
public:
    using CTables = CMcuTables<CFileChannel, CFileSink, CFileReceiver, CFileSenderUDP>;

    CLocalMCUFile();
    virtual ~CLocalMCUFile();
    CLocalMCUFile(const CLocalMCUFile&) = delete;
    CLocalMCUFile& operator=(const CLocalMCUFile&) = delete;

    virtual void AddFileChannel(CFileChannel* channel);
    /// Unregisters the channel, then ends its sinks. Waits for sinks' callbacks: hold no lock that one takes.
    virtual void RemoveFileChannel(uint32_t channelID);
    virtual void AddFileSink(uint32_t sinkID, CFileSink* sink);
    virtual void RemoveFileSink(uint32_t sinkID);
    virtual void RemoveDisconnectedFileSinks();
    virtual void RemoveAllFileSinks();
    virtual void RemoveFileSinks(uint32_t channelID);
    virtual void AddFileReceiver(CFileReceiver* receiver);
    virtual void RemoveFileReceiver(uint32_t receiverID);
    virtual void ReleaseConnections();
    /// Once a second.
    virtual void OnTimer();
    /// Each turn of the worker; true when a session sent something.
    virtual bool ProcessSend();

    /// One datagram of kind 6 without its kind byte. UDP thread.
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port);
    /// An accepted session of service type 13. TCP thread.
    bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length);

    /// Makes the sink of a subscriber, or acknowledges again the one it has. False for an unknown channel or a full
    /// table. UDP thread.
    bool ConnectFileSink(uint32_t receiverID, uint32_t channelID, uint32_t ip, uint16_t port);
    /// Makes the TCP sink of an accepted session and gives its ID, 0 when there is none. TCP thread, inside the
    /// validate callback.
    uint32_t AcceptFileSink(ITcpSession* session, uint32_t channelID);

    /// Null without a local MCU or for an unknown channel. The object is in its channel (and table) already.
    static CFileSenderUDP* CreateFileSenderUDP(IFileSenderNotify& notify, uint32_t channelID);
    static CFileSenderTCP* CreateFileSenderTCP(IFileSenderNotify& notify, uint32_t channelID);
    static CFileReceiverUDP* CreateFileReceiverUDP(IFileReceiverNotify& notify, uint32_t channelID);
    static CFileReceiverTCP* CreateFileReceiverTCP(IFileReceiverNotify& notify, uint32_t channelID);
    static CFileReceiverP2P* CreateFileReceiverP2P(IFileReceiverNotify& notify, uint32_t channelID);
    static CFileReceiverP2PTCP* CreateFileReceiverP2PTCP(IFileReceiverNotify& notify, uint32_t channelID);
    void RemoveFileSenderUDP(uint32_t senderKey);

    /// Takes this very channel out, if it is the one registered under its ID.
    void ForgetFileChannel(CFileChannel* channel);
    CTables& Tables() { return m_tables; }

private:
    friend struct CFileDispatch;

    void OnSinkConnect(const CServerDatagram& datagram);
    void OnSinkConnectAck(const CServerDatagram& datagram);
    void OnSinkKeepAlive(const CServerDatagram& datagram);
    void OnSinkKeepAliveAck(const CServerDatagram& datagram);
    void OnSinkFrame(const CServerDatagram& datagram);
    void OnSinkFrameAck(const CServerDatagram& datagram);
    void OnSinkDisconnect(const CServerDatagram& datagram);
    void OnSourceConnectAck(const CServerDatagram& datagram);
    void OnSourceFrameAck(const CServerDatagram& datagram);
    void OnSourceKeepAlive(const CServerDatagram& datagram);

    CTables m_tables;
};
