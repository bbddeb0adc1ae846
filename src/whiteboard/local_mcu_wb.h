// The whiteboard part of the local MCU: its tables, the datagram dispatch of kind 4, the TCP service for peers, the
// pump.
#pragma once

#include "link/tables/mcu_tables.h"
#include "whiteboard/wb_channel_state.h"
#include "whiteboard/wb_client_udp.h"
#include "whiteboard/wb_server_session.h"

class CWBSessionClientP2P;
class CWBSessionClientP2PTCP;
class CWBSessionClientTCP;
class CWBSessionClientUDP;
class ITcpSession;

/// One per local MCU manager. Server sessions are its own, and so are the channels that are still there when it is
/// released; clients enter and leave by themselves.
class CLocalMCUWB {
public:
    using CTables = CMcuTables<CWBChannel, CWBServerSession, CWBClientUDP, CWBClientUDP>;

    CLocalMCUWB();
    virtual ~CLocalMCUWB();
    CLocalMCUWB(const CLocalMCUWB&) = delete;
    CLocalMCUWB& operator=(const CLocalMCUWB&) = delete;

    void AddWBChannel(CWBChannel* channel);
    /// Unregisters the channel, then ends every server session of every channel. Hold no lock that one of their
    /// callbacks takes.
    void RemoveWBChannel(CWBChannel* channel);
    void AddWBClient(CWBClientUDP* client);
    void RemoveWBClient(CWBClientUDP* client);
    void AddWBServerSession(CWBServerSession* session);
    void RemoveWBServerSession(CWBServerSession* session);
    void ReleaseWBServerSessions() { m_tables.EndAllSinks(); }
    void ReleaseWBChannels();
    void RemoveEmptyWBChannels();
    virtual void ReleaseConnections();
    /// Once a second.
    void CheckWBServerSessions() { m_tables.OnSecond(); }
    /// Each turn of the worker; true when a session sent something.
    bool ProcessWBSend() {
        bool answered = false;
        for (CWBServerSession& session : m_tables.sinks.Each()) answered = session.AnswerPending() || answered;
        return m_tables.Pump() || answered;
    }

    /// One datagram of kind 4 without its kind byte. UDP thread.
    void OnUdpWBFrame(const char* body, int len, unsigned long ip, unsigned short port);
    void OnSinkNamed(const CServerDatagram& datagram);
    /// An accepted session of service type 9. TCP thread.
    bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int len);

    /// Makes the session of a client, or acknowledges again the one it has. False for an unknown channel or a full
    /// table. UDP thread.
    bool ConnectWBSession(uint32_t clientSessionID, ChannelKey key, uint32_t ip, uint16_t port);
    /// Makes the TCP session of an accepted connection and gives its ID, 0 when there is none. TCP thread, inside the
    /// validate callback.
    uint32_t AcceptWBSession(ITcpSession* session, ChannelKey key);

    /// On the channel of this key, else on the first; null without a local MCU or any channel.
    static CWBSessionClientUDP* CreateWBSessionClientUDP(IWBSessionClientNotify& notify, ChannelKey key);
    static CWBSessionClientTCP* CreateWBSessionClientTCP(IWBSessionClientNotify& notify, ChannelKey key);
    static CWBSessionClientP2P* CreateWBSessionClientP2P(IWBSessionClientNotify& notify, uint32_t channelID);
    static CWBSessionClientP2PTCP* CreateWBSessionClientP2PTCP(IWBSessionClientNotify& notify, uint32_t channelID);

    /// Takes this very channel out, if it is the one registered under its key, and ends its own sessions.
    void ForgetWBChannel(CWBChannel* channel);
    CTables& Tables() { return m_tables; }

private:
    friend struct CWBDispatch;

    void OnConnect(const CServerDatagram& datagram);
    void OnConnectAck(const CServerDatagram& datagram);
    void OnDisconnect(const CServerDatagram& datagram);
    void OnKeepAlive(const CServerDatagram& datagram);
    void OnKeepAliveAck(const CServerDatagram& datagram);
    void OnClientFrame(const CServerDatagram& datagram);
    void OnServerFrame(const CServerDatagram& datagram);

    CTables m_tables;
};
