// A board when its connection comes and goes, and people do.
#include "board_fixture.h"
#include "tools/lumo/board/board_link.h"

using namespace board_fixture;

namespace {

TEST_F(Board, WhatIsDrawnOfflineIsOfferedOnceTheOtherBoardHasCome) {
    const uint32_t drawn = Draw();
    m_board.GoOnline(m_now);
    Hear(BoardCommand::List, 0, Words({1, 2}));
    EXPECT_EQ(Said(BoardCommand::Request).size(), 2U);
    HearDrawn({1});
    m_board.Tick(m_now + CBoard::kQuietMs - 1);
    EXPECT_TRUE(Said(BoardCommand::Data).empty()) << "theirs is still coming";
    Settle();
    const auto data = Said(BoardCommand::Data);
    ASSERT_EQ(data.size(), 1U);
    EXPECT_EQ(WordAt(data[0], 4), drawn);
    Settle();
    EXPECT_TRUE(Said(BoardCommand::Data).empty()) << "once";
    EXPECT_EQ(Held().size(), 2U);
}

TEST_F(Board, AfterABreakOnlyTheOtherSidesBoardAndWhatWasDrawnMeanwhileRemain) {
    GoOnline();
    const uint32_t old = Draw();
    HearDrawn({1, 2});
    m_now += 60000;
    const uint32_t unsure = Draw();
    GoOffline();
    const uint32_t offline = Draw();
    DoTo("delete", 1);
    DoTo("move", old, R"(,"dx":16,"dy":0)");
    EXPECT_EQ(Held().size(), 5U) << "what others may have changed is not touched";
    Said(BoardCommand::Data);

    m_board.GoOnline(m_now);
    Hear(BoardCommand::List, 0, Words({2, old}));
    EXPECT_EQ(Said(BoardCommand::Request).size(), 2U) << "their present state is asked for";
    HearDrawn({2, old});
    Settle();
    EXPECT_EQ(Said(BoardCommand::Data).size(), 2U);
    IDs expected{2, old, unsure, offline};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(Held(), expected) << "1 was deleted by others";
}

TEST_F(Board, WhatWasDrawnLongAgoAndOfferedJustNowIsOfferedAgainAfterABreak) {
    const uint32_t offline = Draw();
    m_now += 60000;
    GoOnline();
    m_now += 1000;
    GoOffline();
    GoOnline();
    EXPECT_EQ(Held(), IDs{offline});
    m_now += 60000;
    m_board.GoOnline(m_now);  // a host that has been without its server
    GoOffline();
    GoOnline();
    EXPECT_EQ(Held(), IDs{offline});
}

TEST_F(Board, WhoBecomesOrCeasesToBeAHostBringsTheWholeBoard) {
    GoOnline();
    HearDrawn({1});
    const uint32_t own = Draw();
    GoOffline(0);
    Said(BoardCommand::Data);
    m_board.GoOnlineAsHost(m_now);
    EXPECT_EQ(Said(BoardCommand::Data).size(), 2U);
    DoTo("delete", own);
    EXPECT_EQ(Held(), IDs{1}) << "and may change it";
    HearDrawn({2});
    m_now += 600000;
    m_board.GoOfflineAsHost();
    Said(BoardCommand::Data);
    GoOnline();
    EXPECT_EQ(Said(BoardCommand::Data).size(), 2U);
    EXPECT_EQ(Held(), (IDs{1, 2}));
}

TEST_F(Board, TimesThatAreALittleOlderThanThoseOfOthersHurryNothing) {
    m_board.GoOnline(m_now);
    ++m_now;
    HearDrawn({1});
    Hear(BoardCommand::Hello, 3, Words({0}) + "Eve");
    m_board.Tick(m_now - 1);
    EXPECT_EQ(People(), 2U) << "she has just come";
    GoOffline(0);
    m_board.GoOnline(m_now);
    Hear(BoardCommand::List, 0, Words({2}));
    ++m_now;
    HearDrawn({2});
    m_board.Tick(m_now - 1);
    EXPECT_EQ(Held(), (IDs{1, 2})) << "theirs is still coming";
    Settle();
    EXPECT_EQ(Held(), IDs{2});
    ++m_now;
    const uint32_t drawn = Draw();
    m_board.GoOffline(m_now - 1, 12000);
    GoOnline();
    EXPECT_EQ(Held(), IDs{drawn}) << "it may not have arrived";
}

TEST_F(Board, UndoKeepsItsStepsUntilAllOfTheBoardIsBack) {
    GoOnline();
    const uint32_t first = Draw();
    Draw();
    m_now += 60000;
    GoOffline(0);
    m_board.GoOnline(m_now);
    Undo();
    EXPECT_EQ(Held().size(), 2U) << "nobody knows whether they are there";
    Hear(BoardCommand::List, 0, Words({first}));
    HearDrawn({first});
    Settle();
    EXPECT_EQ(Held(), IDs{first});
    Undo();
    EXPECT_EQ(Held(), IDs());
}

TEST_F(Board, NamesOfOthersAreCleanedCountedAndForgotten) {
    GoOnline();
    Hear(BoardCommand::Pointer, 3, Words({1, 2}));
    Hear(BoardCommand::Hello, 3, "abc");
    Hear(BoardCommand::Hello, 77, Words({0}) + "me");
    EXPECT_EQ(People(), 1U) << "no greeting, a cut one, one's own";
    const PageFeedPtr page = Open();
    for (uint32_t id = 1000; id < 2000; ++id)
        Hear(BoardCommand::Hello, id, Words({0}) + "\x1b[2J" + std::string(500, 'x'));
    m_board.Tick(m_now);
    EXPECT_LE(Told(page, "\"people\"").size(), 2U) << "not once for each";
    EXPECT_EQ(People(), CPeople::kMaxPeople + 1);
    Hear(BoardCommand::Goodbye, 1000);
    EXPECT_EQ(People(), CPeople::kMaxPeople);
    m_now += CPeople::kForgetMs + 1;
    m_board.Tick(m_now);
    EXPECT_EQ(People(), 1U);
    EXPECT_EQ(CPeople::CleanName("\x1b[2J\xff"), "?[2J?");
    EXPECT_LE(CPeople::CleanName(std::string(500, 'x')).size(), CPeople::kMaxName);
    EXPECT_EQ(CPeople::CleanName(std::string(59, 'x') + "\xc3\xa9"), std::string(59, 'x')) << "no half letters";
    EXPECT_EQ(CPeople::CleanName("  "), "Somebody");
}

TEST_F(Board, GreetsOnceASecondAtMostAndOfTwoWithOneColourOneTakesAnother) {
    constexpr uint64_t kAnswerMs = CPeople::kHelloAtMostEveryMs + CPeople::kAnswerSpreadMs;
    GoOnline();
    size_t greetings = 0;
    uint32_t colour = 0;
    const auto run = [&](uint64_t milliseconds) {
        for (const uint64_t end = m_now + milliseconds; m_now < end;) {
            m_board.Tick(m_now += 50);
            for (const std::string& said : Said(BoardCommand::Hello)) {
                ++greetings;
                colour = WordAt(said, kMessageHead);
            }
        }
    };
    run(CPeople::kHelloMs);
    const uint32_t first = colour;
    ASSERT_NE(first, 0U);
    Hear(BoardCommand::Hello, 78, Words({first}) + "Eve");
    run(kAnswerMs);
    EXPECT_EQ(colour, first) << "it is hers to change";
    Hear(BoardCommand::Hello, 76, Words({first}) + "Bob");
    run(kAnswerMs);
    EXPECT_NE(colour, first);
    greetings = 0;
    for (uint32_t id = 1000; id < 1100; ++id) {
        Hear(BoardCommand::Hello, id, Words({0}) + "x");
        run(50);
    }
    EXPECT_NEAR(static_cast<double>(greetings), 5, 1) << "newcomers for five seconds";
}

class CFakeLink final : public CBoardLink, private IWBSessionClient {
public:
    CFakeLink(CInbox& inbox, bool tcp) : CBoardLink(inbox, Times()), m_bTcp(tcp) {}
    ~CFakeLink() override { Close(); }
    void Look(uint64_t now, unsigned long queued) {
        m_nQueued = queued;
        Poll(now);
        LookForLife(now);
    }

private:
    IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) override {
        notify.OnWBSessionClientNotifyConnected(0);
        return this;
    }
    std::vector<LumoLinkStatistics> Links() const override {
        LumoLinkStatistics own{}, other{};
        own.ulQueuedFrames = m_nQueued;
        return m_bTcp ? std::vector<LumoLinkStatistics>() : std::vector<LumoLinkStatistics>{own, other};
    }
    bool IsTcp() const override { return m_bTcp; }
    void ReleaseConnections() override {}
    bool IsDisconnected() override { return false; }

    const bool m_bTcp;
    unsigned long m_nQueued = 0;
};

TEST(BoardLink, WhatIsQueuedIsUnsureHoweverOldItIs) {
    CWake wake;
    CInbox inbox(wake, 0, 0);
    CFakeLink udp(inbox, false), tcp(inbox, true);
    udp.Look(1000, 3);
    ASSERT_FALSE(udp.IsTaken());
    udp.Look(1050, 3);
    ASSERT_TRUE(udp.IsTaken());
    EXPECT_GE(udp.UnsureMs(1050), 1050U) << "all of it: nothing has left yet";
    udp.Look(2000, 0);
    const uint64_t idle = udp.UnsureMs(2000);
    for (uint64_t now = 2050; now <= 8000; now += 50) udp.Look(now, 1);
    EXPECT_EQ(udp.UnsureMs(8000), idle + 6000);
    udp.Look(8050, 0);
    EXPECT_EQ(udp.UnsureMs(8050), idle);
    tcp.Look(1000, 3);
    tcp.Look(1050, 3);
    EXPECT_GT(tcp.UnsureMs(1050), idle) << "its queue is not seen, and it may be silent for longer";
}

}  // namespace
