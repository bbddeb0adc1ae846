// A board between its pages and its channel: undo, what pages ask, what others send.
#include "board_fixture.h"

#include <gtest/gtest.h>

using namespace lumo;
using namespace board_fixture;
using nlohmann::json;

namespace {

TEST_F(Board, UndoTakesBackOnesOwnAndPassesOverWhatOthersHaveDeleted) {
    GoOnline();
    const uint32_t first = Draw(), second = Draw();
    const auto boxLeft = [&] { return Objects()[0]["sha256"]; };
    Do(WithIDs("delete", second));
    const json before = boxLeft();
    Do(WithIDs("move", first, R"(,"dx":-16,"dy":2147483647)"));
    EXPECT_NE(boxLeft(), before);
    Do(R"([{"do":"undo"}])");
    EXPECT_EQ(boxLeft(), before);
    Do(R"([{"do":"undo"}])");
    ASSERT_EQ(Objects().size(), 2U) << "the deletion";
    Said(BoardCommand::Delete);
    Hear(BoardCommand::Delete, 0, Word(first));
    const uint32_t again = IDs()[0];
    Do(R"([{"do":"undo"}])");
    EXPECT_TRUE(IDs().empty()) << "its drawing, under the number it has now: " << again;
    Do(R"([{"do":"undo"},{"do":"undo"},{"do":"redo"}])");
    EXPECT_EQ(Objects().size(), 1U);
}

TEST_F(Board, AReplacementIsOneStepAndAllOrNothing) {
    GoOnline();
    const auto replace = [&](uint32_t id) {
        return Do(R"([{"do":"replace","id":)" + std::to_string(id) + R"(,"object":)" + kLine + "}]");
    };
    const uint32_t old = Draw();
    const auto changed = replace(old);
    ASSERT_EQ(changed.size(), 1U);
    EXPECT_EQ(IDs(), changed);
    Do(R"([{"do":"undo"}])");
    EXPECT_EQ(IDs().size(), 1U);
    EXPECT_NE(IDs(), changed) << "the old one, under a new number";
    const uint32_t again = IDs()[0];
    m_now += 60000;
    m_board.GoOffline(m_now, 0);
    EXPECT_TRUE(replace(again).empty());
    EXPECT_EQ(IDs(), std::vector<uint32_t>{again}) << "others may have changed it";
    EXPECT_EQ(replace(again + 1).size(), 1U) << "what is not there at all is drawn";
    EXPECT_EQ(IDs().size(), 2U);
}

TEST_F(Board, AReplacementThatHasNoRoomChangesNothing) {
    GoOnline();
    const uint32_t old = Draw();
    const size_t length = Objects()[0]["bytes"];
    Hear(BoardCommand::Data, old + 1, std::string(CBoardModel::kMaxBytes - length, 'x'));
    ASSERT_EQ(IDs().size(), 2U);
    Said(BoardCommand::Delete);
    const auto replace = [&](const std::string& object) {
        return Do(R"([{"do":"replace","id":)" + std::to_string(old) + R"(,"object":)" + object + "}]").size();
    };
    EXPECT_EQ(replace(R"({"type":"text","colour":"#ff0000","width":16,"fill":null,"box":[0,0,1,1],"text":")" +
                      std::string(length, 'x') + R"("})"),
              0U);
    EXPECT_EQ(IDs().size(), 2U);
    EXPECT_TRUE(Said(BoardCommand::Delete).empty());
    EXPECT_EQ(replace(kLine), 1U) << "there is room for one of its length";
    EXPECT_EQ(IDs().size(), 2U);
}

TEST_F(Board, ClearingTravelsAsADeletionOfWhatIsHere) {
    GoOnline();
    Hear(BoardCommand::Data, 1, Record());
    Hear(BoardCommand::Data, 2, Record());
    Do(R"([{"do":"clear"}])");
    EXPECT_TRUE(Objects().empty());
    const auto deletions = Said(BoardCommand::Delete);
    ASSERT_EQ(deletions.size(), 1U);
    EXPECT_EQ(deletions[0], MakeMessage(BoardCommand::Delete, 0, 0, Word(1) + Word(2)));
    Do(R"([{"do":"undo"}])");
    EXPECT_EQ(Objects().size(), 2U);
}

TEST_F(Board, TellsThePagesOfWhatTheServerDoesNotKeep) {
    GoOnline();
    const uint32_t own = Draw();
    Hear(BoardCommand::Data, 1, Record());
    const PageFeedPtr page = Open();
    ASSERT_TRUE(page);
    for (const uint32_t id : {1U, own}) Hear(BoardCommand::Delete, id, Word(id));
    EXPECT_TRUE(IDs().empty());
    const auto told = Told(page);
    EXPECT_EQ(Count(told, R"("type":"not kept")"), 1U) << "one's own";
    EXPECT_EQ(Count(told, R"("id":1,"type":"not kept")"), 0U) << "another's";
}

TEST(BoardModel, KeepsAStaleObjectWhoseSuccessorHasNoRoom) {
    CBoardModel model;
    EXPECT_TRUE(model.Add(1, {0, "stale", false, false, 0, true}));
    EXPECT_TRUE(model.Add(2, {0, std::string(CBoardModel::kMaxBytes - 10, 'x')}));
    EXPECT_FALSE(model.Add(1, {0, "eleven long"}));
    EXPECT_TRUE(model.Has(1)) << "so that the pages are told when it goes";
    EXPECT_TRUE(model.Add(1, {0, "ten longer"}));
    EXPECT_FALSE(model.Add(1, {0, "new"})) << "it is not stale any more";
}

TEST(BoardUndo, TheLastStepStaysHoweverMuchItRemoved) {
    CUndo undo;
    undo.Note({{}, {{1, 1, std::string(CUndo::kMaxBytes + 1, 'x')}}, {}});
    EXPECT_EQ(undo.Count(false), 1U);
    undo.Note({{2}, {}, {}});
    undo.Note({{3}, {}, {}});
    EXPECT_EQ(undo.Count(false), 2U) << "but no longer than it is the last";
}

TEST_F(Board, CutMessagesOfEveryKindDoNoHarm) {
    GoOnline();
    Hear(BoardCommand::Data, 1, Record());
    for (uint32_t command = 0; command < 24; ++command) {
        const std::string whole = MakeMessage(static_cast<BoardCommand>(command), 1, 9, Word(5) + Word(6) + Word(7));
        for (size_t length = 0; length < kMessageHead; ++length) m_board.OnMessage(whole.substr(0, length), m_now);
        if (command != static_cast<uint32_t>(BoardCommand::Move)) continue;
        for (size_t length = kMessageHead; length < whole.size(); ++length)
            m_board.OnMessage(whole.substr(0, length), m_now);
    }
    Hear(BoardCommand::Delete, 0, "\1\0");
    EXPECT_EQ(IDs(), std::vector<uint32_t>{1});
    for (uint32_t id = 1000; id < 3000; ++id) Hear(BoardCommand::Offer, id);
    EXPECT_EQ(Objects().size(), 1U) << "offers alone take no room";
}

TEST_F(Board, MovesThatNameOneObjectAMillionTimesCostLittle) {
    GoOnline();
    Shape big;
    big.points.resize(kMaxPoints);
    Hear(BoardCommand::Data, 1, EncodeRecord(big));
    const PageFeedPtr page = Open();
    std::string ids;
    for (int i = 0; i < 1000000; ++i) ids += Word(1);
    Hear(BoardCommand::Move, 0, Word(3) + Word(static_cast<uint32_t>(-1)) + ids);
    const std::string moved = R"({"boxes":[[1,3000000,-1000000,3000000,-1000000]],"type":"move"})";
    const auto told = Told(page);
    EXPECT_EQ(Count(told, moved), 1U);
    EXPECT_EQ(Count(told, "\"move\""), 1U) << "told once";
    const uint32_t one = 1;
    EXPECT_NE(m_board.Objects(&one, 1).find("3000000,-1000000"), std::string::npos);
}

TEST_F(Board, APageThatDoesNotReadIsCutOffAndTheOthersGoOn) {
    const PageFeedPtr deaf = Open(), page = Open();
    Shape text;
    text.type = ShapeType::Text;
    text.bytes = std::string(kMaxText, 'x');
    GoOnline();
    for (uint32_t id = 1; id < 5000; ++id) {
        Hear(BoardCommand::Data, id, EncodeRecord(text));
        Told(page);
    }
    EXPECT_TRUE(deaf->Closed());
    EXPECT_FALSE(page->Closed());
    for (size_t i = 2; i < CPageFeeds::kMaxPages; ++i) EXPECT_TRUE(Open());
    EXPECT_FALSE(Open()) << "too many";
    m_board.LeavePage(deaf);
    EXPECT_TRUE(Open());
}

}  // namespace
