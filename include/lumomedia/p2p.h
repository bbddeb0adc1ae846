// Peer to peer: how two hosts find a direct path, and the channel over which they tell each other where they are.
#ifndef LUMOMEDIA_P2P_H
#define LUMOMEDIA_P2P_H

#include <lumomedia/base.h>
#include <lumomedia/export.h>

/// What one host announces about itself. Addresses and ports in host byte order.
struct P2PItem {
    unsigned long ulLocalIP;        ///< LAN address
    unsigned long ulNATIP;          ///< public address
    unsigned short usLocalUDPPort;  ///< LAN port: ILocalMcuMgr::GetLocalPort()
    unsigned short usNATUDPPort;    ///< public port
    unsigned short usNATType;       ///< carried to the peer, read by nothing in the library
    bool bUpnp;                     ///< this host's port is mapped: TCP to the public address at the LAN port gets in
};

/// The application's side. Calls come on application threads, the UDP thread and the worker, with no lock held.
class IP2PNotify {
public:
    /// Deliver `cmd` to that user over the signalling channel; there, give it to OnReceivedP2PCmd with this host's user
    /// ID as GetFromUID(). `cmd` is valid only during the call.
    virtual void OnP2PNotifySendCmd(unsigned long ulUserID, CCmdPacket& cmd) = 0;
    /// Fill in this host's addresses; what is not filled in is 0.
    virtual void OnP2PNotifyGetP2PItem(P2PItem& item) = 0;
    /// This host's user ID.
    virtual unsigned long OnP2PNotifyGetUserID() = 0;
    /// This host's public address and port as the reflector saw them, host byte order. Report them in the next
    /// OnP2PNotifyGetP2PItem. The answer does not say who gave it: one that comes late counts for the reflector asked
    /// since. Any host on the way can forge it: a wrong one costs the direct path, nothing more.
    virtual void OnP2PNotifyNATAddress(unsigned long ulNATIP, unsigned short usNATPort) = 0;

protected:
    ~IP2PNotify() {}
};

/// Finds direct paths to other users. To addresses that no single host has (0, multicast, broadcast) nothing is ever
/// sent, whoever announces them, and to loopback only when this host announces such an address itself. No operation
/// fails visibly: receivers that find no path report themselves disconnected. Any thread.
class IP2P {
public:
    /// Begins to negotiate a path with a user. Receivers do it themselves.
    virtual void StartP2PCaller(unsigned long ulUserID) = 0;
    /// Hand over every peer-to-peer packet that came over the signalling channel, its sender in GetFromUID(). Packets
    /// of other kinds change nothing.
    virtual void OnReceivedP2PCmd(CCmdPacket& cmd) = 0;
    /// Forgets all peers and destroys the object. After the local MCU is released, never before. Inside a callback it
    /// does nothing but log a line: do it on a thread of your own.
    virtual void ReleaseConnections() = 0;
    /// Asks that reflector for this host's public address, once a second until an answer comes. Host byte order.
    virtual void SetSunServer(unsigned long ulIP, unsigned short usPort) = 0;
    /// Does nothing.
    virtual void Reserved(unsigned long) = 0;

protected:
    ~IP2P() {}
};

/// Create it before the local MCU and keep it until that is gone. One per process; a second one takes the place of the
/// first. `notify` outlives it. Null when memory is short.
LUMO_API IP2P* CreateP2P(IP2PNotify& notify);

/// What is known of the way to one user. Addresses and ports in host byte order.
struct P2PPeer {
    unsigned char byState;          ///< 0 negotiating, 1 connected (a probe or its answer came from it), 2 failed
    unsigned long ulNATIP;          ///< public address, as the peer announced it
    unsigned short usNATUDPPort;    ///< public port, corrected by what came from there
    unsigned long ulLocalIP;        ///< LAN address
    unsigned short usLocalUDPPort;  ///< LAN port, of its UDP endpoint and of its TCP listener
    bool bUpnp;                     ///< its port is mapped
    unsigned long ulHeardIP;        ///< where its last probe or answer came from; 0 until one does
    unsigned short usHeardPort;
};

/// False for a user whose addresses have not come, or without a peer-to-peer manager. Any thread.
LUMO_API bool GetP2PPeer(unsigned long ulUserID, P2PPeer& peer);

/// How the audio, video and (over UDP) desktop receivers of peers made from now on subscribe; those that are there keep
/// their way. False, as at first: they only wait for the peer's acknowledgement. Between two hosts nothing comes of
/// that by itself. True: `ulUserID` names the publishing peer; the receiver asks the peer-to-peer manager for a path
/// and, once there is one, sends the peer's local MCU a connect request on each poll until it is acknowledged (audio
/// and video with OnP2PNotifyGetUserID()). Its connect time-out rests while the manager negotiates. Any thread.
LUMO_API void SetP2PSubscribe(bool bSubscribe);

/// A connection to a signalling service, which carries command packets between users.
class ISignalClient {
public:
    /// To that user; dropped when he is not there. False when the packet cannot go: the service has not taken this user
    /// (yet), the packet is over 64 KiB, or 1 MiB waits already. Any thread, callbacks too.
    virtual bool SendCmd(unsigned long ulUserID, const CCmdPacket& cmd) = 0;
    /// Poll it about once a second: an idle connection shows by a keep-alive that it is broken. True once the
    /// connection is lost or was refused; it stays so until released.
    virtual bool IsDisconnected() = 0;
    /// Ends the connection and destroys the object; no callback runs after it returns. Inside a callback of any object
    /// it does nothing but log a line, and the client stays as it is: note it there and release it on a thread of your
    /// own. Hold no lock that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// Of a lost connection: whether the service was reached and has not taken this user.
    virtual bool IsRefused() = 0;

protected:
    ~ISignalClient() {}
};

/// Calls come on the TCP thread, the first possibly before CreateSignalClient has returned.
class ISignalNotify {
public:
    /// The service took this user.
    virtual void OnSignalNotifyConnected(unsigned long ulUserID) = 0;
    /// A packet of another user, named in GetFromUID() as the service vouches. Valid only during the call.
    virtual void OnSignalNotifyCmd(CCmdPacket& cmd) = 0;

protected:
    ~ISignalNotify() {}
};

/// Registers `ulUserID` at the service of a relay server; it is refused while another connection holds that user ID.
/// `ulIP` in host byte order. Proxy types and strings as for CreateFileSenderTCP. Null without an address, a port or a
/// user ID.
LUMO_API ISignalClient* CreateSignalClient(ISignalNotify& notify, unsigned long ulUserID, unsigned long ulIP,
                                           unsigned short usPort, int nProxyType, const char* pszProxyHost,
                                           unsigned short usProxyPort, const char* pszProxyUser,
                                           const char* pszProxyPassword);

#endif
