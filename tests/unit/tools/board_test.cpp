// A board between its pages and its channel: undo, what pages ask, what others send.
#include "board_fixture.h"

using namespace board_fixture;

namespace {

TEST_F(Board, UndoTakesBackOnesOwnAndPassesOverWhatOthersHaveDeleted) {
    GoOnline();
    const uint32_t first = Draw(), second = Draw();
    const auto content = [&] { return Objects()[0]["sha256"]; };
    DoTo("delete", second);
    const json before = content();
    DoTo("move", first, R"(,"dx":-16,"dy":2147483647)");
    EXPECT_NE(content(), before);
    Undo();
    EXPECT_EQ(content(), before);
    Undo();
    ASSERT_EQ(Held().size(), 2U) << "the deletion";
    Hear(BoardCommand::Delete, 0, Words({first}));
    const uint32_t again = Held()[0];
    Undo();
    EXPECT_EQ(Held(), IDs()) << "its drawing, under the number it has now: " << again;
    Do(R"({"do":"undo"},{"do":"undo"},{"do":"redo"})");
    EXPECT_EQ(Held().size(), 1U);
}

TEST_F(Board, AReplacementIsOneStepAndAllOrNothing) {
    GoOnline();
    const uint32_t old = Draw();
    const IDs changed = Replace(old);
    ASSERT_EQ(changed.size(), 1U);
    EXPECT_EQ(Held(), changed);
    Undo();
    ASSERT_EQ(Held().size(), 1U);
    EXPECT_NE(Held(), changed) << "the old one, under a new number";

    const uint32_t again = Held()[0];
    const size_t length = Objects()[0]["bytes"];
    Hear(BoardCommand::Data, 1, std::string(CBoardModel::kMaxBytes - length, 'x'));
    Said(BoardCommand::Delete);
    const std::string text = R"({"type":"text","colour":"#ff0000","width":16,"fill":null,"box":[0,0,1,1],"text":")";
    EXPECT_EQ(Replace(again, text + std::string(length, 'x') + "\"}"), IDs()) << "it has no room";
    EXPECT_EQ(Held(), (IDs{1, again}));
    EXPECT_TRUE(Said(BoardCommand::Delete).empty());
    const IDs fits = Replace(again);
    EXPECT_EQ(Held(), (IDs{1, fits.at(0)})) << "there is room for one of its length";
    Hear(BoardCommand::Delete, 0, Words({1}));

    EXPECT_EQ(Replace(fits[0] + 1).size(), 1U) << "what is not there at all is drawn";
    EXPECT_EQ(Held().size(), 2U);
}

TEST_F(Board, AChangeKeepsThePlaceInTheStackAndIsOneStep) {
    GoOnline();
    const auto look = [&](uint32_t id) { return json::parse(m_board.Objects(&id, 1))["objects"][0]; };
    const uint32_t pen = Do(R"({"do":"add","objects":[{"type":"pen","colour":"#ff0000","width":16,"fill":null,)"
                            R"("box":[0,0,100,0],"points":[0,0,50,0,100,0]}]})")
                             .at(0);
    Hear(BoardCommand::Data, 4, std::string("unknown"));
    Shape picture;
    picture.type = ShapeType::Picture;
    picture.bytes = "\x89PNG\r\n\x1a\n";
    Hear(BoardCommand::Data, 5, EncodeRecord(picture));
    const json before = look(pen);
    const PageFeedPtr page = Open();
    Told(page);
    const std::string number = std::to_string(pen);
    const IDs now = Do(R"({"do":"change","objects":[{"id":)" + number +
                       R"(,"box":[10,20,210,60],"colour":"#00ff00","width":32},{"id":4,"width":1},{"id":)" + number +
                       R"(,"width":1},{"id":5,"box":[1,2,3,4],"colour":"#000000"}]})");
    ASSERT_EQ(now.size(), 4U);
    EXPECT_TRUE(now[0] && now[3]);
    EXPECT_FALSE(now[1] || now[2]) << "what is not drawn here, and what has changed already";
    const json after = look(now[0]);
    EXPECT_EQ(after["points"], json({10, 20, 110, 20, 210, 20})) << "what has no height keeps none";
    EXPECT_EQ(after["tag"], before["tag"]);
    EXPECT_EQ(after["colour"], "#00ff00");
    EXPECT_EQ(after["width"], 32);
    EXPECT_EQ(look(now[3])["box"], json({1, 2, 3, 4}));
    EXPECT_EQ(Told(page, R"("change")").size(), 1U);
    EXPECT_EQ(Said(BoardCommand::Delete).size(), 1U);
    Undo();
    const IDs held = Held();
    EXPECT_EQ(held.size(), 3U);
    EXPECT_EQ(
        std::count_if(held.begin(), held.end(), [&](uint32_t id) { return look(id)["points"] == before["points"]; }),
        1);

    const std::string one = std::to_string(Draw()), other = std::to_string(Draw());
    const IDs both =
        Do(R"({"do":"change","objects":[{"id":)" + one + R"(,"width":1},{"id":)" + other + R"(,"width":1}]})");
    Hear(BoardCommand::Delete, 0, Words({both.at(0)}));
    Undo();
    EXPECT_EQ(Held().size(), 4U) << "of two that were changed at once, the one that others have deleted stays away";
}

TEST_F(Board, APictureIsDrawnLikeAnotherAsLongAsThatCanComeBack) {
    GoOnline();
    Shape picture;
    picture.type = ShapeType::Picture;
    picture.bytes = "\x89PNG\r\n\x1a\n and more";
    Hear(BoardCommand::Data, 5, EncodeRecord(picture));
    HearDrawn({6});
    const auto like = [&](uint32_t id) {
        return Do(R"({"do":"add","objects":[{"type":"picture","like":)" + std::to_string(id) + R"(,"box":[1,2,3,4]},)" +
                  kLine + "]}");
    };
    DoTo("delete", 5);
    const IDs drawn = like(5);
    std::string bytes;
    BoardPictureFormat format{};
    EXPECT_TRUE(m_board.Picture(drawn.at(0), bytes, format));
    EXPECT_EQ(bytes, picture.bytes);
    for (const uint32_t id : {6U, 7U}) {
        const IDs none = like(id);
        EXPECT_EQ(none.at(0), 0U) << "no picture: " << id;
        EXPECT_NE(none.at(1), 0U);
    }
}

TEST_F(Board, ClearingTravelsAsADeletionOfWhatIsHere) {
    GoOnline();
    HearDrawn({1, 2});
    Do(R"({"do":"clear"})");
    EXPECT_EQ(Held(), IDs());
    EXPECT_EQ(Said(BoardCommand::Delete),
              std::vector<std::string>{MakeMessage(BoardCommand::Delete, 0, 0, Words({1, 2}))});
    Undo();
    EXPECT_EQ(Held().size(), 2U);
}

TEST_F(Board, WhatTheServerHasNoRoomForStaysAndIsOfferedAgain) {
    constexpr size_t kOwn = 3;
    GoOnline();
    IDs own;
    while (own.size() < kOwn) own.push_back(Draw());
    HearDrawn({1});
    own.push_back(1);
    const auto refuse = [&](uint32_t id) {
        uint32_t tag = 0;
        for (const json& object : Objects())
            if (object["id"] == id) tag = object["tag"];
        m_board.OnMessage(MakeMessage(BoardCommand::Delete, id, tag, Words({id})), m_now);
    };
    const PageFeedPtr page = Open();
    for (int round = 0; round < 2; ++round) {
        for (const uint32_t id : own) refuse(id);
        EXPECT_EQ(Told(page, R"("type":"not kept")").size(), round == 0 ? kOwn : 0U) << "of one's own, and once";
        EXPECT_EQ(Held().size(), kOwn);
    }
    Said(BoardCommand::Data);
    DoTo("move", own[0], R"(,"dx":16,"dy":0)");
    m_board.Tick(m_now += CBoard::kRefusedEveryMs);
    EXPECT_EQ(Said(BoardCommand::Data).size(), kOwn);
    refuse(own[0]);
    m_board.Tick(m_now += CBoard::kRefusedEveryMs);
    const auto again = Said(BoardCommand::Data);
    ASSERT_EQ(again.size(), 1U);
    EXPECT_EQ(WordAt(again[0], 4), own[0]);
    Box box;
    EXPECT_TRUE(PlaceOf(again[0].substr(kMessageHead), box) && box.left == 16);
    Settle();
    EXPECT_TRUE(Told(page, R"("type":"not kept")").empty());
    refuse(own[0]);
    EXPECT_EQ(Told(page, R"("type":"not kept")").size(), 1U) << "it was there meanwhile";
    Hear(BoardCommand::Delete, own[1], Words({own[1]}));
    EXPECT_EQ(Held().size(), kOwn - 1) << "with another tag it is somebody's deletion";
    constexpr uint32_t kMany = CBoard::kRefusedBytes / 10;
    for (uint32_t id = 1; id <= kMany; ++id) Hear(BoardCommand::Data, id);
    GoOffline();
    GoOnline();  // to another board, which gets all of it
    for (uint32_t id = 1; id <= kMany; ++id) Hear(BoardCommand::Delete, id, Words({id}));
    EXPECT_EQ(Held().size(), kMany + kOwn - 1);
    Said(BoardCommand::Data);
    m_board.Tick(m_now += CBoard::kRefusedEveryMs);
    EXPECT_LT(Said(BoardCommand::Data).size(), kMany) << "in turn, however short they are";
}

TEST(BoardModel, KeepsAStaleObjectWhoseSuccessorHasNoRoom) {
    CBoardModel model;
    EXPECT_TRUE(model.Add(1, {0, "stale", false, false, true}));
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
    HearDrawn({1});
    for (uint32_t command = 0; command < 24; ++command) {
        const bool move = command == static_cast<uint32_t>(BoardCommand::Move);
        const std::string whole = MakeMessage(static_cast<BoardCommand>(command), 1, 9, Words({5, 6, 7}));
        for (size_t length = 0; length < (move ? whole.size() : kMessageHead); ++length)
            m_board.OnMessage(whole.substr(0, length), m_now);
    }
    Hear(BoardCommand::Delete, 0, "\1\0");
    for (uint32_t id = 1000; id < 3000; ++id) Hear(BoardCommand::Offer, id);
    Hear(BoardCommand::Data, 2, CBoardLife::MakeRecord(0));
    EXPECT_EQ(Held(), (IDs{1, 2})) << "offers alone take no room, and lives have greater numbers";
}

TEST_F(Board, MovesThatNameOneObjectAMillionTimesCostLittle) {
    GoOnline();
    Shape big;
    big.points.resize(kMaxPoints);
    Hear(BoardCommand::Data, 1, EncodeRecord(big));
    const PageFeedPtr page = Open();
    IDs words(1000002, 1);
    words[0] = 3;
    words[1] = static_cast<uint32_t>(-1);
    Hear(BoardCommand::Move, 0, Words(words));
    EXPECT_EQ(Told(page, "\"move\""),
              std::vector<std::string>{R"({"boxes":[[1,3000000,-1000000,3000000,-1000000]],"type":"move"})"});
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
    Hear(BoardCommand::Hello, 9, Words({0}) + "Bob");
    for (uint32_t x = 0; x < 300; ++x) Hear(BoardCommand::Pointer, 9, Words({x, 0}));
    Hear(BoardCommand::Data, 5000, Record());
    const std::vector<std::string> told = Told(page);
    ASSERT_EQ(told.size(), 2U) << "one that lags is told of the newest place, and last";
    EXPECT_EQ(json::parse(told[1]), json({{"type", "pointer"}, {"id", 9}, {"x", 299}, {"y", 0}}));
    for (size_t i = 2; i < CPageFeeds::kMaxPages; ++i) EXPECT_TRUE(Open());
    EXPECT_FALSE(Open()) << "too many";
    m_board.LeavePage(deaf);
    EXPECT_TRUE(Open());
}

}  // namespace
