// Endpoints that write down what happens to them. Whichever is called after its release fails the test.
#pragma once

#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/proxy_server.h"
#include "support/eventually.h"
#include "support/raw_tcp.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tcp_test {

/// What happened so far, in order.
class CEvents {
public:
    void Add(const std::string& event);
    std::vector<std::string> All() const { return Await(0); }
    /// All, once there are so many; fewer, after a very long time, if they do not come.
    std::vector<std::string> Await(size_t count) const;
    bool WaitForCount(size_t count) const { return Await(count).size() >= count; }
    bool WaitFor(const std::string& event) const;
    size_t Count(const std::string& event) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<std::string> m_events;
};

std::string Validation(uint32_t type, const std::string& payload);
/// How clients of the tests begin, and what their servers answer.
inline const std::string kHello = Framed(1, Validation(7, "hello")), kWelcome = Framed(1, Validation(8, "welcome"));
/// A long frame is written down by its length and a checksum.
std::string FrameEvent(const std::string& frame);

/// What client, session and listener have in common.
template <class TNet>
class CEnd {
public:
    explicit CEnd(TNet* net = nullptr) : m_pNet(net) {}

    /// Null once released, or never made.
    TNet* Net() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_pNet;
    }
    /// The caller releases it.
    TNet* Disown() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::exchange(m_pNet, nullptr);
    }
    void Release() {
        TNet* const net = Disown();
        if (!net) return;
        net->ReleaseConnections();
        m_bReleased = true;
    }
    bool IsReleased() const { return m_bReleased; }
    void Send(const std::string& frame, int mode = 0) {
        if (TNet* const net = Net()) net->SendData(frame.data(), static_cast<int>(frame.size()), mode);
    }

    CEvents m_events;
    std::function<void(const std::string& event)> m_onEvent;  // inside each callback
    bool m_bTakesFrames = true;                               // the verdict on them

protected:
    /// Callbacks may come before `make` has returned.
    bool Make(const std::function<TNet*()>& make) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bReleased = false;
        m_pNet = make();
        return m_pNet != nullptr;
    }
    void Note(const std::string& event) {
        EXPECT_FALSE(m_bReleased) << event;
        m_events.Add(event);
        if (m_onEvent) m_onEvent(event);
    }

private:
    std::mutex m_mutex;
    TNet* m_pNet;
    std::atomic<bool> m_bReleased{false};
};

/// On connecting it sends a validation message of type 7 with the payload "hello".
class CClient final : public CEnd<ITcpClient>, public ITcpClientNotify {
public:
    ~CClient() { Release(); }
    bool Dial(uint16_t port, ProxyType proxy = ProxyType::None, uint16_t proxyPort = 0, const std::string& user = "",
              const std::string& password = "");
    /// Dials, and waits for the answer.
    bool Meet(uint16_t port) { return Dial(port) && m_events.WaitFor("answer 8 welcome"); }

    void OnTcpClientNotifyConnected() override;
    void OnTcpClientNotifyDisconnected() override { Note("disconnected"); }
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

    bool m_bSilent = false;      // sends no validation message
    bool m_bTakesAnswer = true;  // the verdict on the answer
};

/// An accepted session that echoes nothing and writes down everything.
class CSession final : public CEnd<ITcpSession>, public ITcpSessionNotify {
public:
    explicit CSession(ITcpSession* session) : CEnd(session) {}
    ~CSession() { Release(); }
    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;
};

/// A listener on a free port that keeps every session which validates, attaches to it and answers with "welcome".
class CServer final : public CEnd<ITcpServer>, public ITcpServerNotify {
public:
    explicit CServer(ITcpAcceptFilter* filter = nullptr);
    ~CServer() { Release(); }
    bool Listen(uint16_t port, ITcpAcceptFilter* filter = nullptr);
    /// The n-th session, once it is there; null if it never comes.
    CSession* Session(size_t n);
    CSession* Add(std::unique_ptr<CSession> session);
    /// The one that came last of those not yet taken.
    std::unique_ptr<CSession> TakeLast();
    /// Null where the listener may not accept it any more.
    CSession* Keep(ITcpSession* session, bool attach = true);

    bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) override;

    uint16_t m_usPort = 0;
    /// In place of keeping it: the verdict.
    std::function<bool(CServer&, ITcpSession*)> m_onValidate;

private:
    std::mutex m_mutex;
    std::vector<std::unique_ptr<CSession>> m_sessions;
};

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
