// A publisher comes back to a relay server where somebody listens, and the one datagram that starts it is lost.
#include "sim/endpoints_stream.h"
#include "sim/video_world.h"

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

template <class M>
class CBroadcaster : public CNode {
public:
    CBroadcaster(CWorld& world, CFakeNet& net) : CNode(world, net, kPublisher, MakeClient) {
        m_notify.frames = &m_asked;
        Do([&] { m_pChannel = std::make_unique<typename M::Channel>(stream_endpoints::kChannelID); });
        Join();
    }
    ~CBroadcaster() override {
        Leave();
        Do([&] {
            m_pChannel->ReleaseConnections();
            m_pChannel.reset();
        });
        Release();
    }
    void Join() {
        Do([&] { m_pSender = M::kSenderUDP(m_notify, stream_endpoints::kChannelID, kServer.ip, 0, 0, kServer.port); });
    }
    void Leave() {
        Do([&] { m_pSender->ReleaseConnections(); });
        m_pSender = nullptr;
    }

protected:
    void OnTurn() override {
        if (m_world.Elapsed() < m_nNext) return;
        m_nNext = m_world.Elapsed() + 100;
        M::Write(*m_pChannel, "\1..a key frame, ten of them a second");
        if (m_pSender && m_world.Elapsed() % 1000 < 100) m_pSender->IsDisconnected();
    }

private:
    typename M::CNotify m_notify;
    std::vector<std::string> m_asked;
    std::unique_ptr<typename M::Channel> m_pChannel;
    typename M::Sender* m_pSender = nullptr;
    uint64_t m_nNext = 0;
};

template <class M>
class CListener : public CNode {
public:
    CListener(CWorld& world, CFakeNet& net) : CNode(world, net, kListener, MakeClient) {
        m_notify.frames = &heard;
        Do([&] {
            m_pReceiver =
                M::kReceiverUDP(m_notify, stream_endpoints::kChannelID, kServer.ip, 0, 0, kServer.port, 0, 0, 0, 0, 1);
        });
    }
    ~CListener() override {
        Do([&] { m_pReceiver->ReleaseConnections(); });
        Release();
    }

    std::vector<std::string> heard;

protected:
    void OnTurn() override {
        if (m_world.Elapsed() < m_nNextPoll) return;
        m_nNextPoll = m_world.Elapsed() + 1000;
        m_pReceiver->IsDisconnected();
    }

private:
    typename M::CNotify m_notify;
    typename M::Receiver* m_pReceiver = nullptr;
    uint64_t m_nNextPoll = 0;
};

template <class M>
class PublisherReturn : public testing::Test {};
using Media = testing::Types<stream_endpoints::Audio, stream_endpoints::Video>;
TYPED_TEST_SUITE(PublisherReturn, Media);

TYPED_TEST(PublisherReturn, IsOnTheAirWithinSecondsThoughItsStartWasLost) {
    using M = TypeParam;
    Ledger ledger;
    CFakeNet net;
    CWorld world(1);
    CServerNode server(world, net);
    CBroadcaster<M> publisher(world, net);
    CListener<M> listener(world, net);
    ledger.connect = Hex(M::kCodes.sourceConnectAck);
    --ledger.connect[1];  // the request stands before its answer
    ledger.start = Hex(M::kCodes.sourceStart);
    world.AddFault<CAsking>(kPublisher, kServer, &ledger);
    world.AddFault<CAnswering>(kServer, kPublisher, &ledger);
    const auto run = [&](uint64_t milliseconds) {
        const uint64_t end = world.Elapsed() + milliseconds;
        return world.RunUntil([&] { return !listener.heard.empty(); }, [&] { return end; });
    };
    ASSERT_TRUE(run(3000));
    publisher.Leave();
    world.RunFor(500);
    listener.heard.clear();
    ledger.open = true;
    publisher.Join();
    EXPECT_TRUE(run(4000));
    EXPECT_TRUE(ledger.lost);
    EXPECT_TRUE(ledger.validated);
    EXPECT_TRUE(ledger.fair) << ledger.answered << " bytes for " << ledger.asked;
}

}  // namespace
