// The network library: one UDP endpoint, TCP connections that carry whole messages, and addresses.
// IPv4 addresses and ports are in host byte order in every call and callback.
//
// Objects come from the factories below and are ended by their own ReleaseConnections(), never deleted by the caller.
// After it returns, no callback of that object runs or will run. Called from inside the object's own callback, that
// callback finishes first and none follows. It waits only for that object's own running callback, so the caller must
// hold no lock that such a callback takes. No lock that a sender needs is held while a callback runs, and no send
// waits for the network.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

class ITcpSession;

class IUdpClientNotify {
public:
    /// One datagram of at least one byte, on the receive thread. The buffer is valid during the call, and its bytes may
    /// be overwritten.
    virtual void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                unsigned short port) = 0;
    /// A burst of datagrams begins and ends, on the receive thread: what is sent in between may travel as one batch.
    virtual void OnUdpClientNotifyBurstBegin() {}
    virtual void OnUdpClientNotifyBurstEnd() {}
    /// Asked after each burst: for how many microseconds the receive thread may rest once it finds nothing more, so
    /// that what comes meanwhile is taken together. 0: it looks for the next datagram at once.
    virtual unsigned OnUdpClientNotifyMayRest() { return 0; }

protected:
    ~IUdpClientNotify() = default;
};

class ITcpSessionNotify {
public:
    /// One whole frame on the TCP thread; false closes the connection.
    virtual bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) = 0;

protected:
    ~ITcpSessionNotify() = default;
};

class ITcpServerNotify {
public:
    /// The first message of a newly accepted connection, on the TCP thread. True keeps the session: the callee has
    /// called AcceptSession and has to release it. False: the session is closed and gone after the call.
    virtual bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) = 0;

protected:
    ~ITcpServerNotify() = default;
};

class ITcpClientNotify {
public:
    virtual void OnTcpClientNotifyConnected() {}
    virtual void OnTcpClientNotifyDisconnected() {}
    /// The far side's answer to the validation message; false closes the connection.
    virtual bool OnTcpClientNotifyValidate(unsigned long /*type*/, const char* /*data*/, int /*length*/) {
        return false;
    }
    /// One whole frame; false closes the connection.
    virtual bool OnTcpClientNotifyReceivedFrame(const char* /*data*/, int /*length*/) { return false; }

protected:
    ~ITcpClientNotify() = default;
};

class IUdpClient {
public:
    virtual void ReleaseConnections() = 0;
    /// Sends one datagram, or adds it to the calling thread's open batch (copied). Address 0 or port 0, and what the
    /// kernel refuses, is counted and dropped. Any thread.
    virtual void SendData(const char* data, int length, unsigned long ip, unsigned short port) = 0;
    /// Until the matching EndBatch the calling thread's datagrams are collected in order and leave together. Nests by
    /// count. A batch never outlives the call that opened it.
    virtual void BeginBatch() = 0;
    virtual void EndBatch() = 0;
    virtual unsigned short GetLocalPort() = 0;
    /// Sends what the calling thread has collected so far; the batch stays open.
    virtual void FlushBatch() = 0;

protected:
    ~IUdpClient() = default;
};

class ITcpClient {
public:
    virtual bool IsDisconnected() = 0;
    virtual void ReleaseConnections() = 0;
    /// Queues one message and returns at once. mode 0: a frame. mode 1: a validation message that the caller laid out
    /// as type, payload length (u32 big-endian each) and payload. Frames queued before this side's validation message
    /// leave after it.
    virtual void SendData(const char* data, int length, int mode) = 0;
    /// Queues one frame that is worth something only while it is new: it leaves once nothing else waits and the kernel
    /// has sent all before, unless a newer one of its key has come by then. It counts in no queue size.
    virtual void SendNewest(uint64_t /*key*/, const char* data, int length) { SendData(data, length, 0); }
    /// Frames not yet handed to the kernel.
    virtual unsigned long GetSendQueueSize() = 0;
    /// Bytes of those frames.
    virtual unsigned long GetSendQueueBytes() = 0;
    virtual void Reserved() = 0;
    /// The address that was asked for (not the proxy's).
    virtual unsigned long GetRemoteIP() = 0;
    /// Discards every frame of which no byte has left yet.
    virtual void ClearSendQueue() = 0;
    /// Frames that have waited longer are dropped from now on, oldest first; never one of a single byte, which is a
    /// control byte, or a validation message. The kernel takes the next ones only once it has sent all before: only
    /// what is on its way and what the far side's kernel has taken grows older. 0, at first: all wait.
    virtual void SetMaxAge(unsigned long milliseconds) = 0;
    /// Bytes that have come, of messages that are not whole yet too.
    virtual uint64_t GetReceivedBytes() = 0;
    /// The congestion control that the kernel uses for it; empty where that cannot be told. The text lives as long as
    /// the process.
    virtual const char* GetCongestionControl() { return ""; }

protected:
    ~ITcpClient() = default;
};

class ITcpSession {
public:
    virtual bool IsDisconnected() = 0;
    virtual void ReleaseConnections() = 0;
    /// As for the client.
    virtual void SendData(const char* data, int length, int mode) = 0;
    virtual void SendNewest(uint64_t /*key*/, const char* data, int length) { SendData(data, length, 0); }
    /// Attaches the object that receives the session's frames; frames that came before are delivered after it.
    /// Null detaches: once it returns, no callback into the old object runs.
    virtual void SetNotify(ITcpSessionNotify* notify) = 0;
    virtual unsigned long GetSendQueueSize() = 0;
    virtual unsigned long GetSendQueueBytes() = 0;
    virtual void ClearSendQueue() = 0;
    /// The far side's address as accepted.
    virtual unsigned long GetRemoteIP() = 0;
    virtual unsigned short GetRemotePort() = 0;
    /// Once every queued frame has left, the connection closes by itself; nothing more is taken or delivered.
    virtual void CloseWhenSent() = 0;
    /// The longest frame taken from the far side, 64 MiB at most (and at first); a longer one closes the connection as
    /// soon as it is announced. Valid only inside the validate callback.
    virtual void SetMaxReceivedFrame(unsigned long bytes) = 0;
    /// As for the client, and how many frames were dropped so.
    virtual void SetMaxAge(unsigned long milliseconds) = 0;
    virtual unsigned long GetAgedFrames() = 0;
    /// Once something has waited, and the far side has taken not one byte, for so long, the connection ends. 0, at
    /// first: never.
    virtual void SetMaxStall(unsigned long milliseconds) = 0;
    /// As for the client.
    virtual const char* GetCongestionControl() { return ""; }
    /// Where memory is short only what waits here is lost, and frames may be missing: the connection stays.
    virtual void SetKeepsPlace() = 0;

protected:
    ~ITcpSession() = default;
};

struct CEncodedMessage;

/// While it lives, what its thread sends as a frame over TCP and lies at `data`, so long, is encoded once and shared by
/// all connections that it goes to. The bytes do not change meanwhile. Nests.
class CTcpFanOut {
public:
    CTcpFanOut(const void* data, int length);
    ~CTcpFanOut();
    CTcpFanOut(const CTcpFanOut&) = delete;
    CTcpFanOut& operator=(const CTcpFanOut&) = delete;

    /// The library's own.
    std::shared_ptr<const CEncodedMessage> Share(const char* data, uint32_t length, bool holdsLittle);

private:
    const void* const m_pData;
    const int m_nLength;
    CTcpFanOut* const m_pOuter;
    std::shared_ptr<const CEncodedMessage> m_message;  // once somebody needs it
};

class ITcpServer {
public:
    virtual void ReleaseConnections() = 0;
    /// Confirms a session that a validate callback is about to accept; valid only inside that callback.
    virtual bool AcceptSession(ITcpSession* session) = 0;
    /// Once a second: closes accepted connections that sent no valid validation message within 10 s.
    virtual void CheckTimeout() = 0;

protected:
    ~ITcpServer() = default;
};

/// What a listener lets in before anybody has validated; the relay server sets it.
class ITcpAcceptFilter {
public:
    /// False closes it, or the oldest of that address's `unvalidated` connections where so one fewer would be let in.
    virtual bool MayAccept(unsigned long ip, unsigned unvalidated) = 0;

protected:
    ~ITcpAcceptFilter() = default;
};

struct UdpOptions {
    uint32_t localIP = 0;  ///< 0: all addresses
    uint16_t port = 0;     ///< 0: any free port whose TCP twin is free; the twin stays reserved for CreateTcpServer
    bool answerFromAsked = false;  ///< bound to all addresses: datagrams to a host leave from the address it asked
};

struct TcpServerOptions {
    uint32_t localIP = 0;
    uint16_t port = 0;
    ITcpAcceptFilter* filter = nullptr;  ///< outlives the listener
};

/// Null on failure. CreateUdpClient(notify, 0): see UdpOptions::port.
IUdpClient* CreateUdpClient(IUdpClientNotify* notify, unsigned short port);
ITcpServer* CreateTcpServer(ITcpServerNotify* notify, unsigned short port);
/// (server address dotted, port, then proxy type, host, port, user, password.) Starts connecting and reports through
/// the notify object, possibly before it has returned. The dial, proxy included, and the wait for the validation answer
/// last at most 10 s each. Address 0 is nobody's: null, through a proxy too.
ITcpClient* CreateTcpClient(ITcpClientNotify* notify, const std::string& server, unsigned short port, int proxyType,
                            const std::string& proxyHost, unsigned short proxyPort, const std::string& proxyUser,
                            const std::string& proxyPassword);

/// The same with everything said; the relay server's.
IUdpClient* CreateUdpClientAt(IUdpClientNotify* notify, const UdpOptions& options);
ITcpServer* CreateTcpServerAt(ITcpServerNotify* notify, const TcpServerOptions& options);

/// The dotted form of a host-order IPv4 address.
std::string GetIpAddr(unsigned long ip);
/// Host order; false unless `text` is exactly four dotted decimal numbers of 0 to 255.
bool ParseIpAddr(const std::string& text, uint32_t& ip);

/// The one place to replace the network by a simulated one. Null members mean the real network.
struct NetFactories {
    IUdpClient* (*createUdpClient)(IUdpClientNotify*, const UdpOptions&) = nullptr;
    ITcpServer* (*createTcpServer)(ITcpServerNotify*, const TcpServerOptions&) = nullptr;
    ITcpClient* (*createTcpClient)(ITcpClientNotify*, const std::string&, unsigned short, int, const std::string&,
                                   unsigned short, const std::string&, const std::string&) = nullptr;
};
/// Not while other threads use the network.
void SetNetFactories(const NetFactories& factories);

/// Which of the kernel's and the library's faster ways the UDP endpoint may use. Read when an endpoint is made.
struct UdpFeatures {
    bool receiveOffload = true;  ///< UDP_GRO
    bool sendOffload = true;     ///< UDP_SEGMENT
    bool multiMessage = true;    ///< recvmmsg, sendmmsg
    bool native = true;          ///< false: the portable Asio endpoint
};
void SetUdpFeatures(const UdpFeatures& features);

/// Datagram counters of the process since start (relaxed).
struct UdpCounters {
    uint64_t sent, received, bytesSent, bytesReceived, refused;
};
UdpCounters GetUdpCounters();
