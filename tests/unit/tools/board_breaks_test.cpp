// A board when its connection comes and goes, and people do.
#include "board_fixture.h"
#include "tools/lumo/board/board_link.h"

using namespace board_fixture;

namespace {

TEST_F(Board, WhatIsDrawnOfflineIsOfferedOnceTheOtherBoardHasCome) {
    const uint32_t drawn = Draw();
    m_board.GoOnline(m_now);
    m_board.Tick(m_now += 60);
    Hear(BoardCommand::Offer, 1);
    EXPECT_EQ(Said(BoardCommand::Request).size(), 1U);
    m_board.Tick(m_now += CBoard::kQuietMs);
    EXPECT_TRUE(Said(BoardCommand::Data).empty()) << "the far side has not answered";
    m_board.OnFarEcho(m_probed, m_now);
    HearDrawn({1});
    m_board.Tick(m_now + CBoard::kQuietMs - 1);
    EXPECT_TRUE(Said(BoardCommand::Data).empty()) << "its board may still be coming";
    m_board.Tick(m_now += CBoard::kQuietMs);
    const auto data = Said(BoardCommand::Data);
    ASSERT_EQ(data.size(), 1U);
    EXPECT_EQ(WordAt(data[0], 4), drawn);
    Settle();
    EXPECT_TRUE(Said(BoardCommand::Data).empty()) << "once";
    constexpr uint32_t kLife = CBoardLife::kFirstNumber;
    Hear(BoardCommand::Data, kLife, CBoardLife::MakeRecord(0));
    for (const uint32_t id : {2U, 3U}) {
        IDs there = Held();
        HearDrawn({id});
        Settle();
        GoOffline();
        DoTo("delete", id);
        Undo();
        const IDs held = Held();
        m_board.OnFarBegin();
        if (id == 3) {  // its deletion gets there in a connection that is too short
            m_board.GoOnline(m_now);
            GoOffline();
            m_board.OnFarBegin();
            there.push_back(kLife);
        }
        m_board.OnFarList(there, m_now);
        m_board.GoOnline(m_now, true);
        if (id == 2) m_board.OnFarOffer(id);  // by a near server that was still fetching
        Hear(BoardCommand::Data, kLife, CBoardLife::MakeRecord(0));
        EXPECT_EQ(Held(), held) << "nobody else has deleted what undo has brought back: " << id;
    }
}

/// What is drawn goes on only when it is asked for, so one echo says nothing of it, nor two of the home server.
TEST_F(Board, TheSecondEchoOrTheThirdByANearServerShowsThatItHasArrived) {
    constexpr uint32_t kLife = CBoardLife::kFirstNumber;
    const auto isOffered = [&](int echoes, bool near) {
        GoOnline(near);
        Hear(BoardCommand::Data, kLife, CBoardLife::MakeRecord(0));
        const uint32_t id = Draw();
        for (int echo = 0; echo < echoes; ++echo) {
            m_board.Tick(m_now += CEchoes::kAskHomeEveryMs);
            m_board.OnFarEcho(m_probed + 1, m_now);  // nobody has asked for it
            m_board.OnFarEcho(m_probed, m_now);
        }
        GoOffline();
        Said(BoardCommand::Data);
        m_board.OnFarBegin();
        m_board.GoOnline(m_now);
        m_board.OnFarList({kLife}, m_now);
        const auto data = Said(BoardCommand::Data);
        GoOffline();
        return std::any_of(data.begin(), data.end(), [&](const auto& said) { return WordAt(said, 4) == id; });
    };
    for (const bool near : {false, true})
        for (const int echoes : {0, 1, 2, 3}) EXPECT_EQ(isOffered(echoes, near), echoes < (near ? 3 : 2)) << echoes;
    for (const bool near : {false, true}) {
        GoOnline(near);
        Draw();
        m_board.Tick(m_now += CEchoes::kAskHomeEveryMs);
        const uint32_t asked = m_probed;
        m_board.OnHeld(Held(), false, m_now);  // too much was heard at once, and the echo may be lost
        m_board.Tick(m_now += CEchoes::kAskHomeEveryMs);
        EXPECT_EQ(m_probed, asked + 1);
        HearDrawn({1});
        DoTo("delete", 1);
        EXPECT_EQ(Said(BoardCommand::Delete).size(), 1U);
        for (int i = 0; i < 10; ++i) m_board.Tick(m_now += CEchoes::kLostAfterMs);
        EXPECT_EQ(m_probed, asked + (near ? 4 : 1)) << "one's own link loses none, and the home server may be far away";
        m_board.OnFarEcho(m_probed, m_now);
        EXPECT_EQ(Said(BoardCommand::Delete).size(), 1U) << "what went before the one that stayed away may have, too";
        Settle();
        GoOffline();
    }
}

TEST_F(Board, WhoBecomesOrCeasesToBeAHostBringsTheWholeBoard) {
    GoOnline();
    HearDrawn({1});
    const uint32_t own = Draw();
    GoOffline();
    Said(BoardCommand::Data);
    m_board.GoOnlineAsHost(m_now);
    EXPECT_EQ(Said(BoardCommand::Data).size(), 3U) << "and the board's life";
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
    const uint32_t drawn = Draw();
    m_board.GoOnline(m_now);
    m_board.Tick(m_now);
    m_board.OnFarEcho(m_probed, m_now);
    ++m_now;
    HearDrawn({1});
    Hear(BoardCommand::Hello, 3, Words({0}) + "Eve");
    Said(BoardCommand::Data);
    const uint32_t asked = m_probed;
    m_board.Tick(m_now - 2);
    EXPECT_EQ(m_probed, asked);
    EXPECT_EQ(People(), 2U) << "she has just come";
    EXPECT_TRUE(Said(BoardCommand::Data).empty()) << drawn << ": their board is still coming";
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

}  // namespace
