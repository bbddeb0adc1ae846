// Endpoints that write down what happens to them, and bare sockets that need not behave.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/proxy_server.h"
#include "udp_peer.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tcp_test {

/// What happened so far, in order.
class CEvents {
public:
    void Add(const std::string& event);
    std::vector<std::string> All() const;
    /// All, once there are so many.
    std::vector<std::string> Await(size_t count) const { return WaitForCount(count), All(); }
    size_t Count(const std::string& event) const;
    /// Waits, very long if it must, until so many events came, or the given one did. False: it never came.
    bool WaitForCount(size_t count) const {
        return WaitUntil([&] { return m_events.size() >= count; });
    }
    bool WaitFor(const std::string& event) const {
        return WaitUntil([&] { return std::find(m_events.begin(), m_events.end(), event) != m_events.end(); });
    }

private:
    bool WaitUntil(const std::function<bool()>& condition) const;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<std::string> m_events;
};

/// Asks again and again until `condition` holds; false after a very long time.
bool Eventually(const std::function<bool()>& condition);

std::string Validation(uint32_t type, const std::string& payload);
std::string Framed(int kind, const std::string& body);
/// How clients of the tests begin, and what their servers answer.
inline const std::string kHello = Framed(1, Validation(7, "hello")), kWelcome = Framed(1, Validation(8, "welcome"));
/// A long frame is written down by its length and a checksum.
std::string FrameEvent(const char* data, size_t length);

/// A client; on connecting it sends a validation message of type 7 with the payload "hello".
class CClient final : public ITcpClientNotify {
public:
    CClient() = default;
    ~CClient() { Release(); }
    bool Dial(uint16_t port, ProxyType proxy = ProxyType::None, uint16_t proxyPort = 0, const std::string& user = "",
              const std::string& password = "");
    /// Dials, and waits for the answer.
    bool Meet(uint16_t port) { return Dial(port) && m_events.WaitFor("answer 8 welcome"); }
    void Release();
    void Send(const std::string& frame, int mode = 0);
    ITcpClient* Net();

    void OnTcpClientNotifyConnected() override;
    void OnTcpClientNotifyDisconnected() override { m_events.Add("disconnected"); }
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

    CEvents m_events;
    bool m_bSilent = false;      // sends no validation message
    bool m_bTakesAnswer = true;  // the verdict on the answer
    bool m_bTakesFrames = true;  // the verdict on frames
    std::function<void()> m_onFrame;

private:
    std::mutex m_mutex;  // callbacks may come before the factory has returned
    ITcpClient* m_pNet = nullptr;
};

/// An accepted session that echoes nothing and writes down everything.
class CSession final : public ITcpSessionNotify {
public:
    explicit CSession(ITcpSession* session) : m_pNet(session) {}
    ~CSession() { Release(); }
    void Release();
    void Send(const std::string& frame, int mode = 0);

    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;

    CEvents m_events;
    bool m_bTakesFrames = true;
    ITcpSession* m_pNet;
};

/// A listener on a free port that keeps every session which validates, attaches to it and answers with "welcome".
class CServer final : public ITcpServerNotify {
public:
    explicit CServer(ITcpAcceptFilter* filter = nullptr);
    ~CServer() { Release(); }
    void Release();
    /// The n-th session, once it is there; null if it never comes.
    CSession* Session(size_t n);

    bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) override;

    uint16_t m_usPort = 0;
    ITcpServer* m_pNet = nullptr;
    CEvents m_events;
    /// In place of the usual: the verdict.
    std::function<bool(CServer&, ITcpSession*)> m_onValidate;
    bool Keep(ITcpSession* session, bool attach = true);

private:
    std::mutex m_mutex;
    std::vector<std::unique_ptr<CSession>> m_sessions;
};

/// A blocking socket with generous limits.
class CRawPeer {
public:
    explicit CRawPeer(int fd) : m_fd(fd) {}
    /// Not connected when the port does not answer or descriptors have run out. A buffer of 0 is the kernel's choice.
    static CRawPeer Dial(uint16_t port, const std::string& first = "", int receiveBuffer = 0);
    explicit operator bool() const { return static_cast<bool>(m_fd); }
    bool Send(const std::string& bytes);
    /// Sends as much as goes without waiting.
    size_t SendSome(const std::string& bytes);
    /// Exactly so many bytes, or fewer if the far side closed first.
    std::string Read(size_t length);
    /// Everything until the far side closes; `closed` says whether it did.
    std::string ReadAll(bool* closed = nullptr);
    bool IsClosed();
    int Fd() const { return m_fd.Get(); }

private:
    CFileDescriptor m_fd;
};

/// A bare listener on a free port.
class CRawListener {
public:
    explicit CRawListener(int backlog = 16);
    CRawPeer Accept();
    uint16_t Port() const { return m_usPort; }

private:
    CFileDescriptor m_fd;
    uint16_t m_usPort = 0;
};

uint16_t FreePort();

/// Whether this process has a thread of that name.
bool ThreadLives(const std::string& name);

/// Shortens one of the time limits while it lives.
class CShortLimit {
public:
    CShortLimit(std::atomic<int>& limit, int milliseconds) : m_limit(limit), m_nBefore(limit.exchange(milliseconds)) {}
    ~CShortLimit() { m_limit = m_nBefore; }

private:
    std::atomic<int>& m_limit;
    const int m_nBefore;
};

}  // namespace tcp_test
