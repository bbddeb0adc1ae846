// What becomes of a board when the far side comes and goes.
#include "tools/lumo/board/board.h"
#include "tools/lumo/net/loop.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace lumo {
namespace {

using Lock = std::lock_guard<std::mutex>;

constexpr uint64_t kLifeSpreadMs = 2000;  // over which those at a board without a life give it one

Shift ShiftBetween(const Box& from, const Box& to) {
    return {static_cast<uint32_t>(to.left) - static_cast<uint32_t>(from.left),
            static_cast<uint32_t>(to.top) - static_cast<uint32_t>(from.top)};
}

}  // namespace

void CBoard::OnFarBegin() {
    const Lock lock(m_mutex);
    ForgetFarSide();
}

void CBoard::ForgetFarSide() {
    m_listed.clear();
    m_fetched.clear();
    m_bListed = m_bKnown = m_bListLost = false;
}

void CBoard::OnFarList(const std::vector<uint32_t>& listed, uint64_t now) {
    const Lock lock(m_mutex);
    if (std::exchange(m_bListed, true)) return;
    FetchCommon(listed);
    if (m_state == State::Online) return;
    m_ullDataMs = now;
    m_listed.insert(listed.begin(), listed.end());
    m_bKnown = m_bKnown || m_life.IsKnown(listed);
    SettleIfKnown();
}

// Where others have come to this channel it is not empty: the two exchange what the other lacks, and nothing of what
// both have. Either may have moved it.
void CBoard::FetchCommon(const IDs& listed) {
    for (const uint32_t id : listed) Fetch(id, false);
}

// It counts as listed: what we are still to offer comes instead, and what was deleted here others have not deleted. Of
// what we have offered the far side has taken another's, and the moves that were made here while we were away are in
// ours only.
void CBoard::OnFarOffer(uint32_t id) {
    const Lock lock(m_mutex);
    if (m_state != State::Online && (m_model.Has(id) || m_changes.IsDeleted(id))) m_listed.insert(id);
    Fetch(id, true);
}

void CBoard::Fetch(uint32_t id, bool offered) {
    const BoardObject* object = m_model.Find(id);
    Box place;
    if (!object || object->stale || object->offline || !m_model.PlaceOf(id, place)) return;
    const std::optional<Box> before = offered ? std::optional<Box>(m_changes.Before(id, place)) : std::nullopt;
    if (m_fetched.try_emplace(id, Fetched{place, before}).second && m_pPort) m_pPort->Fetch(id);
}

// Each side gets the moves of the other one, so that an object lies in one place. Where it lay before them is not
// known, the far side's takes our place. What others move meanwhile is added on both sides.
void CBoard::OnFarData(const BoardMessage& message) {
    const Lock lock(m_mutex);
    const auto fetched = m_fetched.find(message.object);
    if (fetched == m_fetched.end()) return;
    const Fetched was = fetched->second;
    m_fetched.erase(fetched);
    Box place;
    if (!PlaceOf(message.payload, place) || !m_pPort) return;
    const Box before = was.before.value_or(place);
    const Shift theirs = ShiftBetween(before, place), ours = ShiftBetween(before, was.ours);
    const auto move = [&message](const Shift& by) {
        return MakeMessage(BoardCommand::Move, 0, 0, PayloadOf({by.dx, by.dy, message.object}));
    };
    if (!theirs.IsNone()) m_pPort->HearFromFarSide(move(theirs));
    if (ours.IsNone()) return;
    m_changes.ForgetMoves(message.object);
    m_changes.Move(message.object, before, ours, true, m_echoes.ForWhatIsSaidNow());
    m_pPort->SayToFarSide(move(ours));
}

void CBoard::OnFarEcho(uint32_t number, uint64_t now) {
    const Lock lock(m_mutex);
    const bool first = !m_echoes.Answers();
    if (!m_echoes.OnEcho(number)) return;
    if (first)
        m_ullDataMs = now;
    else if (m_echoes.BeginsRow())  // what was said meanwhile may have been lost on the way
        SayAllDeleted();
    m_changes.OnEcho(m_echoes.Shown());
}

void CBoard::SayAllDeleted() {
    const IDs deleted = m_changes.Deleted();
    for (const uint32_t id : deleted) m_changes.Delete(id, m_echoes.ForWhatIsSaidNow());
    SayDeleted(deleted);
}

void CBoard::LookForEcho(uint64_t now) {
    if (m_state == State::Offline || !m_bFarSide || !m_echoes.IsDue(now)) return;
    if (m_pPort && m_pPort->Probe(m_echoes.Next(), m_echoes.AskHome())) m_echoes.OnAsked(now);
}

// What the channel has it offers by itself: where others have come to it, that is not nothing.
void CBoard::GoOnline(uint64_t now, bool near) {
    const Lock lock(m_mutex);
    m_echoes.Begin(near);
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        if (object.stale || object.offline) continue;
        object.own = true;
        object.echo = m_echoes.ForWhatIsSaidNow();
    }
    m_state = State::Settling;
    m_bFarSide = true;
    m_bNoLife = false;
    m_ullOnlineMs = m_ullDataMs = now;
    SayAllDeleted();
    Greet(now);
    SettleIfKnown();
}

// Of a board that has a life that we know, its list says what has been deleted. Where it has no list, the life comes
// last of all that it has.
void CBoard::SettleIfKnown() {
    if (m_state == State::Settling && (m_bKnown || m_life.IsKnown())) Settle(!m_bListLost);
}

/// `known`: the far side has had all that we have, and what it has no more was deleted there.
void CBoard::Settle(bool known) {
    m_state = State::Online;
    m_life.Settle(known);
    OnDeletedByBoth(known && m_bListed);
    IDs gone;
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        if (!object.stale && !object.offline) continue;
        if (m_listed.count(id) != 0) {
            Await(object);
        } else if (object.stale && known) {
            gone.push_back(id);
        } else {
            Offer(id, object);
        }
    }
    m_listed.clear();
    Remove(gone, nullptr);
}

// Others, too, have deleted what was deleted here while they were away, if the far side did not list it any more.
void CBoard::OnDeletedByBoth(bool known) {
    IDs both;
    for (const uint32_t id : m_changes.TakeDeletedAway())
        if (known && m_listed.count(id) == 0) both.push_back(id);
    OnOthersDeleted(both);
}

// Its present state comes. That a near server has it does not say that the home server does.
void CBoard::Await(BoardObject& object) {
    if (object.offline && m_echoes.AskHome()) object.echo = m_echoes.ForWhatIsSaidNow();
    object.offline = object.unheard = false;
    object.stale = true;
}

void CBoard::Offer(uint32_t id, BoardObject& object) {
    object.offline = object.stale = object.unheard = false;
    object.own = true;
    object.echo = m_bFarSide ? m_echoes.ForWhatIsSaidNow() : 0;
    m_changes.SayMoves(id, object.echo);
    Say(BoardCommand::Data, id, object.tag, object.Record());
}

// What the server had no room for, in turn.
void CBoard::OfferRefused(uint64_t now) {
    if (m_ullRefusedMs == 0 || now < m_ullRefusedMs || m_state != State::Online) return;
    IDs refused;
    for (const auto& [id, object] : m_model.Objects())
        if (object.refused && object.offline) refused.push_back(id);
    m_ullRefusedMs = refused.empty() ? 0 : now + kRefusedEveryMs;
    auto next = std::upper_bound(refused.begin(), refused.end(), m_ulRefused);
    for (size_t i = 0, bytes = 0; i < refused.size() && bytes < kRefusedBytes; ++i, ++next) {
        if (next == refused.end()) next = refused.begin();
        m_ulRefused = *next;
        BoardObject& object = *m_model.Find(*next);
        bytes += kMessageHead + object.record.size();
        Offer(*next, object);
    }
}

void CBoard::GoOnlineAsHost(uint64_t now) {
    const Lock lock(m_mutex);
    m_state = State::Online;
    m_bFarSide = m_bNoLife = false;
    m_changes.Clear();
    m_life.Forget();
    if (!m_model.Objects().empty()) SayLife();
    for (const uint32_t id : m_model.IDs()) Offer(id, *m_model.Find(id));
    Greet(now);
}

void CBoard::GoOffline() {
    const Lock lock(m_mutex);
    if (m_state == State::Offline) return;
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        object.offline = object.offline || !m_echoes.Has(object.echo);
        object.stale = !object.offline;
        object.echo = 0;
    }
    m_life.Leave(m_state == State::Online);
    // By our own deletion it may be gone there when we come again: that others deleted it cannot be told any more.
    if (m_state == State::Settling) m_changes.TakeDeletedAway();
    m_changes.OnBreak();
    LeaveOthers();
}

void CBoard::GoOfflineAsHost() {
    const Lock lock(m_mutex);
    if (m_state == State::Offline) return;
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        object.offline = true;
        object.stale = false;
        object.echo = 0;
    }
    m_life.Forget();
    m_changes.Clear();
    LeaveOthers();
}

void CBoard::LeaveOthers() {
    m_state = State::Offline;
    m_bFarSide = false;
    ForgetFarSide();  // where guests keep the seat busy, the next one may have us before its beginning is heard
    m_people = CPeople();
    ShowPeople();
}

// What becomes of this board and of the other one is two lives from now on: neither knows what was deleted at the
// other.
void CBoard::LiveApart() {
    const Lock lock(m_mutex);
    IDs lives;
    for (const auto& life : m_life.Here()) lives.push_back(life.first);
    SayDeleted(lives);
    m_life.Forget();
    if (!m_model.Objects().empty()) SayLife();
}

void CBoard::SayLife() {
    m_ullNoLifeMs = 0;
    for (const auto& [id, clearings] : m_life.Begin(static_cast<uint32_t>(RandomID() >> 32)))
        Say(BoardCommand::Data, id, 0, CBoardLife::MakeRecord(clearings));
}

// Most often it is on its way: who has just cleared the board gives it back, and who draws first begins it.
void CBoard::LookForLife(uint64_t now) {
    const bool needs = m_life.IsLost() || (m_life.IsNone() && !m_model.Objects().empty());
    const bool lacks = needs && m_state == State::Online && !m_bNoLife;
    if (!lacks)
        m_ullNoLifeMs = 0;
    else if (m_ullNoLifeMs == 0)
        m_ullNoLifeMs = now;
    else if (now >= m_ullNoLifeMs + kNoLifeMs + m_ulSelf % kLifeSpreadMs)
        SayLife();
}

// What is promised by the far side and has not come yet is no loss.
void CBoard::OnHeld(const std::vector<uint32_t>& held, bool cleared, uint64_t now) {
    const Lock lock(m_mutex);
    const std::set<uint32_t> there(held.begin(), held.end());
    m_ullDataMs = now;
    if (cleared) m_listed.clear();
    m_bListLost = m_bListLost || !cleared;
    if (!cleared) m_echoes.OnLost();
    IDs gone;
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        const bool promised = object.stale && !(cleared && m_state == State::Online);
        if (there.count(id) != 0) {
            Await(object);
        } else if (!object.offline && !promised) {
            gone.push_back(id);
        }
    }
    if (cleared) m_life.OnCleared();
    m_life.Keep(there);
    Remove(gone, nullptr);
    for (const uint32_t id : held)
        if (!m_life.Has(id) && !m_changes.IsDeleted(id)) Say(BoardCommand::Request, id, 0);
}

}  // namespace lumo
