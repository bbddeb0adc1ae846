// What the pages do to a board, and take back.
#include "tools/lumo/board/board.h"
#include "tools/lumo/net/loop.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace lumo {
namespace {

using Lock = std::lock_guard<std::mutex>;
}  // namespace

std::vector<std::vector<uint32_t>> CBoard::Do(const std::vector<BoardAction>& actions, uint64_t now) {
    using Kind = BoardAction::Kind;
    const Lock lock(m_mutex);
    std::vector<IDs> added(actions.size());
    for (size_t i = 0; i < actions.size(); ++i) {
        const BoardAction& action = actions[i];
        switch (action.kind) {
            case Kind::Add:
                added[i] = Add(RecordsFor(action.shapes));
                break;
            case Kind::Replace:
                added[i] = Replace(action.ids.at(0), action.shapes.at(0));
                break;
            case Kind::Change:
                added[i] = Change(action.changes);
                break;
            case Kind::Move:
                MoveOwn(action.ids, {static_cast<uint32_t>(action.dx), static_cast<uint32_t>(action.dy)});
                break;
            case Kind::Delete:
                Delete(action.ids);
                break;
            case Kind::Clear:
                Clear();
                break;
            case Kind::Undo:
            case Kind::Redo:
                TakeBack(action.kind == Kind::Redo);
                break;
            case Kind::Pointer:
            case Kind::PointerGone:
                Point(action);
                break;
            case Kind::Name:
                m_self.name = CPeople::CleanName(action.name);
                Greet(now);
                ShowPeople();
                break;
        }
    }
    return added;
}

CBoard::IDs CBoard::Held(const IDs& ids) const {
    IDs held;
    for (const uint32_t id : std::set<uint32_t>(ids.begin(), ids.end()))
        if (m_model.Has(id)) held.push_back(id);
    return held;
}

// While nobody is there it waits; else the far side may lack it until an echo has come. The first thing on a board
// brings it to life.
uint32_t CBoard::AddOwn(std::string record, uint32_t tag) {
    if (record.empty()) return 0;
    BoardObject object;
    object.tag = tag;
    object.record = std::move(record);
    object.own = true;
    object.offline = object.unheard = m_state == State::Offline;
    if (m_bFarSide) object.echo = m_echoes.ForWhatIsSaidNow();
    const bool first = m_state == State::Online && m_model.Objects().empty() && m_life.IsNone();
    uint32_t id = 0;
    while (id == 0 || m_model.Has(id)) id = static_cast<uint32_t>(RandomID() >> 32) % CBoardLife::kFirstNumber;
    if (!m_model.Add(id, std::move(object))) return 0;
    if (first) SayLife();
    if (m_state != State::Offline) Say(BoardCommand::Data, id, tag, m_model.Find(id)->record);
    return id;
}

CBoard::IDs CBoard::Add(const std::vector<std::string>& records, const IDs& insteadOf) {
    BoardStep step;
    IDs drawn;
    TakeAway(insteadOf, step);
    for (const std::string& record : records) {
        drawn.push_back(AddOwn(record, m_model.NextTag()));
        if (drawn.back() != 0) step.added.push_back(drawn.back());
    }
    ShowAdded(step.added);
    m_undo.Note(std::move(step));
    ShowUndo();
    return drawn;
}

std::vector<std::string> CBoard::RecordsFor(const std::vector<Shape>& shapes) const {
    std::vector<std::string> records;
    records.reserve(shapes.size());
    for (const Shape& shape : shapes) records.push_back(RecordFor(shape));
    return records;
}

// A picture that was cut away can be put in elsewhere: its bytes are kept as long as its deletion can be taken back.
std::string CBoard::RecordFor(const Shape& shape) const {
    if (shape.like == 0) return EncodeRecord(shape);
    const BoardObject* object = m_model.Find(shape.like);
    const std::string* record = object ? &object->Record() : m_undo.RecordOf(shape.like);
    Shape picture;
    if (!record || !ParseRecord(*record, picture) || picture.type != ShapeType::Picture) return {};
    picture.box = shape.box;
    return EncodeRecord(picture);
}

// All of it or nothing. It takes the place of what others have made of the thing meanwhile; what they have deleted
// comes back as it is now.
CBoard::IDs CBoard::Replace(uint32_t id, const Shape& shape) {
    const uint32_t current = m_model.CurrentOf(id);
    std::string record = EncodeRecord(shape);
    if (record.empty() || !m_model.HasRoom(record.size() + kVersionBytes, m_model.Find(current))) return {};
    SetVersion(record, NextVersion(id));
    return Add({record}, current != 0 ? IDs{current} : IDs());
}

/// Later than all that is known of the thing, whatever this host's clock says.
Version CBoard::NextVersion(uint32_t id) const {
    Version next{m_model.OriginOf(id), m_pTenths()};
    const BoardObject* current = m_model.Find(m_model.CurrentOf(id));
    const Version last = current ? VersionOf(current->record) : Version();
    if (last.origin != 0 && static_cast<int32_t>(next.changed - last.changed) <= 0) next.changed = last.changed + 1;
    return next;
}

// Each stays where it lies in the stack, under a new number.
CBoard::IDs CBoard::Change(const std::vector<ShapeChange>& changes) {
    struct Changed {
        size_t place;
        uint32_t tag;
        std::string record;
    };
    IDs before, after(changes.size(), 0);
    std::vector<Changed> changed;
    for (size_t i = 0; i < changes.size(); ++i) {
        const uint32_t id = m_model.CurrentOf(changes[i].id);
        const BoardObject* object = m_model.Find(id);
        if (!object || std::find(before.begin(), before.end(), id) != before.end()) continue;
        std::string record = ChangedRecord(object->Record(), changes[i]);
        if (record.empty() || !m_model.HasRoom(record.size() + kVersionBytes, object)) continue;
        SetVersion(record, NextVersion(id));
        changed.push_back({i, object->tag, std::move(record)});
        before.push_back(id);
    }
    BoardStep step;
    TakeAway(before, step, false);
    for (Changed& one : changed) {
        step.added.push_back(AddOwn(std::move(one.record), one.tag));
        after[one.place] = step.added.back();
    }
    ShowChanged(before, step.added);
    m_undo.Note(std::move(step));
    ShowUndo();
    return after;
}

void CBoard::Delete(const IDs& ids) {
    BoardStep step;
    const IDs held = Held(ids);
    IDs away;
    for (const uint32_t id : held)
        if (m_state != State::Online && m_model.Find(id)->stale) away.push_back(id);
    TakeAway(held, step);
    m_changes.MarkAway(away);
    if (step.Empty()) return;
    m_undo.Note(std::move(step));
    ShowUndo();
}

// Who comes back finds the board's life, cleared once more, and nothing else.
void CBoard::Clear() {
    if (m_model.Objects().empty()) return;
    Delete(m_model.IDs());
    if (m_state != State::Online) return;
    const CBoardLife::Lives& lives = m_life.CountClearing();
    IDs ids;
    for (const auto& life : lives) ids.push_back(life.first);
    SayDeleted(ids);
    for (const auto& [id, clearings] : lives) Say(BoardCommand::Data, id, 0, CBoardLife::MakeRecord(clearings));
}

// What is deleted while nobody is there is deleted there later.
void CBoard::TakeAway(const IDs& ids, BoardStep& step, bool shows) {
    if (ids.empty()) return;
    const bool offline = m_state == State::Offline;
    for (const uint32_t id : ids) {
        const BoardObject* object = m_model.Find(id);
        if (m_bFarSide || (offline && object && !object->unheard))
            m_changes.Delete(id, offline ? CEchoes::kNever : m_echoes.ForWhatIsSaidNow());
    }
    if (shows)
        Remove(ids, &step.removed);
    else
        Drop(ids, &step.removed);
    if (!offline) SayDeleted(ids);
}

void CBoard::MoveOwn(const IDs& ids, const Shift& by) {
    BoardStep step;
    step.moved = Held(ids);
    step.by = by;
    if (step.moved.empty() || by.IsNone()) return;
    MoveAndSay(step.moved, by);
    m_undo.Note(std::move(step));
    ShowUndo();
}

// An object whose present state is still to come is moved there once that has come.
void CBoard::MoveAndSay(const IDs& ids, const Shift& by) {
    IDs payload{by.dx, by.dy};
    for (const uint32_t id : ids) {
        const BoardObject& object = *m_model.Find(id);
        const bool said = m_state != State::Offline && !object.stale && !object.offline;
        if (said) payload.push_back(id);
        Box from;
        if ((m_bFarSide || !said) && !object.unheard && m_model.PlaceOf(id, from))
            m_changes.Move(id, from, by, said, said ? m_echoes.ForWhatIsSaidNow() : CEchoes::kNever);
    }
    Move(ids, by);
    if (payload.size() > 2) Say(BoardCommand::Move, 0, 0, PayloadOf(payload));
}

// What others have deleted meanwhile cannot be taken back: such a step is passed over.
void CBoard::TakeBack(bool redo) {
    BoardStep step;
    while (m_undo.Take(redo, step)) {
        BoardStep inverse = Inverse(step);
        if (inverse.Empty()) continue;
        m_undo.Put(!redo, std::move(inverse));
        break;
    }
    ShowUndo();
}

/// Takes a step back; the answer is the step that does it again. Where something had taken another's place and is gone,
/// others have deleted or changed it, and the other stays away.
BoardStep CBoard::Inverse(const BoardStep& step) {
    BoardStep inverse;
    const bool exchange = step.IsExchange();
    IDs added;
    std::vector<const RemovedObject*> back;
    for (size_t i = 0; i < step.added.size(); ++i) {
        if (!m_model.Has(step.added[i])) continue;
        added.push_back(step.added[i]);
        if (exchange) back.push_back(&step.removed[i]);
    }
    if (!exchange)
        for (const RemovedObject& object : step.removed) back.push_back(&object);
    std::vector<Version> versions;
    versions.reserve(back.size());
    for (const RemovedObject* object : back) versions.push_back(NextVersion(object->id));
    TakeAway(added, inverse);
    std::map<uint32_t, uint32_t> names;
    for (size_t i = 0; i < versions.size(); ++i) {
        const uint32_t id = BringBack(*back[i], versions[i]);
        if (id == 0) continue;
        names[back[i]->id] = id;
        inverse.added.push_back(id);
    }
    m_undo.Rename(names);
    ShowAdded(inverse.added);
    inverse.moved = Held(step.moved);
    inverse.by = step.by.Back();
    if (!inverse.moved.empty()) MoveAndSay(inverse.moved, inverse.by);
    return inverse;
}

/// Under another number, for the deletion of the old one may still be in flight: that of others, too.
uint32_t CBoard::BringBack(const RemovedObject& object, const Version& version) {
    constexpr size_t kMostKept = 10000;
    if (m_model.CurrentOf(object.id) != 0) return 0;  // others have made something else of it
    std::string record = object.record;
    SetVersion(record, version);
    const uint32_t id = AddOwn(std::move(record), object.tag);
    if (m_restored.size() >= kMostKept) m_restored.clear();
    if (id != 0) m_restored[object.id] = id;
    return id;
}

}  // namespace lumo
