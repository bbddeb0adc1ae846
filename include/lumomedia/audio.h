// Audio: channels of opaque frames that are sent as they come, their senders to a relay server and their receivers.
#ifndef LUMOMEDIA_AUDIO_H
#define LUMOMEDIA_AUDIO_H

#include <lumomedia/export.h>

class CAudioSink;
struct CAudioChannelState;

/// The hub of one published audio stream. Make it with new while there is a local MCU, and write frames with
/// OnAudioChannelData. Nothing is queued, repeated or put in order: a frame reaches those who listen now, or nobody.
/// Order of the end: release its senders, ReleaseConnections(), delete. A channel that is still registered when the
/// local MCU goes is deleted by it. All addresses and ports of this header are in host byte order.
class LUMO_API CAudioChannel {
public:
    /// Registers the channel, so that senders and peers find it; one of the same ID gives way. ID 0 takes a random one.
    explicit CAudioChannel(unsigned long ulAudioChannelID);
    /// Unregisters the channel if that has not been done. Never inside a callback, where it may wait for ever: it
    /// cannot be refused, so a log line says it, and debug builds stop.
    virtual ~CAudioChannel();

    /// Unregisters it and ends every peer's sink of it. Inside a callback of any object it does nothing but log a line,
    /// and the channel stays as it is: note it there and release it on a thread of your own. Hold no lock that one of
    /// your callbacks takes.
    virtual void ReleaseConnections();
    /// True only for a channel that once had a subscriber and has none now.
    virtual bool IsEmpty();
    virtual void AddAudioSink(unsigned long ulAudioSinkID, CAudioSink* pAudioSink);
    virtual void RemoveAudioSink(unsigned long ulAudioSinkID);
    /// Whether anybody wants to hear it at the moment.
    virtual bool HasStartedAudioSink();
    /// One frame, 3 to 1066 bytes (1033 before it is sealed), to everybody who listens; a longer one is dropped, a
    /// shorter one goes only over TCP. Sent before it returns, in one batch; never blocks. Any thread, callbacks too.
    virtual void OnAudioChannelData(const char* data, int length);
    virtual unsigned long GetAudioChannelID();
    virtual unsigned long GetAudioSinkCount();
    virtual bool IsDirty();
    /// Frames still waiting at the listener that has fewest, 8192 at most; 0 as soon as one listens over UDP, where
    /// none waits, and without listeners.
    virtual unsigned long GetBufferingFrameCount();

private:
    friend struct CAudioChannelState;
    explicit CAudioChannel(CAudioChannelState& state);
    CAudioChannel(const CAudioChannel&);
    CAudioChannel& operator=(const CAudioChannel&);

    CAudioChannelState* m_pState;
};

/// Publishes a channel to a relay server. The server says when it wants to hear it: nothing is sent while nobody
/// listens there.
class IAudioSender {
public:
    /// Says goodbye, leaves the channel and destroys the sender. Inside a callback of any object it does nothing but
    /// log a line, and the sender stays as it is: note it there and release it on a thread of your own. Hold no lock
    /// that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// False silences the sender without a word to the server; true goes on. True at first.
    virtual void SetEnable(bool bEnable) = 0;
    virtual bool IsEnable() = 0;
    /// Poll it about once a second: it repeats connect requests and sends keep-alives. True once the server has been
    /// silent too long (30 s while connecting, 180 s after) or the connection is lost.
    virtual bool IsDisconnected() = 0;
    /// What the server said with its last start, over UDP: how many listen there. 0 over TCP.
    virtual unsigned long GetStartParam() = 0;
    /// Frames handed to the transport, those among them that it then dropped for their length.
    virtual unsigned long GetSentFrameCount() = 0;
    /// Frames still waiting to be sent; always 0 over UDP. Over TCP one that has waited for a second is dropped.
    virtual unsigned long GetBufferingFrameCount() = 0;

protected:
    ~IAudioSender() {}
};

class IAudioSenderNotify {
public:
    /// The server took the sender. Once a connection, on the UDP or TCP thread, with locks held.
    virtual void OnConnected(unsigned long ulIP) = 0;

protected:
    ~IAudioSenderNotify() {}
};

/// Subscribes to a channel published elsewhere.
class IAudioReceiver {
public:
    /// Says goodbye and destroys the receiver. Inside a callback of any object it does nothing but log a line, and the
    /// receiver stays as it is: note it there and release it on a thread of your own. Hold no lock that one of your
    /// callbacks takes.
    virtual void ReleaseConnections() = 0;
    /// Whether to hear the stream; told to the far side at once. Frames in flight may still arrive. True at first.
    virtual void SetEnable(bool bEnable) = 0;
    virtual bool IsEnable() = 0;
    /// Poll it about once a second: it repeats connect requests and the wish to hear or not. True once nothing has come
    /// for too long (30 s while connecting to a server, 4 s to a peer, 180 s after) or the connection is lost.
    virtual bool IsDisconnected() = 0;

protected:
    ~IAudioReceiver() {}
};

class IAudioReceiverNotify {
public:
    /// One frame as it arrived: late, twice or never is for you to see. Valid only during the call, on the UDP or TCP
    /// thread, with locks held.
    virtual void OnAudioData(const char* data, int length) = 0;
    /// The host with this address took the receiver. Once a connection.
    virtual void OnConnected(unsigned long ulIP) = 0;

protected:
    ~IAudioReceiverNotify() {}
};

/// The factories below may call back before they return: hold no lock that one of your callbacks takes.
///
/// Publishes the channel over UDP to a server known by up to three addresses (0: none). Null without a local MCU, for
/// an unknown channel, when all addresses are 0 or the port is 0.
LUMO_API IAudioSender* CreateAudioSenderUDP(IAudioSenderNotify& notify, unsigned long ulAudioChannelID,
                                            unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                            unsigned short usMCUPort);

/// The same over TCP to address 0. Proxy types: 0 none, 1 HTTP CONNECT, 2 SOCKS4a, 3 SOCKS5. The strings must not be
/// null; without a proxy they are empty and the port is 0.
LUMO_API IAudioSender* CreateAudioSenderTCP(IAudioSenderNotify& notify, unsigned long ulAudioChannelID,
                                            unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                            unsigned short usMCUPort, int nProxyType, const char* pszProxyHost,
                                            unsigned short usProxyPort, const char* pszProxyUser,
                                            const char* pszProxyPassword);

/// Subscribes over UDP. The MCU is the publisher's server, the local MCU a nearer one that can relay from it (all 0:
/// none). The user ID is carried to the server. No channel of this host is needed, but a local MCU is: null without.
LUMO_API IAudioReceiver* CreateAudioReceiverUDP(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                                unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                                unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                                unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                                unsigned short usLocalMCUPort, unsigned long ulUserID);

/// The same over TCP, dialling address 0 of the chosen server. Null when the MCU has no address or port 0.
LUMO_API IAudioReceiver* CreateAudioReceiverTCP(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                                unsigned long ulMCUIP0, unsigned long ulMCUIP1, unsigned long ulMCUIP2,
                                                unsigned short usMCUPort, unsigned long ulLocalMCUIP0,
                                                unsigned long ulLocalMCUIP1, unsigned long ulLocalMCUIP2,
                                                unsigned short usLocalMCUPort, unsigned long ulUserID, int nProxyType,
                                                const char* pszProxyHost, unsigned short usProxyPort,
                                                const char* pszProxyUser, const char* pszProxyPassword);

/// Receives from the local MCU of a peer. By itself it only waits for the peer to take it, 4 s long, and `ulUserID` is
/// without meaning; with SetP2PSubscribe(true) (p2p.h) it finds and asks the peer that `ulUserID` names. Null without a
/// local MCU.
LUMO_API IAudioReceiver* CreateAudioReceiverP2P(IAudioReceiverNotify& notify, unsigned long ulAudioChannelID,
                                                unsigned long ulUserID);

#endif
