// A board when its connection comes and goes.
#include "board_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace lumo;
using namespace board_fixture;
using nlohmann::json;

namespace {

TEST_F(Board, WhatIsDrawnOfflineIsOfferedOnceTheOtherBoardHasCome) {
    const uint32_t drawn = Draw();
    m_board.GoOnline(m_now);
    Hear(BoardCommand::List, 0, Word(1) + Word(2));
    EXPECT_EQ(Said(BoardCommand::Request).size(), 2U);
    Hear(BoardCommand::Data, 1, Record());
    m_board.Tick(m_now + CBoard::kQuietMs - 1);
    EXPECT_TRUE(Said(BoardCommand::Data).empty()) << "theirs is still coming";
    Settle();
    const auto data = Said(BoardCommand::Data);
    ASSERT_EQ(data.size(), 1U);
    EXPECT_EQ(WordAt(data[0], 4), drawn);
    Settle();
    EXPECT_TRUE(Said(BoardCommand::Data).empty()) << "once";
    EXPECT_EQ(Objects().size(), 2U);
}

TEST_F(Board, AfterABreakOnlyTheOtherSidesBoardAndWhatWasDrawnMeanwhileRemain) {
    GoOnline();
    const uint32_t old = Draw();
    Hear(BoardCommand::Data, 1, Record());
    Hear(BoardCommand::Data, 2, Record());
    m_now += 60000;
    const uint32_t unsure = Draw();
    m_board.GoOffline(m_now, 12000);
    const uint32_t offline = Draw();
    Do(WithIDs("delete", 1));
    Do(WithIDs("move", old, R"(,"dx":16,"dy":0)"));
    EXPECT_EQ(Objects().size(), 5U) << "what others may have changed is not touched";
    Said(BoardCommand::Data);

    m_board.GoOnline(m_now);
    Hear(BoardCommand::List, 0, Word(2) + Word(old));
    EXPECT_EQ(Said(BoardCommand::Request).size(), 2U) << "their present state is asked for";
    Hear(BoardCommand::Data, 2, Record());
    Hear(BoardCommand::Data, old, Record());
    Settle();
    EXPECT_EQ(Said(BoardCommand::Data).size(), 2U);
    std::vector<uint32_t> expected{2, old, unsure, offline};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(IDs(), expected) << "1 was deleted by others";
}

TEST_F(Board, WhatWasDrawnLongAgoAndOfferedJustNowIsOfferedAgainAfterABreak) {
    const uint32_t offline = Draw();
    m_now += 60000;
    GoOnline();
    m_now += 1000;
    m_board.GoOffline(m_now, 12000);
    GoOnline();
    EXPECT_EQ(IDs(), std::vector<uint32_t>{offline});
    m_now += 60000;
    m_board.GoOnline(m_now);  // a host that has been without its server
    m_board.GoOffline(m_now, 12000);
    GoOnline();
    EXPECT_EQ(IDs(), std::vector<uint32_t>{offline});
}

TEST_F(Board, AHostThatIsReplacedBringsTheWholeBoardToTheOtherOne) {
    m_board.GoOnlineAsHost(m_now);
    Hear(BoardCommand::Data, 1, Record());
    const uint32_t own = Draw();
    m_now += 600000;
    m_board.GoOfflineAsHost();
    Said(BoardCommand::Data);
    GoOnline();
    EXPECT_EQ(Said(BoardCommand::Data).size(), 2U);
    EXPECT_EQ(IDs(), (std::vector<uint32_t>{1, own}));
}

TEST_F(Board, AHostThatTakesOverOffersEverything) {
    GoOnline();
    Hear(BoardCommand::Data, 1, Record());
    const uint32_t own = Draw();
    m_board.GoOffline(m_now, 0);
    Said(BoardCommand::Data);
    m_board.GoOnlineAsHost(m_now);
    EXPECT_EQ(Said(BoardCommand::Data).size(), 2U);
    Do(WithIDs("delete", own));
    EXPECT_EQ(IDs(), std::vector<uint32_t>{1}) << "and may change it";
}

TEST_F(Board, TimesThatAreALittleOlderThanThoseOfOthersHurryNothing) {
    m_board.GoOnline(m_now);
    ++m_now;
    Hear(BoardCommand::Data, 1, Record());
    Hear(BoardCommand::Hello, 3, Word(0) + "Eve");
    m_board.Tick(m_now - 1);
    EXPECT_EQ(json::parse(m_board.Text())["people"], 2) << "she has just come";
    m_board.GoOffline(m_now, 0);
    m_board.GoOnline(m_now);
    Hear(BoardCommand::List, 0, Word(2));
    ++m_now;
    Hear(BoardCommand::Data, 2, Record());
    m_board.Tick(m_now - 1);
    EXPECT_EQ(IDs(), (std::vector<uint32_t>{1, 2})) << "theirs is still coming";
    Settle();
    EXPECT_EQ(IDs(), std::vector<uint32_t>{2});
    ++m_now;
    const uint32_t drawn = Draw();
    m_board.GoOffline(m_now - 1, 12000);
    GoOnline();
    EXPECT_EQ(IDs(), std::vector<uint32_t>{drawn}) << "it may not have arrived";
}

TEST_F(Board, UndoKeepsItsStepsUntilAllOfTheBoardIsBack) {
    GoOnline();
    const uint32_t first = Draw();
    Draw();
    m_now += 60000;
    m_board.GoOffline(m_now, 0);
    m_board.GoOnline(m_now);
    Do(R"([{"do":"undo"}])");
    EXPECT_EQ(IDs().size(), 2U) << "nobody knows whether they are there";
    Hear(BoardCommand::List, 0, Word(first));
    Hear(BoardCommand::Data, first, Record());
    Settle();
    EXPECT_EQ(IDs(), std::vector<uint32_t>{first});
    Do(R"([{"do":"undo"}])");
    EXPECT_TRUE(IDs().empty());
}

}  // namespace
