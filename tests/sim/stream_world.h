// A publisher of audio or video, a relay server and subscribers, each a process of its own in a simulated network.
#pragma once

#include "sim/nodes.h"
#include "support/medium_app.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace sim {

constexpr Address kPublisher{0x0a000001, 5001};
inline const CMcuAddress kRelay{{kServer.ip, 0, 0}, kServer.port};

/// Thirty pictures a second. A key frame when it is asked for one, and every so often.
class CPublisher : public CNode {
public:
    CPublisher(CWorld& world, CFakeNet& net, const CTestMedium& medium) : CNode(world, net, kPublisher) {
        Do([&] { m_pApp = medium.make(CMediumApp::kChannelID); });
        Join();
    }
    ~CPublisher() override {
        Leave();
        Do([&] {
            m_pApp->ReleaseChannel();
            m_pApp.reset();
        });
        Release();
    }
    void Join() {
        Do([&] { m_sender = m_pApp->Sender(false, kRelay); });
    }
    void Leave() {
        Do([&] { m_sender.Release(); });
    }
    size_t Requests() const { return m_pApp->delivered.size(); }  // for key frames

    uint64_t everyMs = 33;
    uint64_t keyEvery = 0;  // frames; 0: on request alone
    size_t keyLength = 40 << 10, length = 4 << 10;
    std::vector<uint64_t> written;  // when, by number

protected:
    void OnTurn() override {
        const uint64_t now = m_world.Elapsed();
        if (now >= m_nNextPoll && m_sender) {
            m_nNextPoll = now + 1000;
            m_sender.IsDisconnected();
        }
        if (now < m_nNext) return;
        m_nNext = now + everyMs;
        const bool key = m_nAnswered != Requests() || (keyEvery != 0 && written.size() % keyEvery == 0);
        m_nAnswered = Requests();
        std::string frame(key ? keyLength : length, '\0');
        frame[0] = key ? 1 : 0;
        for (size_t i = 0; i < 4; ++i) frame[3 + i] = static_cast<char>(written.size() >> (8 * i));
        written.push_back(now);
        m_pApp->Write(std::move(frame));
    }

private:
    std::unique_ptr<CMediumApp> m_pApp;
    CMade m_sender;
    uint64_t m_nNext = 0, m_nNextPoll = 0;
    size_t m_nAnswered = 0;
};

struct CSeen {
    uint64_t when;
    uint32_t number;
    bool key;
};

class CSubscriber : public CNode {
public:
    CSubscriber(CWorld& world, CFakeNet& net, Address address, const CTestMedium& medium) : CNode(world, net, address) {
        Do([&] {
            m_pApp = medium.make(CMediumApp::kChannelID);
            m_receiver = m_pApp->Receiver(false, kRelay);
        });
    }
    ~CSubscriber() override {
        Do([&] {
            m_receiver.Release();
            m_pApp.reset();
        });
        Release();
    }
    /// Pictures that do not follow the one before; `order` and `keys` tell whether they went on, and with a key frame.
    struct CGaps {
        size_t count = 0;
        bool order = true, keys = true;
    };
    CGaps Gaps() const {
        CGaps gaps;
        for (size_t i = 1; i < seen.size(); ++i) {
            gaps.order = gaps.order && seen[i].number > seen[i - 1].number;
            if (seen[i].number == seen[i - 1].number + 1) continue;
            ++gaps.count;
            gaps.keys = gaps.keys && seen[i].key;
        }
        return gaps;
    }

    std::vector<CSeen> seen;

protected:
    void OnTurn() override {
        const uint64_t now = m_world.Elapsed();
        for (const std::string& frame : std::exchange(m_pApp->delivered, {})) {
            uint32_t number = 0;
            for (size_t i = 0; i < 4; ++i)
                number |= static_cast<uint32_t>(static_cast<uint8_t>(frame[3 + i])) << (8 * i);
            seen.push_back({now, number, frame[0] != 0});
        }
        if (now < m_nNextPoll) return;
        m_nNextPoll = now + 1000;
        m_receiver.IsDisconnected();
    }

private:
    std::unique_ptr<CMediumApp> m_pApp;
    CMade m_receiver;
    uint64_t m_nNextPoll = 0;
};

struct CStreamScene {
    CStreamScene(uint64_t seed, const CTestMedium& of)
        : medium(of), world(seed), server(world, net), publisher(world, net, of) {}

    static Address SubscriberAt(uint32_t number) { return {0x0a000100 + number, static_cast<uint16_t>(6000 + number)}; }
    CSubscriber& Join() {
        const Address address = SubscriberAt(static_cast<uint32_t>(subscribers.size()));
        return *subscribers.emplace_back(std::make_unique<CSubscriber>(world, net, address, medium));
    }
    /// How old the oldest picture was when it arrived.
    uint64_t WorstAge(const CSubscriber& subscriber, uint64_t from) {
        uint64_t worst = 0;
        for (const CSeen& one : subscriber.seen)
            if (one.when >= from) worst = std::max(worst, one.when - publisher.written[one.number]);
        return worst;
    }

    const CTestMedium& medium;
    CFakeNet net;
    CWorld world;
    CServerNode server;
    CPublisher publisher;
    std::vector<std::unique_ptr<CSubscriber>> subscribers;
};

}  // namespace sim
