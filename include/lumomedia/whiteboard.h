// Whiteboards: channels that keep drawn objects and relay messages between sessions, and the clients that join a
// channel of this host to one elsewhere.
#ifndef LUMOMEDIA_WHITEBOARD_H
#define LUMOMEDIA_WHITEBOARD_H

#include <lumomedia/export.h>

class CObjectID;
class CWBCentre;
class CWBSession;
struct CWBChannelState;

/// What a whiteboard message begins with: three 32-bit words, little-endian, whatever the machine: command, object ID,
/// tag. The payload follows; with it a message has WB_MAX_MESSAGE bytes at most. Anything shorter than the three words
/// is ignored. How to draw:
///
///   draw     send WB_CMD_OBJECT_DATA with an ID of your own (random ones do not collide) and the record as payload.
///            The first record of an ID stays; to change one, delete it and draw another. The tag is yours: it is kept
///            and given back with the object.
///   delete   send WB_CMD_OBJECT_DELETE with the IDs as payload, 4 bytes each; the header's ID says nothing.
///   move     send WB_CMD_OBJECT_MOVE with dx, dy (signed) and the IDs as payload; sums wrap at 32 bits. A record that
///            is to move begins with its type (u32): 1 to 7 have four signed values left, top, right, bottom at offset
///            20, and 1 and 2 also a count at offset 36 and that many points (x, y) from 40; type 8 has its rectangle
///            at 16, type 9 at 12. Others stay where they are.
///   clear    send WB_CMD_CLEAR.
///   read     you are sent WB_CMD_OBJECT_LIST when you join (if there is anything) and WB_CMD_OBJECT_OFFER whenever
///            somebody drew; answer both with a WB_CMD_OBJECT_REQUEST for each ID that you lack, and the object comes
///            as WB_CMD_OBJECT_DATA. Deletes, moves and clears of others come as they were sent: apply them to what
///            you have. What you sent yourself never comes back.
///   answer   a channel elsewhere may ask you the same way, over the channel of this host, which answers for you.
///
/// Codes that are not named here are the application's own and go unchanged to all other sessions. So does
/// WB_CMD_POINTER, except that a link on which other messages wait carries only the newest of a sender's pointers with
/// one object ID, once nothing else waits: it goes for what is worthless once it is old.
enum WBCommand {
    WB_CMD_OBJECT_OFFER = 1,
    WB_CMD_OBJECT_REQUEST = 2,
    WB_CMD_OBJECT_DATA = 3,
    WB_CMD_OBJECT_DELETE = 4,
    WB_CMD_CLEAR = 5,
    WB_CMD_OBJECT_MOVE = 7,
    /// The payload becomes the only object. The others get the bare payload, which is no message: use CLEAR and DATA.
    WB_CMD_REPLACE_ALL = 15,
    WB_CMD_OBJECT_LIST = 18,
    /// The first byte of the payload, zero or not, is kept for those who join later and hear of it when it is not 0.
    WB_CMD_STATE = 19,
    WB_CMD_EXT_OFFER = 20,  ///< 20 to 22: as 1 to 3, over the same objects
    WB_CMD_EXT_REQUEST = 21,
    WB_CMD_EXT_DATA = 22,
    /// Where somebody points. The object ID says who; the payload is x and y (signed), or nothing when it has gone.
    /// With a payload of another length it is a message like any other.
    WB_CMD_POINTER = 0x4c51,
    /// The relay server that a board belongs to, its home, also answers this one: with WB_CMD_HOME_ANSWER and the same
    /// object ID and tag, once it has dealt with all that the session said before. Servers in between pass both on.
    WB_CMD_HOME_ASK = 0x4c53,
    WB_CMD_HOME_ANSWER = 0x4c54
};

/// The longest message, its three words included: what every channel, client, peer and relay server takes, whatever the
/// transport. A longer one is refused where it is made: it changes nothing and goes nowhere, and a log line says so.
enum { WB_MAX_MESSAGE = 64 * 1024 * 1024 };

/// Keeps the objects and relays. At most 100,000 objects and 256 MiB of records; what comes past that is dropped.
class LUMO_API CWBDataTransCenter {
public:
    CWBDataTransCenter();
    virtual ~CWBDataTransCenter();

    /// One message from a session. Any thread.
    virtual void ProcessWBData(unsigned long ulSessionID, const char* data, int len);
    /// Takes one message to one session. Called with locks of the centre held: must neither wait nor call it.
    virtual void SendWBData(unsigned long ulSessionID, const char* data, int len) = 0;

protected:
    /// The session hears from now on, beginning with the list of the stored objects and the state.
    void SessionJoined(unsigned long ulSessionID);
    void SessionLeft(unsigned long ulSessionID);

private:
    CWBDataTransCenter(const CWBDataTransCenter&);
    CWBDataTransCenter& operator=(const CWBDataTransCenter&);

    CWBCentre* m_pCentre;
};

/// The meeting point of all sessions of one whiteboard at this host. Make it with new, Connect() it, and join it with a
/// session of your own. Order of the end: your sessions leave, release its clients, ReleaseConnections(), delete. A
/// channel that is still registered when the local MCU goes is deleted by it.
class LUMO_API CWBChannel : public CWBDataTransCenter {
public:
    /// ID 0 takes a random one.
    explicit CWBChannel(unsigned long ulWBChannelID);
    /// Unregisters the channel if that has not been done, and ends the sessions of peers on it. Never inside a
    /// callback, where it may wait for ever: it cannot be refused, so a log line says it, and debug builds stop.
    ~CWBChannel() override;

    void SendWBData(unsigned long ulSessionID, const char* data, int len) override;
    /// Registers the channel, so that clients and peers find it; one of the same ID gives way. Always true.
    virtual bool Connect();
    /// Unregisters it and ends the sessions of peers on every whiteboard channel of this host. Inside a callback of any
    /// object it does nothing but log a line, and the channel stays as it is: note it there and release it on a thread
    /// of your own. Hold no lock that one of your callbacks takes.
    virtual void ReleaseConnections();
    virtual unsigned long GetWBSessionCount();
    /// Whether it ever had a session.
    virtual bool IsDirty();
    /// True only for a channel that once had a session and has none now.
    virtual bool IsEmpty();
    /// One message from a session. Any thread.
    virtual void OnWBChannelData(unsigned long ulSessionID, const char* data, int len);
    virtual void AddWBSession(CWBSession* pWBSession);
    virtual void RemoveWBSession(CWBSession* pWBSession);
    unsigned long GetWBChannelID();

private:
    friend struct CWBChannelState;

    CWBChannelState* m_pState;
};

/// One participant of a channel. The application joins by deriving one: SendWBSessionData is what it hears,
/// OnWBSessionData how it speaks. JoinWBChannel() once it is wholly made; LeaveWBChannel() before it is deleted, and
/// before its channel is.
class LUMO_API CWBSession {
public:
    /// The channel outlives the session.
    explicit CWBSession(CWBChannel* pWBChannel);
    virtual ~CWBSession();

    /// False when the session cannot begin. What is kept on the board is announced before it returns.
    virtual bool JoinWBChannel();
    /// Nothing is sent to the session after it returns. Not from SendWBSessionData.
    virtual void LeaveWBChannel();
    virtual unsigned long GetWBChannelID();
    /// Random, unique among the live sessions of the process, never 0.
    virtual unsigned long GetWBSessionID();
    /// One message from this session into the channel; copied before it returns. Any thread, but never from inside
    /// SendWBSessionData.
    virtual void OnWBSessionData(const char* data, int len);
    /// One message for this session, valid only during the call. On any thread of the library or of another session,
    /// with locks of the channel held: copy it into a queue of yours, return, and answer from a thread of your own.
    virtual void SendWBSessionData(const char* data, int len) = 0;
    /// Asked of peers' sessions once a second; the application's own may answer false.
    virtual bool IsDisconnected() = 0;

private:
    CWBSession(const CWBSession&);
    CWBSession& operator=(const CWBSession&);

    CWBChannel* m_pWBChannel;
    CObjectID* m_pWBSessionID;
};

/// Joins a channel of this host to the channel of the same ID at a relay server or a peer: what is drawn on one side
/// appears on the other. Its messages travel through the channel.
class IWBSessionClient {
public:
    /// Leaves the channel, says goodbye and destroys the client. Inside a callback of any object it does nothing but
    /// log a line, and the client stays as it is: note it there and release it on a thread of your own. Hold no lock
    /// that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// Poll it about once a second: it repeats connect requests and sends keep-alives. True once nothing has come for
    /// too long (4 s or 30 s while connecting, 180 s after) or the connection is lost. To go on, release it and make
    /// another: both sides then tell each other what they have, so that what was deleted meanwhile on one side only
    /// comes back; begin with an empty channel where that matters.
    virtual bool IsDisconnected() = 0;

protected:
    ~IWBSessionClient() {}
};

class IWBSessionClientNotify {
public:
    /// The host with this address (host byte order) took the client. Once a client, on the UDP or TCP thread, with
    /// locks held.
    virtual void OnWBSessionClientNotifyConnected(unsigned long ulIP) = 0;

protected:
    ~IWBSessionClientNotify() {}
};

/// The factories below may call back before they return: hold no lock that one of your callbacks takes. All take the
/// connected channel of the given ID, or the one with the lowest ID when there is none of it, and give null without a
/// local MCU or any connected channel. Addresses and ports are in host byte order; 0 is none.
///
/// Over UDP. The peer MCU is the server that hosts the channel, the local MCU a nearer one that can join it from there.
/// `bPeerMCUOnly` never uses the nearer one and shortens the connect time-out to 4 s.
LUMO_API IWBSessionClient* CreateWBSessionClientUDP(IWBSessionClientNotify& notify, unsigned long ulWBChannelID,
                                                    unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
                                                    unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort,
                                                    unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
                                                    unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort,
                                                    bool bPeerMCUOnly);

/// The same over TCP, dialling address 0 of the chosen server; null also when the peer MCU has no address or port 0.
/// Proxy types: 0 none, 1 HTTP CONNECT, 2 SOCKS4a, 3 SOCKS5. The strings must not be null; without a proxy they are
/// empty and the port is 0.
LUMO_API IWBSessionClient* CreateWBSessionClientTCP(
    IWBSessionClientNotify& notify, unsigned long ulWBChannelID, unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
    unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort, unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
    unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort, int nProxyType, const char* pszProxyHost,
    unsigned short usProxyPort, const char* pszProxyUser, const char* pszProxyPassword);

/// Over UDP to the local MCU of that user's host, along the path that the peer-to-peer manager finds; waits without a
/// time-out while it negotiates.
LUMO_API IWBSessionClient* CreateWBSessionClientP2P(IWBSessionClientNotify& notify, unsigned long ulWBChannelID,
                                                    unsigned long ulUserID);

/// The same over TCP, without a proxy: to the LAN address of a host behind this host's own NAT, else to its public
/// address, at its LAN port, if that is its own or mapped. Otherwise it reports itself disconnected.
LUMO_API IWBSessionClient* CreateWBSessionClientP2PTCP(IWBSessionClientNotify& notify, unsigned long ulWBChannelID,
                                                       unsigned long ulUserID);

#endif
