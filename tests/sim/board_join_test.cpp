// How long people at a whiteboard wait: a late joiner for everything, everybody for strokes and pointers.
#include "sim/nodes.h"
#include "sim/wide_end.h"
#include "support/medium_app.h"
#include "support/p2p_peer.h"
#include "support/wb_reader.h"
#include "support/wb_words.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace sim {
namespace {

constexpr Address kEarly{CTestHost::kPeerIP, CTestHost::kPeerPort}, kLate{0x0a000003, 40000};

/// An application at its own board.
class CBoardNode : public CNode {
public:
    CBoardNode(CWorld& world, CFakeNet& net, Address address) : CNode(world, net, address) {
        Do([&] {
            m_pPeers = std::make_unique<CAnsweringPeer>();
            app = kWhiteboard.make(CMediumApp::kChannelID);
            reader = std::make_unique<CReader>(app->As<CWBChannel>());
        });
    }
    ~CBoardNode() override {
        Do([&] {
            m_client.Release();
            reader.reset();
            app.reset();
        });
        Release();
        Do([&] { m_pPeers.reset(); });
    }
    /// Joins its board to the early one, whose address it is told; the punch is known to have gone through.
    void Join() {
        Do([&] {
            m_client = app->PeerReceiver(false);
            m_pPeers->Announce("P2P_START_ACK", CMediumApp::kPeerUser);
        });
        Hear(Hex("03 08000000"), kEarly);
        Do([&] { m_client.IsDisconnected(); });
    }

    std::unique_ptr<CMediumApp> app;
    std::unique_ptr<CReader> reader;

private:
    std::unique_ptr<CAnsweringPeer> m_pPeers;
    CMade m_client;
};

struct JoinRow {
    bool wide;
    uint32_t objects, permilleLost, delay;
    uint64_t withinMs;
};

TEST(BoardJoin, ALateJoinerIsCompleteInTime) {
    const JoinRow rows[] = {{false, 10000, 0, 0, 5000}, {false, 500, 20, 2, 15000}, {true, 1500, 0, 20, 2000}};
    for (const JoinRow& row : rows) {
        SCOPED_TRACE(std::to_string(row.objects) + " objects");
        const CWideSessions wide(row.wide);
        CWorld world(1);
        CFakeNet net;
        CBoardNode early(world, net, kEarly), late(world, net, kLate);
        world.AddFaults(kEarly, kLate, Loss(row.permilleLost));
        world.AddFaults(kEarly, kLate, Delay(row.delay, row.delay));
        early.Do([&] {
            for (uint32_t id = 1; id <= row.objects; ++id)
                early.reader->Say(wb_words::Message(wb_words::kData, 1000 + id, 0, std::string(120, 'o')));
        });
        late.Join();
        EXPECT_TRUE(
            world.RunUntil([&] { return late.reader->heard.size() >= row.objects; }, [&] { return row.withinMs; }))
            << late.reader->heard.size();
        EXPECT_EQ(late.app->connected.size(), 1U);
        for (const std::string& message : late.reader->heard)
            ASSERT_EQ(wb_words::WordAt(message, 0), static_cast<uint32_t>(wb_words::kOffer));
        RecordProperty("ms for " + std::to_string(row.objects), static_cast<int>(world.Elapsed()));
    }
}

// One moves its pointer 20 times a second and draws a stroke meanwhile.
TEST(BoardPointers, NoStrokeStandsBehindThemAndNoneIsOld) {
    constexpr uint32_t kDelay = 200, kEvery = 50;
    for (const bool wide : {false, true}) {
        const CWideSessions sessions(wide);
        CWorld world(1);
        CFakeNet net;
        CBoardNode early(world, net, kEarly), late(world, net, kLate);
        world.AddFaults(kEarly, kLate, Delay(kDelay, kDelay));
        late.Join();
        world.RunFor(2000);
        uint64_t drawn = 0, age = 0, strokeTook = 0;
        for (int i = 0; i < 100; ++i) {
            late.Do([&] {
                const auto now = static_cast<uint32_t>(world.Elapsed());
                late.reader->Say(wb_words::Message(wb_words::kPointer, 7, 0, wb_words::Words({now, 0})));
                if (i != 50) return;
                late.reader->Say(wb_words::Message(wb_words::kData, 1, 0, "stroke"));
                drawn = now;
            });
            world.RunFor(kEvery);
            for (const std::string& message : early.reader->Heard()) {
                if (wb_words::WordAt(message, 0) == wb_words::kOffer)
                    strokeTook = world.Elapsed() - drawn;
                else
                    age = std::max(age, world.Elapsed() - wb_words::WordAt(message, 12));
            }
        }
        // A given session carries one message a round trip; the stroke is offered, asked for and sent.
        EXPECT_TRUE(kDelay <= age && age <= (wide ? 1 : 3) * kDelay + kEvery) << age;
        EXPECT_TRUE(kDelay <= strokeTook && strokeTook <= (wide ? 3 : 5) * kDelay + kEvery) << strokeTook;
    }
}

}  // namespace
}  // namespace sim
