// A board between its pages and its channel: undo, breaks of the connection, what others send.
#include "tools/lumo/board/board.h"
#include "tools/lumo/board/board_events.h"
#include "tools/lumo/board/board_model.h"
#include "tools/lumo/board/undo.h"

#include <gtest/gtest.h>

using namespace lumo;
using nlohmann::json;

namespace {

const std::string kLine = R"({"type":"line","colour":"#ff0000","width":16,"fill":null,"box":[0,0,160,320]})";

class Board : public ::testing::Test, private IBoardPort {
protected:
    Board() : m_board(5, 77, "Ada", m_feeds) { m_board.SetPort(this); }

    void Say(const std::string& message) override {
        BoardMessage said;
        ASSERT_TRUE(ParseMessage(message, said));
        m_said.push_back(message);
    }
    std::vector<uint32_t> Do(const std::string& actions) {
        std::vector<BoardAction> read;
        EXPECT_TRUE(ParseActions(actions, read)) << actions;
        const auto ids = m_board.Do(read, m_now);
        return ids.empty() ? std::vector<uint32_t>() : ids[0];
    }
    uint32_t Draw() {
        const auto ids = Do(R"([{"do":"add","objects":[)" + kLine + "]}]");
        return ids.empty() ? 0 : ids[0];
    }
    std::string WithIDs(const char* what, uint32_t id, const char* more = "") {
        return std::string(R"([{"do":")") + what + R"(","ids":[)" + std::to_string(id) + "]" + more + "}]";
    }
    void Hear(BoardCommand command, uint32_t object, const std::string& payload = "") {
        m_board.OnMessage(MakeMessage(command, object, 9, payload), m_now);
    }
    /// What was said of that kind since the last call.
    std::vector<std::string> Said(BoardCommand command) {
        std::vector<std::string> found;
        for (const std::string& message : std::exchange(m_said, {})) {
            if (WordAt(message, 0) == static_cast<uint32_t>(command)) found.push_back(message);
        }
        return found;
    }
    json Objects() { return json::parse(m_board.Text())["objects"]; }
    std::vector<uint32_t> IDs() {
        std::vector<uint32_t> ids;
        for (const json& object : Objects()) ids.push_back(object["id"]);
        return ids;
    }
    void Settle() {
        m_now += CBoard::kQuietMs;
        m_board.Tick(m_now);
    }
    void GoOnline() {
        m_board.GoOnline(m_now);
        Settle();
    }

    static std::string Record() {
        Shape shape;
        shape.type = ShapeType::Rectangle;
        return EncodeRecord(shape);
    }
    static std::string Word(uint32_t value) {
        std::string bytes;
        AddWord(bytes, value);
        return bytes;
    }

    CPageFeeds m_feeds;
    uint64_t m_now = 100000;
    CBoard m_board;
    std::vector<std::string> m_said;
};

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

TEST_F(Board, NamesOfOthersAreCleanedCountedAndForgotten) {
    GoOnline();
    const auto people = [&] { return json::parse(m_board.Text())["people"].get<size_t>(); };
    Hear(BoardCommand::Pointer, 3, Word(1) + Word(2));
    Hear(BoardCommand::Hello, 3, "abc");
    Hear(BoardCommand::Hello, 77, Word(0) + "me");
    EXPECT_EQ(people(), 1U) << "no greeting, a cut one, one's own";
    std::vector<uint32_t> objects;
    const PageFeedPtr page = m_board.OpenPage(objects);
    for (uint32_t id = 1000; id < 2000; ++id)
        Hear(BoardCommand::Hello, id, Word(0) + "\x1b[2J" + std::string(500, 'x'));
    m_board.Tick(m_now);
    size_t told = 0;
    for (EventText event; page->Wait(std::chrono::milliseconds(0), event) && event;)
        told += event->find("\"people\"") != std::string::npos ? 1 : 0;
    EXPECT_LE(told, 2U) << "not once for each";
    EXPECT_EQ(people(), CPeople::kMaxPeople + 1);
    Hear(BoardCommand::Goodbye, 1000);
    EXPECT_EQ(people(), CPeople::kMaxPeople);
    m_now += CPeople::kForgetMs + 1;
    m_board.Tick(m_now);
    EXPECT_EQ(people(), 1U);
    EXPECT_EQ(CPeople::CleanName("\x1b[2J\xff"), "?[2J?");
    EXPECT_LE(CPeople::CleanName(std::string(500, 'x')).size(), CPeople::kMaxName);
    EXPECT_EQ(CPeople::CleanName(std::string(59, 'x') + "\xc3\xa9"), std::string(59, 'x')) << "no half letters";
    EXPECT_EQ(CPeople::CleanName("  "), "Somebody");
}

TEST_F(Board, OfTwoWithOneColourOneTakesAnother) {
    GoOnline();
    const auto hello = [&] {
        const auto said = Said(BoardCommand::Hello);
        return said.empty() ? 0 : WordAt(said.back(), kMessageHead);
    };
    m_now += CPeople::kHelloMs;
    m_board.Tick(m_now);
    const uint32_t colour = hello();
    ASSERT_NE(colour, 0U);
    Hear(BoardCommand::Hello, 78, Word(colour) + "Eve");
    m_board.Tick(m_now);
    EXPECT_EQ(hello(), colour) << "it is hers to change";
    Hear(BoardCommand::Hello, 76, Word(colour) + "Bob");
    m_board.Tick(m_now);
    EXPECT_NE(hello(), colour);
}

TEST_F(Board, MovesThatNameOneObjectAMillionTimesCostLittle) {
    GoOnline();
    Shape big;
    big.points.resize(kMaxPoints);
    Hear(BoardCommand::Data, 1, EncodeRecord(big));
    std::vector<uint32_t> objects;
    const PageFeedPtr page = m_board.OpenPage(objects);
    std::string ids;
    for (int i = 0; i < 1000000; ++i) ids += Word(1);
    Hear(BoardCommand::Move, 0, Word(3) + Word(static_cast<uint32_t>(-1)) + ids);
    EventText event;
    std::string moved;
    while (page->Wait(std::chrono::milliseconds(0), event) && event)
        if (event->find("\"move\"") != std::string::npos) moved = *event;
    EXPECT_EQ(moved, R"({"boxes":[[1,3000000,-1000000,3000000,-1000000]],"type":"move"})") << "told once";
    const uint32_t one = 1;
    EXPECT_NE(m_board.Objects(&one, 1).find("3000000,-1000000"), std::string::npos);
}

TEST_F(Board, APageThatDoesNotReadIsCutOffAndTheOthersGoOn) {
    std::vector<uint32_t> objects;
    const PageFeedPtr deaf = m_board.OpenPage(objects), page = m_board.OpenPage(objects);
    EventText event;
    Shape text;
    text.type = ShapeType::Text;
    text.bytes = std::string(kMaxText, 'x');
    GoOnline();
    for (uint32_t id = 1; id < 5000; ++id) {
        Hear(BoardCommand::Data, id, EncodeRecord(text));
        while (page->Wait(std::chrono::milliseconds(0), event) && event) continue;
    }
    EXPECT_TRUE(deaf->Closed());
    EXPECT_FALSE(page->Closed());
    for (size_t i = 2; i < CPageFeeds::kMaxPages; ++i) EXPECT_TRUE(m_board.OpenPage(objects));
    EXPECT_FALSE(m_board.OpenPage(objects)) << "too many";
    m_board.LeavePage(deaf);
    EXPECT_TRUE(m_board.OpenPage(objects));
}

}  // namespace
