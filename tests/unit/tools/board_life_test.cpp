// What is on a board when people come back to it: nothing goes but what somebody has deleted.
#include "tools/lumo/board/board_life.h"
#include "board_world.h"

using namespace board_world;

namespace {

struct Scene {
    CPerson &ada, &ben, &newcomer;
    CFarBoard &relay, &other;
    std::function<void()> pass;
    IDs expected;  // at the end, at everybody who is there
    IDs gone;      // from Ada's page
};

struct LifeRow {
    const char* name;
    void (*happens)(Scene& scene, uint32_t adas, uint32_t bens);
};

uint32_t Other(const IDs& two, uint32_t one) { return two.at(two.at(0) == one ? 1 : 0); }

const LifeRow kLives[] = {
    {"ClearedWhileIWasAway",
     [](Scene& scene, uint32_t adas, uint32_t bens) {
         scene.ada.Lose();
         const uint32_t meanwhile = scene.ada.Draw();
         scene.ben.Clear();
         scene.pass();
         const uint32_t after = scene.ben.Draw();
         scene.ada.Come(scene.relay);
         scene.expected = {meanwhile, after};
         scene.gone = {adas, bens};
     }},
    {"ClearedByAnotherProgramWhileIWasAway",
     [](Scene& scene, uint32_t adas, uint32_t bens) {
         scene.ada.Lose();
         const std::string clear = MakeMessage(BoardCommand::Clear, 0, 0);
         scene.relay.Channel().OnWBChannelData(1, clear.data(), static_cast<int>(clear.size()));
         scene.pass();
         scene.ada.Come(scene.relay);
         scene.gone = {adas, bens};
     }},
    {"RestartedAndIComeFirst",
     [](Scene& scene, uint32_t adas, uint32_t bens) {
         scene.ada.Lose();
         scene.ben.Lose();
         const uint32_t meanwhile = scene.ben.Draw();
         scene.ada.Come(scene.other);
         scene.pass();
         scene.ben.Come(scene.other);
         scene.expected = {adas, bens, meanwhile};
     }},
    {"RestartedAndANewcomerDrawsFirst",
     [](Scene& scene, uint32_t adas, uint32_t bens) {
         scene.ada.Lose();
         scene.ben.Lose();
         scene.newcomer.Come(scene.other);
         scene.pass();
         const uint32_t first = scene.newcomer.Draw();
         scene.pass();
         scene.ada.Come(scene.other);
         scene.ben.Come(scene.other);
         scene.expected = {adas, bens, first};
     }},
    {"TwoThatLivedApart",
     [](Scene& scene, uint32_t adas, uint32_t bens) {
         scene.ben.Lose();
         scene.ben.Come(scene.other);
         scene.pass();
         const uint32_t there = scene.ben.Draw(), here = scene.ada.Draw();
         scene.ada.DoTo("delete", bens);
         scene.pass();
         scene.ben.Lose();
         scene.ben.Come(scene.relay);
         scene.expected = {adas, bens, there, here};
         scene.gone = {bens};
     }},
    {"RestartedAndIHaveTakenADeletionBack",
     [](Scene& scene, uint32_t adas, uint32_t bens) {
         scene.ada.Lose();
         scene.ben.Lose();
         scene.ada.DoTo("delete", bens);
         scene.ada.Undo();
         scene.ada.Come(scene.other);
         scene.pass();
         scene.ben.Come(scene.other);
         scene.expected = {adas, Other(scene.ada.Held(), adas)};
         scene.gone = {bens};
     }},
    {"AHostThatServedApart",
     [](Scene& scene, uint32_t adas, uint32_t bens) {
         scene.ben.LoseAndServe();
         const uint32_t there = scene.ben.Draw();
         scene.ada.Lose();
         const uint32_t meanwhile = scene.ada.Draw();
         scene.ben.Come(scene.other);
         scene.pass();
         scene.ada.Come(scene.other);
         scene.expected = {adas, bens, there, meanwhile};
     }},
};

class BoardLife : public BoardWorld, public ::testing::WithParamInterface<LifeRow> {};

TEST_P(BoardLife, OnlyWhatSomebodyHasDeletedIsGone) {
    CPerson &ada = Add(1), &ben = Add(2), &newcomer = Add(3);
    for (CPerson* person : {&ada, &ben}) person->Come(m_relay);
    const uint32_t adas = ada.Draw(), bens = ben.Draw();
    RunFor(kLongMs);
    Scene scene{ada, ben, newcomer, m_relay, m_other, [this] { RunFor(kLongMs); }, {}, {}};
    GetParam().happens(scene, adas, bens);
    RunFor(kLongMs);
    EXPECT_EQ(ada.Held(), Sorted(scene.expected));
    EXPECT_EQ(ben.State(), ada.State());
    EXPECT_EQ(Sorted(ada.Gone()), Sorted(scene.gone));
    for (const uint32_t id : ada.Held()) EXPECT_LT(id, CBoardLife::kFirstNumber) << "lives are not shown";
}

INSTANTIATE_TEST_SUITE_P(All, BoardLife, ::testing::ValuesIn(kLives), [](const auto& row) { return row.param.name; });

TEST_F(BoardWorld, NothingThatTheFarSideStillListsLeavesTheScreenWhenItsBoardComes) {
    constexpr uint32_t kStrokes = 1500;
    CPerson &ada = Add(1), &ben = Add(2);
    for (CPerson* person : {&ada, &ben}) person->Come(m_relay, 20);
    IDs strokes;
    for (uint32_t i = 0; i < kStrokes; ++i) strokes.push_back(ben.Draw());
    RunFor(kLongMs);
    ASSERT_EQ(ada.Held().size(), kStrokes);
    ada.Lose();
    ben.DoTo("delete", strokes[0]);
    ben.DoTo("move", strokes[1], R"(,"dx":16,"dy":0)");
    RunFor(1000);
    ada.Gone();
    ada.Come(m_relay, 2000);  // slower than any patience
    for (const uint64_t come = m_now; m_now < come + kLongMs; RunFor(100)) {
        const bool listed = m_now >= come + 2000;
        EXPECT_EQ(ada.Held().size(), kStrokes - (listed ? 1 : 0));
    }
    EXPECT_EQ(ada.Gone(), IDs{strokes[0]}) << "at once, and nothing else";
    EXPECT_EQ(ada.State(), ben.State());
}

TEST_F(BoardWorld, WhatIsDoneWhileDisconnectedIsMergedWithWhatOthersDoMeanwhile) {
    CPerson &ada = Add(1), &ben = Add(2);
    for (CPerson* person : {&ada, &ben}) person->Come(m_relay, 20);
    const uint32_t both = ben.Draw(), mine = ben.Draw(), theirs = ben.Draw();
    RunFor(kLongMs);
    ada.Lose();
    ada.DoTo("delete", mine);
    for (const uint32_t id : {both, theirs}) ada.DoTo("move", id, R"(,"dx":16,"dy":0)");
    ben.DoTo("move", both, R"(,"dx":0,"dy":16)");
    ben.DoTo("move", mine, R"(,"dx":0,"dy":16)");
    ben.DoTo("delete", theirs);
    RunFor(1000);
    ada.Come(m_relay, 20);
    ada.DoTo("move", both, R"(,"dx":16,"dy":0)");  // before anything has come
    RunFor(kLongMs);
    EXPECT_EQ(ada.Held(), IDs{both});
    EXPECT_EQ(ada.State(), ben.State());
    EXPECT_EQ(ben.Shown(both)["box"], (json{32, 16, 192, 176}));
    ada.Lose();
    ada.Clear();
    ada.Come(m_relay, 20);
    RunFor(kLongMs);
    EXPECT_EQ(ben.Held(), IDs());
}

TEST_F(BoardWorld, WhatTwoHaveMovedAndBringToANewRelayLiesInOnePlaceWithBothMoves) {
    std::deque<CFarBoard> relays(1);
    CPerson &ada = Add(1), &ben = Add(2);
    for (CPerson* person : {&ada, &ben}) person->Come(relays.back(), 20);
    const uint32_t id = ada.Draw();
    int32_t restarts = 0;
    for (uint64_t apart = 0; apart <= 100; apart += 10) {
        RunFor(kLongMs);
        for (CPerson* person : {&ada, &ben}) person->Lose();
        ada.DoTo("move", id, R"(,"dx":16,"dy":0)");
        ben.DoTo("move", id, R"(,"dx":0,"dy":32)");
        relays.emplace_back();
        ada.Come(relays.back(), 20);
        RunFor(apart);
        ben.Come(relays.back(), 20);
        RunFor(kLongMs);
        ++restarts;
        const int32_t x = 16 * restarts, y = 32 * restarts;
        EXPECT_EQ(ada.Shown(id)["box"], (json{x, y, x + 160, y + 160})) << apart << " ms apart";
        EXPECT_EQ(ben.State(), ada.State()) << apart << " ms apart";
    }
    for (CPerson* person : {&ada, &ben}) person->Lose();
    ada.DoTo("move", id, R"(,"dx":16,"dy":0)");
    ben.DoTo("move", id, R"(,"dx":0,"dy":32)");
    relays.emplace_back();
    ada.Come(relays.back(), 20);
    ada.SetBusy(true);  // her channel has his before she offers hers, and hears of that later
    RunFor(kLongMs);
    ben.Come(relays.back(), 20);
    RunFor(CBoard::kSettleMs);
    ada.SetBusy(false);
    RunFor(kLongMs);
    ++restarts;
    EXPECT_EQ(ada.Shown(id)["box"], (json{16 * restarts, 32 * restarts, 16 * restarts + 160, 32 * restarts + 160}));
    EXPECT_EQ(ben.State(), ada.State());
    EXPECT_EQ(PlaceAt(ada.Seat().Channel(), id), ada.Shown(id)["box"]);
    for (CPerson* person : {&ada, &ben}) person->Lose();
}

TEST_F(BoardWorld, OfTwoWhoEditOneTextAtOnceTheLaterOneStays) {
    CPerson &ada = Add(1), &ben = Add(2), &late = Add(3);
    for (CPerson* person : {&ada, &ben}) person->Come(m_relay, 20);
    const uint32_t text = ada.Draw("text");
    RunFor(kLongMs);
    g_tenths = UINT32_MAX;  // it may be older than it looks
    const uint32_t adas = ada.Replace(text, "Ada's").at(0);
    g_tenths += 2;
    const uint32_t bens = ben.Replace(text, "Ben's").at(0);
    RunFor(1000);
    EXPECT_EQ(ada.Held(), IDs{bens}) << adas << " was earlier";
    EXPECT_EQ(ada.State(), ben.State());
    ada.Undo();
    EXPECT_EQ(ada.Held(), IDs{bens}) << "her text is not hers any more, and the first one not on the board";

    ada.Lose();
    g_tenths += 2;
    ada.Replace(bens, "Ada's, offline");
    g_tenths -= 20;  // his clock is behind, and he has seen what he changes
    const uint32_t next = ben.Replace(text, "Ben's again").at(0);
    EXPECT_EQ(ben.Held(), IDs{next}) << "what the text has become is what he edits";
    RunFor(1000);
    ada.Come(m_relay, 20);
    RunFor(kLongMs);
    late.Come(m_relay, 20);
    RunFor(kLongMs);
    ASSERT_EQ(ben.Held().size(), 1U);
    EXPECT_EQ(ben.Shown(ben.Held()[0])["text"], "Ada's, offline");
    for (CPerson* person : {&ada, &late}) EXPECT_EQ(person->State(), ben.State());
    ben.Undo();
    EXPECT_EQ(ben.Held().size(), 1U);
    ada.Undo();
    RunFor(1000);
    EXPECT_EQ(ben.Shown(ben.Held().at(0))["text"], "Ben's") << "what she had changed";
}

TEST_F(BoardWorld, UndoNeverBringsBackWhatOthersHaveDeletedAsWell) {
    CPerson &ada = Add(1), &ben = Add(2);
    for (CPerson* person : {&ada, &ben}) person->Come(m_relay, 20);
    const uint32_t one = ada.Draw(), two = ada.Draw();
    RunFor(kLongMs);
    ada.Do(R"({"do":"delete","ids":[)" + std::to_string(one) + "," + std::to_string(two) + "]}");
    ben.DoTo("delete", one);
    RunFor(1000);
    ada.Undo();
    RunFor(1000);
    ASSERT_EQ(ben.Held().size(), 1U) << "the other one";
    const uint32_t again = ben.Held()[0];
    ada.DoTo("delete", again);
    ben.DoTo("delete", again);
    ada.Undo();  // before she hears of his
    EXPECT_EQ(ada.Held().size(), 1U);
    RunFor(1000);
    EXPECT_EQ(ada.Held(), IDs());
    EXPECT_EQ(ben.Held(), IDs());

    const uint32_t mine = ada.Draw(), ours = ada.Draw(), early = ada.Draw();
    RunFor(1000);
    ada.Lose();
    for (const uint32_t id : {mine, ours, early}) ada.DoTo("delete", id);
    for (const uint32_t id : {ours, early}) ben.DoTo("delete", id);
    ada.Undo();  // early
    RunFor(1000);
    ada.Come(m_relay, 20);
    RunFor(kLongMs);
    EXPECT_EQ(ada.Held(), IDs()) << "he has deleted it while she was away";
    ada.Undo();
    RunFor(1000);
    EXPECT_EQ(ada.Held().size(), 1U) << "what only she had deleted";
    EXPECT_EQ(ada.State(), ben.State());
}

TEST_F(BoardWorld, ABoardIsBroughtToLifeByWhatIsDrawnAndKeepsOneLife) {
    std::vector<CPerson*> people;
    for (uint32_t number = 1; number <= 5; ++number) people.push_back(&Add(400 * number));
    for (CPerson* person : people) person->Come(m_relay, 20);
    RunFor(kLongMs);
    EXPECT_TRUE(LivesThere().empty()) << "of an empty board nothing need be known";
    people[0]->Draw();
    RunFor(1000);
    const Lives first = LivesThere();
    ASSERT_EQ(first.size(), 1U);
    EXPECT_EQ(first.begin()->second, 0U);
    for (CPerson* person : people) person->Draw();
    people[1]->Clear();
    people[2]->Clear();  // at once
    RunFor(kLongMs);
    EXPECT_EQ(LivesThere(), (Lives{{first.begin()->first, 1}}));
    Say(MakeMessage(BoardCommand::Delete, 0, 0, PayloadOf({first.begin()->first})));
    RunFor(kLongMs);
    EXPECT_EQ(LivesThere().size(), 1U) << "another program knows nothing of it";
    Say(MakeMessage(BoardCommand::Clear, 0, 0));
    RunFor(kLongMs);
    EXPECT_EQ(LivesThere(), (Lives{{first.begin()->first, 2}}));
    for (CPerson* person : people) EXPECT_EQ(person->Held(), IDs());
}

}  // namespace
