// A publisher comes back to a relay server where somebody listens, and the one datagram that starts it is lost.
#include "sim/video_world.h"
#include "support/medium_app.h"
#include "support/medium_wire.h"

#include <gtest/gtest.h>

using namespace sim;

namespace {

constexpr Address kListener{0x0a000002, 5002};

/// What a publisher asks before it is validated, and what it is sent until then, IP and UDP headers included.
struct Ledger {
    static constexpr uint64_t kHeaders = 20 + 8;

    std::string connect, start;  // how these begin
    bool open = false;           // it has come back
    bool validated = false;
    bool lost = false;  // its first START
    uint64_t asked = 0, answered = 0;
    bool fair = true;
};

class CAsking : public IFault {
public:
    explicit CAsking(Ledger* ledger) : m_ledger(*ledger) {}
    void Apply(Transit& transit, CRandom&) override {
        if (!m_ledger.open) return;
        const std::string& bytes = transit.copies.at(0).bytes;
        if (bytes.compare(0, 2, m_ledger.connect) == 0)
            m_ledger.asked += bytes.size() + Ledger::kHeaders;
        else
            m_ledger.validated = true;
    }
    std::string Name() const override { return "asking"; }

private:
    Ledger& m_ledger;
};

class CAnswering : public IFault {
public:
    explicit CAnswering(Ledger* ledger) : m_ledger(*ledger) {}
    void Apply(Transit& transit, CRandom&) override {
        if (!m_ledger.open || m_ledger.validated) return;
        const std::string bytes = transit.copies.at(0).bytes;
        m_ledger.answered += bytes.size() + Ledger::kHeaders;
        m_ledger.fair = m_ledger.fair && m_ledger.answered <= 3 * m_ledger.asked;
        if (m_ledger.lost || bytes.compare(0, 2, m_ledger.start) != 0) return;
        m_ledger.lost = true;
        transit.copies.clear();
    }
    std::string Name() const override { return "the first START lost"; }

private:
    Ledger& m_ledger;
};

class CBroadcaster : public CNode {
public:
    CBroadcaster(CWorld& world, CFakeNet& net, const CTestMedium& medium) : CNode(world, net, kPublisher, MakeClient) {
        Do([&] { m_pApp = medium.make(CMediumApp::kChannelID); });
        Join();
    }
    ~CBroadcaster() override {
        Leave();
        Do([&] {
            m_pApp->ReleaseChannel();
            m_pApp.reset();
        });
        Release();
    }
    void Join() {
        Do([&] { m_sender = m_pApp->Sender(false, {{kServer.ip, 0, 0}, kServer.port}); });
    }
    void Leave() {
        Do([&] { m_sender.Release(); });
    }

protected:
    void OnTurn() override {
        if (m_world.Elapsed() < m_nNext) return;
        m_nNext = m_world.Elapsed() + 100;
        m_pApp->Write("\1..a key frame, ten of them a second");
        if (m_sender && m_world.Elapsed() % 1000 < 100) m_sender.IsDisconnected();
    }

private:
    std::unique_ptr<CMediumApp> m_pApp;
    CMade m_sender;
    uint64_t m_nNext = 0;
};

class CListener : public CNode {
public:
    CListener(CWorld& world, CFakeNet& net, const CTestMedium& medium) : CNode(world, net, kListener, MakeClient) {
        Do([&] {
            m_pApp = medium.make(CMediumApp::kChannelID);
            m_receiver = m_pApp->Receiver(false, {{kServer.ip, 0, 0}, kServer.port});
        });
    }
    ~CListener() override {
        Do([&] {
            m_receiver.Release();
            m_pApp.reset();
        });
        Release();
    }
    std::vector<std::string>& Heard() { return m_pApp->delivered; }

protected:
    void OnTurn() override {
        if (m_world.Elapsed() < m_nNextPoll) return;
        m_nNextPoll = m_world.Elapsed() + 1000;
        m_receiver.IsDisconnected();
    }

private:
    std::unique_ptr<CMediumApp> m_pApp;
    CMade m_receiver;
    uint64_t m_nNextPoll = 0;
};

class PublisherReturn : public testing::TestWithParam<CTestMedium> {};

TEST_P(PublisherReturn, IsOnTheAirWithinSecondsThoughItsStartWasLost) {
    const CMediumRow& row = GetParam().row;
    Ledger ledger;
    CFakeNet net;
    CWorld world(1);
    CServerNode server(world, net);
    CBroadcaster publisher(world, net, GetParam());
    CListener listener(world, net, GetParam());
    ledger.connect = Datagram(row, row.source.connect, {});
    ledger.start = Datagram(row, row.source.keepAlive, {});
    world.AddFault<CAsking>(kPublisher, kServer, &ledger);
    world.AddFault<CAnswering>(kServer, kPublisher, &ledger);
    const auto run = [&](uint64_t milliseconds) {
        const uint64_t end = world.Elapsed() + milliseconds;
        return world.RunUntil([&] { return !listener.Heard().empty(); }, [&] { return end; });
    };
    ASSERT_TRUE(run(3000));
    publisher.Leave();
    world.RunFor(500);
    listener.Heard().clear();
    ledger.open = true;
    publisher.Join();
    EXPECT_TRUE(run(4000));
    EXPECT_TRUE(ledger.lost);
    EXPECT_TRUE(ledger.validated);
    EXPECT_TRUE(ledger.fair) << ledger.answered << " bytes for " << ledger.asked;
}

INSTANTIATE_TEST_SUITE_P(Media, PublisherReturn, testing::Values(kAudio, kVideo), testing::PrintToStringParamName());

}  // namespace
