// Boards whose way to the others breaks unseen: what has not arrived is kept.
#include "board_world.h"

using namespace board_world;

namespace {

class BoardCut : public BoardWorld, public ::testing::WithParamInterface<bool> {};

/// Her own link is stuck; or that of a near server, which says nothing of it and is restarted in the end, when somebody
/// who has drawn there is gone.
TEST_P(BoardCut, WhatHasNotArrivedIsOfferedHoweverLongTheWayHasBeenStuck) {
    const bool near = GetParam();
    CPerson &ada = Add(1), &ben = Add(2), &dora = Add(3);
    if (near) {
        m_near.CarryFor(m_relay, m_now, 20);
        dora.Come(m_near, 20, true);
    }
    ada.Come(near ? m_near : m_relay, 20, near);
    ben.Come(m_relay, 20);
    const uint32_t old = ada.Draw(), deleted = ada.Draw(), others = ada.Draw();
    RunFor(kLongMs);
    if (near)
        m_near.Break();
    else
        ada.Stick();
    const uint32_t stuck = ada.Draw();
    IDs kept{old, stuck};
    if (near) kept.push_back(dora.Draw());
    ada.DoTo("delete", deleted);
    ada.DoTo("move", old, R"(,"dx":32,"dy":0)");
    RunFor(60000);
    ASSERT_EQ(Sorted(ben.Held()), Sorted({old, deleted, others}));
    ben.DoTo("delete", others);
    if (near) dora.Lose();
    ada.Lose();
    if (near) {  // that has all of it still
        ada.Come(m_near, 20, true);
        RunFor(kLongMs);
        ada.Lose();
        m_other.CarryFor(m_relay, m_now, 20);
    }
    ada.DoTo("move", old, R"(,"dx":0,"dy":48)");
    ada.DoTo("move", stuck, R"(,"dx":0,"dy":48)");
    ada.Come(near ? m_other : m_relay, 20, near);
    RunFor(kLongMs);
    EXPECT_EQ(Sorted(ada.Held()), Sorted(kept)) << "and what was acknowledged is gone if others deleted it";
    EXPECT_EQ(ada.State(), ben.State());
    EXPECT_EQ(ben.Shown(old)["box"], (json{32, 48, 192, 208})) << "all moves, each once";
    EXPECT_EQ(ben.Shown(stuck)["box"], (json{0, 48, 160, 208}));
    if (!near) return;
    m_other.Break();
    const uint32_t next = ada.Draw();
    ada.DoTo("delete", old);
    ben.DoTo("delete", stuck);
    RunFor(60000);
    ASSERT_EQ(Sorted(ben.Held()), Sorted({old, kept[2]}));
    m_other.CarryFor(m_relay, m_now, 20);  // and this one goes on, with what was deleted at home
    RunFor(CEchoes::kLostAfterMostMs + kLongMs);
    EXPECT_EQ(Sorted(ben.Held()), Sorted({stuck, kept[2], next}));
    EXPECT_EQ(ada.State(), ben.State());
}

INSTANTIATE_TEST_SUITE_P(Ways, BoardCut, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "NearServer" : "OwnLink"; });

}  // namespace
