// Files: channels of opaque frames, their senders to a relay server and their receivers.
#ifndef LUMOMEDIA_FILE_H
#define LUMOMEDIA_FILE_H

#include <lumomedia/export.h>

class CFileSink;
class CFileReceiver;
struct CFileChannelState;

/// The hub of one published file stream. Derive from it, implement OnFileSinkData, Connect() it, and write frames with
/// OnFileChannelData. Order of the end: release its senders and receivers, ReleaseConnections(), delete.
/// A channel that is still registered when the local MCU goes survives it. All addresses and ports of this header are
/// in host byte order.
class LUMO_API CFileChannel {
public:
    /// ID 0 takes a random one.
    explicit CFileChannel(unsigned long ulFileChannelID);
    /// Unregisters the channel if that has not been done. Never inside a callback, where it may wait for ever: it
    /// cannot be refused, so a log line says it, and debug builds stop.
    virtual ~CFileChannel();

    /// Registers the channel, so that senders, receivers and peers find it. Always true.
    virtual bool Connect();
    /// Unregisters it and ends every peer's sink of it. Inside a callback of any object it does nothing but log a line,
    /// and the channel stays as it is: note it there and release it on a thread of your own. Hold no lock that one of
    /// your callbacks takes.
    virtual void ReleaseConnections();
    /// True only for a channel that once had a subscriber and has none now.
    virtual bool IsEmpty();
    virtual void AddFileSink(unsigned long ulFileSinkID, CFileSink* pFileSink);
    virtual void RemoveFileSink(unsigned long ulFileSinkID);
    /// One frame, 2 bytes to 64 MiB, to every subscriber and to the attached receiver. Copied before it returns; never
    /// blocks on the network. Any thread, callbacks included.
    virtual void OnFileChannelData(const void* data, int length);
    virtual unsigned long GetFileChannelID();
    virtual unsigned long GetFileSinkCount();
    virtual bool IsDirty();
    /// Frames still waiting at the subscriber that has fewest, 8192 at most; 0 without subscribers. It follows the
    /// fastest one: pace by your own protocol when the slowest matters.
    virtual unsigned long GetBufferingFrameCount();
    /// Upstream bytes of a subscriber, valid only during the call, on a thread of the library with its locks held:
    /// return quickly; write frames if you like; release nothing.
    virtual void OnFileSinkData(const void* data, int length) = 0;
    virtual void AttachFileReceiver(CFileReceiver* pFileReceiver);
    virtual void DetachFileReceiver(CFileReceiver* pFileReceiver);
    virtual bool HasFileReceiver();

private:
    friend struct CFileChannelState;
    CFileChannel(const CFileChannel&);
    CFileChannel& operator=(const CFileChannel&);

    CFileChannelState* m_pState;
};

/// Publishes a channel to a relay server.
class IFileSender {
public:
    /// Says goodbye, leaves the channel and destroys the sender. Inside a callback of any object it does nothing but
    /// log a line, and the sender stays as it is: note it there and release it on a thread of your own. Hold no lock
    /// that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// Poll it about once a second: it repeats connect requests and sends keep-alives. True once the server has been
    /// silent too long (2 s while connecting, 180 s after) or the connection is lost; it stays so until released.
    virtual bool IsDisconnected() = 0;

protected:
    ~IFileSender() {}
};

class IFileSenderNotify {
public:
    /// The server took the sender: its address, and always true. On the UDP or TCP thread.
    virtual void OnFileSenderNotifyConnected(unsigned long ulMCUIP, bool bConnected) = 0;

protected:
    ~IFileSenderNotify() {}
};

/// Subscribes to a channel published elsewhere.
class IFileReceiver {
public:
    /// Says goodbye, leaves the local channel and destroys the receiver. Inside a callback of any object it does
    /// nothing but log a line, and the receiver stays as it is: note it there and release it on a thread of your own.
    /// Hold no lock that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// Poll it about once a second: it repeats connect requests and sends keep-alives. True once nothing has come for
    /// too long (4 s or 30 s while connecting, 180 s after) or the connection is lost.
    virtual bool IsDisconnected() = 0;

protected:
    ~IFileReceiver() {}
};

class IFileReceiverNotify {
public:
    /// One frame of at least 2 bytes, valid only during the call. On the UDP or TCP thread, with locks held.
    virtual void OnFileReceiverNotifyData(const char* data, int length) = 0;
    /// The subscription was accepted by the host with this address.
    virtual void OnFileReceiverNotifyConnected(unsigned long ulIP) = 0;

protected:
    ~IFileReceiverNotify() {}
};

/// The factories below may call back before they return: hold no lock that one of your callbacks takes.
///
/// Publishes the connected channel over UDP to a server known by up to three addresses (0: none). Null without a local
/// MCU, for an unknown channel, when all addresses are 0 or the port is 0.
LUMO_API IFileSender* CreateFileSenderUDP(IFileSenderNotify& notify, unsigned long ulFileChannelID,
                                          unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                          unsigned short usMCUPort);

/// The same over TCP to address 0. Proxy types: 0 none, 1 HTTP CONNECT, 2 SOCKS4a, 3 SOCKS5. The strings must not be
/// null; without a proxy they are empty and the port is 0.
LUMO_API IFileSender* CreateFileSenderTCP(IFileSenderNotify& notify, unsigned long ulFileChannelID,
                                          unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                          unsigned short usMCUPort, int nProxyType, const char* pszProxyHost,
                                          unsigned short usProxyPort, const char* pszProxyUser,
                                          const char* pszProxyPassword);

/// Subscribes over UDP. The peer MCU is the publisher's server, the local MCU a nearer one that can relay from it (all
/// 0: none). `bPeerMCUOnly` never uses the nearer one and shortens the connect time-out to 4 s. Null without a local
/// MCU or without a connected local channel of this ID.
LUMO_API IFileReceiver* CreateFileReceiverUDP(IFileReceiverNotify& notify, unsigned long ulFileChannelID,
                                              unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
                                              unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort,
                                              unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
                                              unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort,
                                              bool bPeerMCUOnly);

/// The same over TCP, dialling address 0 of the chosen server. Also null when the peer MCU has no address or port 0.
LUMO_API IFileReceiver* CreateFileReceiverTCP(IFileReceiverNotify& notify, unsigned long ulFileChannelID,
                                              unsigned long ulPeerMCUIP0, unsigned long ulPeerMCUIP1,
                                              unsigned long ulPeerMCUIP2, unsigned short usPeerMCUPort,
                                              unsigned long ulLocalMCUIP0, unsigned long ulLocalMCUIP1,
                                              unsigned long ulLocalMCUIP2, unsigned short usLocalMCUPort,
                                              int nProxyType, const char* pszProxyHost, unsigned short usProxyPort,
                                              const char* pszProxyUser, const char* pszProxyPassword);

/// Subscribes over UDP to a channel at the local MCU of that user's host, along the path that the peer-to-peer manager
/// finds; waits without a time-out while it negotiates. Null without a local MCU or without a connected local channel
/// of this ID.
LUMO_API IFileReceiver* CreateFileReceiverP2P(IFileReceiverNotify& notify, unsigned long ulFileChannelID,
                                              unsigned long ulUserID);

/// The same over TCP, without a proxy: to the LAN address of a host behind this host's own NAT, else to its public
/// address, at its LAN port, if that is its own or mapped. Otherwise it reports itself disconnected.
LUMO_API IFileReceiver* CreateFileReceiverP2PTCP(IFileReceiverNotify& notify, unsigned long ulFileChannelID,
                                                 unsigned long ulUserID);

#endif
