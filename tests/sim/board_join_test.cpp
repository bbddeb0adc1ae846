// How long people at a whiteboard wait: a late joiner for everything, everybody for strokes and pointers.
#include "sim/nodes.h"
#include "sim/wide_end.h"
#include "support/medium_app.h"
#include "support/p2p_peer.h"
#include "support/wb_reader.h"
#include "support/wb_words.h"
#include "tools/lumo/board/board_seat.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <set>

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

/// The board of `lumo whiteboard` at a relay server, and the page that shows it.
class CPersonNode : public CNode, private IWBSessionClientNotify {
public:
    CPersonNode(CWorld& world, CFakeNet& net, Address address) : CNode(world, net, address) {
        std::vector<uint32_t> none;
        m_page = m_board.OpenPage(none);
        Do([&] { Sit(); });
    }
    ~CPersonNode() override {
        Do([&] { Leave(); });
        Release();
    }
    void Come() {
        Do([&] {
            m_pClient = CreateWBSessionClientUDP(*this, CMediumApp::kChannelID, kServer.ip, 0, 0, kServer.port, 0, 0, 0,
                                                 0, true);
        });
    }
    void Lose() {
        Do([&] {
            m_board.GoOffline();
            Leave();
            Sit();
        });
    }
    std::vector<uint32_t> Act(const std::string& action) {
        std::vector<lumo::BoardAction> actions;
        EXPECT_TRUE(lumo::ParseActions("[" + action + "]", actions));
        std::vector<uint32_t> made;
        Do([&] { made = m_board.Do(actions, Now()).at(0); });
        return made;
    }
    std::string Text() { return nlohmann::json::parse(m_board.Text())["objects"].dump(); }

    std::set<uint32_t> shown;
    std::set<uint32_t> left;  // the page, since that was emptied

private:
    uint64_t Now() const { return 1000000 + m_world.Elapsed(); }
    void Sit() { m_pSeat = std::make_unique<lumo::CBoardSeat>(CMediumApp::kChannelID, m_board, m_wake); }
    void Leave() {
        if (m_pClient) m_pClient->ReleaseConnections();
        m_pClient = nullptr;
        m_pSeat.reset();
    }
    void OnWBSessionClientNotifyConnected(unsigned long) override { m_bTaken = true; }
    void OnTurn() override {
        if (std::exchange(m_bTaken, false)) m_board.GoOnline(Now());
        if (m_pSeat) m_pSeat->Turn(Now());
        m_board.Tick(Now());
        for (lumo::EventText event; m_page->Wait(std::chrono::milliseconds(0), event) && event;) {
            const nlohmann::json told = nlohmann::json::parse(*event);
            if (told["type"] == "add")
                for (const auto& object : told["objects"]) shown.insert(object["id"].get<uint32_t>());
            if (told["type"] != "delete") continue;
            for (const uint32_t id : told["ids"]) {
                shown.erase(id);
                left.insert(id);
            }
        }
    }

    lumo::CPageFeeds m_feeds;
    lumo::CBoard m_board{CMediumApp::kChannelID, m_address.ip, "user", m_feeds};
    lumo::PageFeedPtr m_page;
    lumo::CWake m_wake;
    std::unique_ptr<lumo::CBoardSeat> m_pSeat;
    IWBSessionClient* m_pClient = nullptr;
    bool m_bTaken = false;
};

TEST(BoardJoin, WhoComesBackIsCompleteInTimeAndNothingLeavesThePageMeanwhile) {
    constexpr uint32_t kStrokes = 1500, kOneWayMs = 20;
    constexpr uint64_t kWithinMs = 2000;
    const CWideSessions wide(true);
    CWorld world(1);
    CFakeNet net;
    CServerNode relay(world, net);
    CPersonNode early(world, net, kEarly), late(world, net, kLate);
    for (const Address address : {kEarly, kLate}) world.AddFaults(address, kServer, Delay(kOneWayMs, kOneWayMs));
    const auto within = [&](const std::function<bool()>& done) {
        const uint64_t end = world.Elapsed() + kWithinMs;
        return world.RunUntil(done, [&] { return end; });
    };
    early.Come();
    world.RunFor(2000);
    std::string points = "0,0";
    for (int i = 1; i < 60; ++i) points += "," + std::to_string(i * 12) + "," + std::to_string(i * i % 97);
    std::vector<uint32_t> strokes;
    for (uint32_t i = 0; i < kStrokes; ++i)
        strokes.push_back(early
                              .Act(R"({"do":"add","objects":[{"type":"pen","colour":"#000000","width":64,)"
                                   R"("box":[0,0,708,97],"points":[)" +
                                   points + "]}]}")
                              .at(0));
    world.RunFor(5000);
    const uint64_t came = world.Elapsed();
    late.Come();
    EXPECT_TRUE(within([&] { return late.shown.size() == kStrokes; })) << late.shown.size();
    RecordProperty("ms to join", static_cast<int>(world.Elapsed() - came));
    world.RunFor(2000);
    late.Lose();
    const std::string ids = R"(,"ids":[)" + std::to_string(strokes[7]) + "]}";
    early.Act(R"({"do":"move","dx":16,"dy":0)" + ids);
    early.Act(R"({"do":"delete","ids":[)" + std::to_string(strokes[8]) + "]}");
    world.RunFor(1000);
    late.Come();
    EXPECT_TRUE(within([&] { return late.left.size() == 1; }));
    EXPECT_TRUE(within([&] { return late.Text() == early.Text(); }));
    EXPECT_EQ(late.left, std::set<uint32_t>{strokes[8]});
}

}  // namespace
}  // namespace sim
