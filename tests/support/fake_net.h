// A network without sockets: what the library sends is kept, what a test delivers arrives at once.
#pragma once

#include "platform/lumonet/lumonet.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct CSentDatagram {
    uint32_t ip;
    uint16_t port;
    std::string bytes;
    int batchDepth = 0;  // in which it was sent
};

class CFakeUdp final : public IUdpClient {
public:
    explicit CFakeUdp(IUdpClientNotify* notify) : m_pNotify(notify) {}
    void ReleaseConnections() override { released = true; }
    void SendData(const char* data, int length, unsigned long ip, unsigned short port) override {
        sent.push_back({static_cast<uint32_t>(ip), port, std::string(data, static_cast<size_t>(length)), batchDepth});
    }
    void BeginBatch() override { ++batchDepth; }
    void EndBatch() override { --batchDepth; }
    void FlushBatch() override { ++flushes; }
    unsigned short GetLocalPort() override { return 40000; }

    /// As if one burst with one datagram had come.
    void Deliver(const std::string& bytes, uint32_t ip, uint16_t port);
    std::vector<CSentDatagram> TakeSent();

    std::vector<CSentDatagram> sent;
    std::atomic<int> batchDepth{0};  // a running worker batches as well
    std::atomic<int> flushes{0};
    bool released = false;

private:
    IUdpClientNotify* m_pNotify;
};

struct CSentMessage {
    int mode;
    std::string bytes;
};

/// Either end of a TCP connection, as the library holds it.
class CFakeTcp final : public ITcpClient, public ITcpSession {
public:
    explicit CFakeTcp(ITcpClientNotify* client = nullptr) : clientNotify(client) {}
    bool IsDisconnected() override { return lost; }
    void ReleaseConnections() override { released = true; }
    void SendData(const char* data, int length, int mode) override {
        sent.push_back({mode, std::string(data, static_cast<size_t>(length))});
        if (stalled) queuedBytes += static_cast<unsigned long>(length);
        if (counts) ++queued;
    }
    void SendNewest(uint64_t key, const char* data, int length) override {
        newest.push_back(key);
        SendData(data, length, 0);
    }
    void SetNotify(ITcpSessionNotify* notify) override { sessionNotify = notify; }
    unsigned long GetSendQueueSize() override { return queued; }
    unsigned long GetSendQueueBytes() override { return queuedBytes; }
    void ClearSendQueue() override { queued = 0; }
    unsigned long GetRemoteIP() override { return remoteIP; }
    unsigned short GetRemotePort() override { return remotePort; }
    void CloseWhenSent() override { lost = true; }
    void SetMaxReceivedFrame(unsigned long bytes) override { maxReceivedFrame = bytes; }
    void Reserved() override {}
    void SetMaxAge(unsigned long milliseconds) override { maxAge = milliseconds; }
    unsigned long GetAgedFrames() override { return 0; }
    void SetMaxStall(unsigned long milliseconds) override { maxStall = milliseconds; }
    void SetKeepsPlace() override {}
    uint64_t GetReceivedBytes() override { return received; }

    std::vector<CSentMessage> TakeSent();
    /// The same without validation messages.
    std::vector<std::string> TakeFrames();
    /// The far side answers a validation, or sends a frame; false: this side closes the connection.
    bool Answer(uint32_t type, const std::string& payload);
    bool Hear(const std::string& frame);

    ITcpClientNotify* clientNotify;
    ITcpSessionNotify* sessionNotify = nullptr;
    std::vector<CSentMessage> sent;
    std::vector<uint64_t> newest;  // the keys of frames that give way to newer ones
    std::string dialledHost;
    uint16_t dialledPort = 0;
    std::string proxy;  // "type host port user password"
    unsigned long queued = 0;
    uint64_t received = 0;
    unsigned long queuedBytes = 0;
    unsigned long maxReceivedFrame = 0;  // 0: never set
    unsigned long maxAge = 0;
    unsigned long maxStall = 0;
    uint32_t remoteIP = 0x7f000001;
    uint16_t remotePort = 50000;
    bool stalled = false;  // what is sent stays queued
    bool counts = false;   // frames are queued until the test says otherwise
    bool lost = false;
    bool released = false;
};

class CFakeTcpServer final : public ITcpServer {
public:
    explicit CFakeTcpServer(ITcpServerNotify* notify) : m_pNotify(notify) {}
    void ReleaseConnections() override { released = true; }
    bool AcceptSession(ITcpSession* session) override {
        accepted.push_back(session);
        return agrees;
    }
    void CheckTimeout() override { ++timeoutChecks; }

    bool Validate(ITcpSession* session, uint32_t type, const std::string& payload) {
        return m_pNotify->OnTcpServerNotifyValidate(session, type, payload.data(), static_cast<int>(payload.size()));
    }

    std::vector<ITcpSession*> accepted;
    bool agrees = true;
    bool released = false;
    int timeoutChecks = 0;

private:
    ITcpServerNotify* m_pNotify;
};

/// Installs itself as the network for its own lifetime; one at a time. Everything it made lives as long as it does.
class CFakeNet {
public:
    CFakeNet();
    ~CFakeNet();
    CFakeNet(const CFakeNet&) = delete;
    CFakeNet& operator=(const CFakeNet&) = delete;

    CFakeUdp& Udp() { return *udps.back(); }
    CFakeTcpServer& TcpServer() { return *servers.back(); }
    CFakeTcp& LastClient() { return *clients.back(); }
    /// A connection that a peer has opened to the listener.
    CFakeTcp& NewSession();

    std::vector<std::unique_ptr<CFakeUdp>> udps;
    std::vector<std::unique_ptr<CFakeTcpServer>> servers;
    std::vector<std::unique_ptr<CFakeTcp>> clients;
    std::vector<std::unique_ptr<CFakeTcp>> sessions;
    std::function<IUdpClient*()> makeUdp;  // for a test that has its own
    bool refuseUdp = false;
    bool refuseTcpServer = false;
    bool refuseTcpClient = false;
};

/// Bytes from a readable form: "06 39 00000001".
std::string Hex(const std::string& text);
/// The readable form of bytes, without blanks.
std::string ToHex(const std::string& bytes);
