// Desktops: channels of opaque frames (shared-screen images), their senders to a relay server and their receivers.
#ifndef LUMOMEDIA_DESKTOP_H
#define LUMOMEDIA_DESKTOP_H

#include <lumomedia/export.h>

class CDesktopSink;
class CDesktopReceiver;
struct CDesktopChannelState;

/// The hub of one published desktop stream. Derive from it, implement OnDesktopSinkData, make it with new, Connect() it
/// while there is a local MCU, and write frames with OnDesktopChannelData. Order of the end: release its senders and
/// receivers, ReleaseConnections(), delete. A channel that is still registered when the local MCU goes is deleted by
/// it. All addresses and ports of this header are in host byte order.
class LUMO_API CDesktopChannel {
public:
    /// ID 0 takes a random one.
    explicit CDesktopChannel(unsigned long ulDesktopChannelID);
    /// Unregisters the channel if that has not been done, and then ends only its own peers' sinks. Never inside a
    /// callback, where it may wait for ever: it cannot be refused, so a log line says it, and debug builds stop.
    virtual ~CDesktopChannel();

    /// Registers the channel, so that senders, receivers and peers find it. Nothing without a local MCU.
    virtual void Connect();
    /// Unregisters it and ends every peer's sink of every desktop channel. Inside a callback of any object it does
    /// nothing but log a line, and the channel stays as it is: note it there and release it on a thread of your own.
    /// Hold no lock that one of your callbacks takes.
    virtual void ReleaseConnections();
    /// True only for a channel that once had a subscriber and has none now.
    virtual bool IsEmpty();
    virtual void AddDesktopSink(unsigned long ulDesktopSinkID, CDesktopSink* pDesktopSink);
    virtual void RemoveDesktopSink(unsigned long ulDesktopSinkID);
    /// One frame, 2 bytes to 64 MiB, to every subscriber and to the attached receiver. Copied before it returns; never
    /// blocks on the network. Any thread, callbacks included.
    virtual void OnDesktopChannelData(const void* data, int length);
    virtual unsigned long GetDesktopChannelID();
    virtual unsigned long GetDesktopSinkCount();
    virtual bool IsDirty();
    /// Frames still waiting at the subscriber that has fewest, 8192 at most; 0 without subscribers. The attached
    /// receiver does not count, and the slowest subscriber does not show: pace by your own protocol when it matters.
    virtual unsigned long GetBufferingFrameCount();
    /// Upstream bytes of a subscriber, valid only during the call, on a thread of the library with its locks held:
    /// return quickly; write frames if you like; release nothing.
    virtual void OnDesktopSinkData(const void* data, int length) = 0;
    virtual void AttachDesktopReceiver(CDesktopReceiver* pDesktopReceiver);
    virtual void DetachDesktopReceiver(CDesktopReceiver* pDesktopReceiver);
    virtual bool HasDesktopReceiver();

private:
    friend struct CDesktopChannelState;
    CDesktopChannel(const CDesktopChannel&);
    CDesktopChannel& operator=(const CDesktopChannel&);

    CDesktopChannelState* m_pState;
};

/// Publishes a channel to a relay server.
class IDesktopSender {
public:
    /// Says goodbye, leaves the channel and destroys the sender. Inside a callback of any object it does nothing but
    /// log a line, and the sender stays as it is: note it there and release it on a thread of your own. Hold no lock
    /// that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// Poll it about once a second: it repeats connect requests and sends keep-alives. True once the server has been
    /// silent too long (30 s while connecting, 180 s after) or the connection is lost; it stays so until released.
    virtual bool IsDisconnected() = 0;

protected:
    ~IDesktopSender() {}
};

class IDesktopSenderNotify {
public:
    /// The server took the sender: its address. On the UDP or TCP thread.
    virtual void OnDesktopSenderNotifyConnected(unsigned long ulMCUIP) = 0;

protected:
    ~IDesktopSenderNotify() {}
};

/// Subscribes to a channel published elsewhere.
class IDesktopReceiver {
public:
    /// Leaves the local channel, says goodbye and destroys the receiver. Inside a callback of any object it does
    /// nothing but log a line, and the receiver stays as it is: note it there and release it on a thread of your own.
    /// Hold no lock that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// TCP kinds: poll it about once a second; it sends keep-alives (and dials, for a peer), and is true once the
    /// connection is lost. UDP kinds: always true and without effect; judge them by the arrival of frames, and make
    /// them anew when none come. The exception is a peer's receiver made after SetP2PSubscribe(true) (p2p.h): polled,
    /// it asks the peer, sends keep-alives, and is true after 2 s without an answer or 180 s of silence.
    virtual bool IsDisconnected() = 0;

protected:
    ~IDesktopReceiver() {}
};

class IDesktopReceiverNotify {
public:
    /// One frame, valid only during the call. On the UDP or TCP thread, with locks held.
    virtual void OnDesktopReceiverNotifyData(const char* data, int length) = 0;
    /// The subscription was accepted by the host with this address.
    virtual void OnDesktopReceiverNotifyConnected(unsigned long ulIP) = 0;

protected:
    ~IDesktopReceiverNotify() {}
};

/// The factories below may call back before they return: hold no lock that one of your callbacks takes.
///
/// Publishes the connected channel over UDP to a server known by up to three addresses (0: none). Null without a local
/// MCU, for an unknown channel, when all addresses are 0 or the port is 0.
LUMO_API IDesktopSender* CreateDesktopSenderUDP(IDesktopSenderNotify& notify, unsigned long ulDesktopChannelID,
                                                unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                                unsigned short usMCUPort);

/// The same over TCP to address 0. Proxy types: 0 none, 1 HTTP CONNECT, 2 SOCKS4a, 3 SOCKS5. The strings must not be
/// null; without a proxy they are empty and the port is 0.
LUMO_API IDesktopSender* CreateDesktopSenderTCP(IDesktopSenderNotify& notify, unsigned long ulDesktopChannelID,
                                                unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                                unsigned short usMCUPort, int nProxyType, const char* pszProxyHost,
                                                unsigned short usProxyPort, const char* pszProxyUser,
                                                const char* pszProxyPassword);

/// Subscribes over UDP with one request, which is not repeated, and stays subscribed as long as frames come at least
/// every 180 s. The peer MCU is the publisher's server, the local MCU a nearer one that can relay from it (all 0:
/// none); `bPeerMCUOnly` never uses the nearer one. What is written into the local channel goes upstream at once,
/// whatever is still in flight. Null without a local MCU or without a connected local channel of this ID.
LUMO_API IDesktopReceiver* CreateDesktopReceiverUDP(IDesktopReceiverNotify& notify, unsigned long ulDesktopChannelID,
                                                    unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
                                                    unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort,
                                                    unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
                                                    unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort,
                                                    bool bPeerMCUOnly);

/// The same over TCP, dialling address 0 of the chosen server. Also null when the peer MCU has no address or port 0.
LUMO_API IDesktopReceiver* CreateDesktopReceiverTCP(
    IDesktopReceiverNotify& notify, unsigned long ulDesktopChannelID, unsigned long ulPeerMCUIP0,
    unsigned long ulPeerMCUIP1, unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort, unsigned long ulLocalMCUIP0,
    unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort, int nProxyType,
    const char* pszProxyHost, unsigned short usProxyPort, const char* pszProxyUser, const char* pszProxyPassword);

/// Looks for a path to that user's host. Passive by default: it asks for nothing and hears nothing. Made after
/// SetP2PSubscribe(true) (p2p.h) it subscribes there to the channel, over UDP. Null without a local MCU or without a
/// connected local channel of this ID.
LUMO_API IDesktopReceiver* CreateDesktopReceiverP2P(IDesktopReceiverNotify& notify, unsigned long ulDesktopChannelID,
                                                    unsigned long ulUserID);

/// Subscribes over TCP, without a proxy, at the local MCU of that user's host: at the LAN address of a host behind this
/// host's own NAT, else at its public address, at its LAN port, if that is its own or mapped. Otherwise it reports
/// itself disconnected.
LUMO_API IDesktopReceiver* CreateDesktopReceiverP2PTCP(IDesktopReceiverNotify& notify, unsigned long ulDesktopChannelID,
                                                       unsigned long ulUserID);

#endif
