// What the tests of the UDP endpoint share.
#pragma once

#include "platform/lumobase/undo.h"
#include "platform/lumonet/lumonet.h"
#include "support/eventually.h"
#include "support/raw_tcp.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// One way the endpoint may go about its work.
struct UdpWay {
    const char* name;
    UdpFeatures features;
    bool collects = true;  ///< a batch leaves at its end rather than at once
};
inline std::ostream& operator<<(std::ostream& out, const UdpWay& way) { return out << way.name; }

inline const UdpWay kAllWays[] = {
    {"Full", {true, true, true, true}},           {"NoReceiveOffload", {false, true, true, true}},
    {"NoSendOffload", {true, false, true, true}}, {"NoMultiMessage", {true, true, false, true}},
    {"PlainCalls", {false, false, false, true}},  {"Portable", {true, true, true, false}, false},
};
inline std::string WayName(const testing::TestParamInfo<UdpWay>& info) { return info.param.name; }

using Datagrams = std::vector<std::string>;

struct ReceivedDatagram {
    std::string bytes;
    uint32_t ip;
    uint16_t port;
};

/// An endpoint that keeps what it receives, and fails the test when it is called after its release.
class CUdpPeer final : public IUdpClientNotify {
public:
    explicit CUdpPeer(uint32_t localIP = kLoopback, uint16_t port = 0, bool answerFromAsked = false) {
        endpoint = CreateUdpClientAt(this, {localIP, port, answerFromAsked});
    }
    ~CUdpPeer() { Release(); }
    CUdpPeer(const CUdpPeer&) = delete;
    CUdpPeer& operator=(const CUdpPeer&) = delete;

    void Release() {
        if (endpoint) endpoint->ReleaseConnections();
        endpoint = nullptr;
        m_bReleased = true;
    }
    /// And no callback runs any more: after this the peer may go.
    bool IsReleased() const { return m_bReleased && !m_bInCallback; }
    uint16_t Port() { return endpoint->GetLocalPort(); }
    void Send(const std::string& bytes, uint32_t ip, uint16_t port) {
        endpoint->SendData(bytes.data(), static_cast<int>(bytes.size()), ip, port);
    }
    void SendTo(CUdpPeer& peer, const std::string& bytes) { Send(bytes, kLoopback, peer.Port()); }

    /// The first `count` datagrams not yet taken; fewer when they do not come.
    std::vector<ReceivedDatagram> Take(size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, kLongEnough, [&] { return m_received.size() >= count && m_nOpenBursts == 0; });
        return std::exchange(m_received, {});
    }
    Datagrams TakeBytes(size_t count) {
        Datagrams bytes;
        for (ReceivedDatagram& datagram : Take(count)) bytes.push_back(std::move(datagram.bytes));
        return bytes;
    }
    size_t Bursts() const { return m_nBursts; }
    bool IsInBurst() const { return m_nOpenBursts > 0; }

    /// Called on the receive thread from now on.
    struct Hooks {
        std::function<void()> burstBegin = [] {};
        std::function<void(const ReceivedDatagram&)> datagram = [](const ReceivedDatagram&) {};
        std::function<void()> burstEnd = [] {};
    };
    void SetHooks(Hooks hooks) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hooks = std::move(hooks);
    }

    IUdpClient* endpoint = nullptr;

private:
    auto Enter() {
        m_bInCallback = true;
        return CUndo([this] { m_bInCallback = false; });
    }
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port) override {
        const CUndo left = Enter();
        EXPECT_TRUE(length > 0 && m_nOpenBursts == 1 && !m_bReleased) << length;
        ReceivedDatagram datagram{std::string(data, static_cast<size_t>(length)), static_cast<uint32_t>(ip), port};
        GetHooks().datagram(datagram);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_received.push_back(std::move(datagram));
    }
    void OnUdpClientNotifyBurstBegin() override {
        const CUndo left = Enter();
        EXPECT_TRUE(m_nOpenBursts++ == 0 && !m_bReleased);
        ++m_nBursts;
        GetHooks().burstBegin();
    }
    void OnUdpClientNotifyBurstEnd() override {
        const CUndo left = Enter();
        EXPECT_FALSE(m_bReleased);
        GetHooks().burstEnd();
        std::lock_guard<std::mutex> lock(m_mutex);
        EXPECT_EQ(m_nOpenBursts--, 1);
        m_changed.notify_all();
    }
    Hooks GetHooks() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_hooks;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    Hooks m_hooks;
    std::vector<ReceivedDatagram> m_received;
    std::atomic<size_t> m_nBursts{0};
    std::atomic<int> m_nOpenBursts{0};
    std::atomic<bool> m_bReleased{false};
    std::atomic<bool> m_bInCallback{false};
};

/// Holds the way of its test for the endpoints that the test makes.
class CUdpWayTest : public testing::TestWithParam<UdpWay> {
protected:
    CUdpWayTest() { SetUdpFeatures(GetParam().features); }
    ~CUdpWayTest() override { SetUdpFeatures(UdpFeatures()); }
};

/// Bytes that differ from one number to the next and along the datagram.
inline std::string Pattern(size_t number, size_t length) {
    std::string bytes(length, '\0');
    for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(number * 31 + i * 7 + i / 251);
    return bytes;
}
