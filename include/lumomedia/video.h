// Video: channels of opaque frames that arrive whole and in order, their senders to a relay server and their receivers.
#ifndef LUMOMEDIA_VIDEO_H
#define LUMOMEDIA_VIDEO_H

#include <lumomedia/export.h>

class CVideoSink;
struct CVideoChannelState;

/// The hub of one published video stream. Make it with new while there is a local MCU, and write frames with
/// OnVideoChannelData. A frame begins with three bytes that the library reads or writes: byte 0 is 0 for a picture that
/// needs its predecessors and anything else for a key frame, which stands alone; bytes 1 and 2 are a big-endian number
/// that a TCP sender counts up (leave them 0); the rest is yours. Over UDP frames wait their turn, each is delivered
/// whole, once and in order, and a key frame that finds more than 10 waiting takes their place.
/// Order of the end: release its senders, ReleaseConnections(), delete. A channel that is still registered when the
/// local MCU goes is deleted by it. All addresses and ports of this header are in host byte order.
class LUMO_API CVideoChannel {
public:
    /// Registers the channel, so that senders and peers find it; one of the same ID gives way. ID 0 takes a random one.
    explicit CVideoChannel(unsigned long ulVideoChannelID);
    /// Unregisters the channel if that has not been done. Never inside a callback, where it may wait for ever: it
    /// cannot be refused, so a log line says it, and debug builds stop.
    virtual ~CVideoChannel();

    /// Unregisters it and ends every peer's sink of it. Inside a callback of any object it does nothing but log a line,
    /// and the channel stays as it is: note it there and release it on a thread of your own. Hold no lock that one of
    /// your callbacks takes.
    virtual void ReleaseConnections();
    /// True only for a channel that once had a subscriber and has none now.
    virtual bool IsEmpty();

    void AddVideoSink(unsigned long ulVideoSinkID, CVideoSink* pVideoSink);
    void RemoveVideoSink(unsigned long ulVideoSinkID);
    /// Whether anybody wants to see it at the moment.
    bool HasStartedVideoSink();
    /// Whether a peer that subscribes to this channel directly needs a key frame: poll it with every picture. It
    /// answers for one of them and forgets that one. What relay servers want comes through IVideoSenderNotify.
    bool HasKeyFrameRequest();
    /// One frame, 4 bytes to 64 MiB, to everybody who watches; others are dropped. Bytes 1 and 2 of `data` are written.
    /// Never blocks on the network. Any thread, callbacks included; one thread at a time, or frames may change places.
    void OnVideoChannelData(char* data, int length);
    unsigned long GetVideoChannelID();
    unsigned long GetVideoSinkCount();
    bool IsDirty();
    /// Frames still waiting at the watcher that has fewest, 8192 at most; 0 without watchers.
    unsigned long GetBufferingFrameCount();

private:
    friend struct CVideoChannelState;
    explicit CVideoChannel(CVideoChannelState& state);
    CVideoChannel(const CVideoChannel&);
    CVideoChannel& operator=(const CVideoChannel&);

    CVideoChannelState* m_pState;
};

/// Publishes a channel to a relay server. The server says when it wants to see it: nothing is sent while nobody watches
/// there.
class IVideoSender {
public:
    /// Says goodbye, leaves the channel and destroys the sender. Inside a callback of any object it does nothing but
    /// log a line, and the sender stays as it is: note it there and release it on a thread of your own. Hold no lock
    /// that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// False silences the sender without a word to the server; true goes on. True at first.
    virtual void SetEnable(bool bEnable) = 0;
    virtual bool IsEnable() = 0;
    /// Poll it about once a second: it repeats connect requests and sends keep-alives. True once the server has been
    /// silent too long (30 s while connecting, 180 s after), the connection is lost, or more than 256 MiB wait.
    virtual bool IsDisconnected() = 0;
    /// What the server said with its last start, over UDP: how many watch there. 0 over TCP.
    virtual unsigned long GetStartParam() = 0;

protected:
    ~IVideoSender() {}
};

class IVideoSenderNotify {
public:
    /// The server took the sender. Once a connection, on the UDP or TCP thread, with locks held.
    virtual void OnConnected(unsigned long ulIP) = 0;
    /// Somebody who watches through the server needs a key frame: give the channel one soon. On the same threads.
    virtual void OnKeyFrameRequest() = 0;

protected:
    ~IVideoSenderNotify() {}
};

/// Subscribes to a channel published elsewhere.
class IVideoReceiver {
public:
    /// Says goodbye and destroys the receiver. Inside a callback of any object it does nothing but log a line, and the
    /// receiver stays as it is: note it there and release it on a thread of your own. Hold no lock that one of your
    /// callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// Whether to see the stream; told to the far side at once. Frames in flight may still arrive. True at first.
    virtual void SetEnable(bool bEnable) = 0;
    virtual bool IsEnable() = 0;
    /// Poll it about once a second: it repeats connect requests and the wish to see or not. True once nothing has come
    /// for too long (30 s while connecting to a server, 4 s to a peer, 180 s after) or the connection is lost.
    virtual bool IsDisconnected() = 0;
    /// Asks the far side for a key frame. Over UDP a question that got lost is repeated only with the next one: ask
    /// about once a second until a key frame comes. Any thread.
    virtual void RequestKeyFrame() = 0;
    /// Over UDP, how many packets the far side may have in flight: a quarter more (true) or half (false), 16 to 160,
    /// 160 at first. Only its low five bits travel, so that 160 counts as 16. Does nothing over TCP. Any thread.
    virtual void AdjustWindowSize(bool bIncrease) = 0;

protected:
    ~IVideoReceiver() {}
};

class IVideoReceiverNotify {
public:
    /// One whole frame as it was written, the three bytes at its beginning included. Valid only during the call, on the
    /// UDP or TCP thread, with locks held. Over TCP it may be as short as 2 bytes, over UDP 1.
    virtual void OnVideoData(const char* data, int length) = 0;
    /// The host with this address took the receiver. Once a connection.
    virtual void OnConnected(unsigned long ulIP) = 0;

protected:
    ~IVideoReceiverNotify() {}
};

/// The factories below may call back before they return: hold no lock that one of your callbacks takes.
///
/// Publishes the channel over UDP to a server known by up to three addresses (0: none). Null without a local MCU, for
/// an unknown channel, when all addresses are 0 or the port is 0, or without memory for its session.
LUMO_API IVideoSender* CreateVideoSenderUDP(IVideoSenderNotify& notify, unsigned long ulVideoChannelID,
                                            unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                            unsigned short usMCUPort);

/// The same over TCP to address 0. Proxy types: 0 none, 1 HTTP CONNECT, 2 SOCKS4a, 3 SOCKS5. The strings must not be
/// null; without a proxy they are empty and the port is 0.
LUMO_API IVideoSender* CreateVideoSenderTCP(IVideoSenderNotify& notify, unsigned long ulVideoChannelID,
                                            unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                            unsigned short usMCUPort, int nProxyType, const char* pszProxyHost,
                                            unsigned short usProxyPort, const char* pszProxyUser,
                                            const char* pszProxyPassword);

/// Subscribes over UDP. The MCU is the publisher's server, the local MCU a nearer one that can relay from it (all 0:
/// none). The user ID is carried to the server. No channel of this host is needed, but a local MCU is: null without, or
/// without memory for its session.
LUMO_API IVideoReceiver* CreateVideoReceiverUDP(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                                unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                                unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                                unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                                unsigned short usLocalMCUPort, unsigned long ulUserID);

/// The same over TCP, dialling address 0 of the chosen server. Null when the MCU has no address or port 0.
LUMO_API IVideoReceiver* CreateVideoReceiverTCP(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                                unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                                unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                                unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                                unsigned short usLocalMCUPort, unsigned long ulUserID, int nProxyType,
                                                const char* pszProxyHost, unsigned short usProxyPort,
                                                const char* pszProxyUser, const char* pszProxyPassword);

/// Receives from the local MCU of a peer. By itself it only waits for the peer to take it, 4 s long, and `ulUserID` is
/// without meaning; with SetP2PSubscribe(true) (p2p.h) it finds and asks the peer that `ulUserID` names. Null without a
/// local MCU or without memory for its session.
LUMO_API IVideoReceiver* CreateVideoReceiverP2P(IVideoReceiverNotify& notify, unsigned long ulVideoChannelID,
                                                unsigned long ulUserID);

#endif
