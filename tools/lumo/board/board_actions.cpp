// What the pages do to a board, and take back.
#include "tools/lumo/board/board.h"
#include "tools/lumo/net/loop.h"

#include <map>
#include <set>
#include <utility>

namespace lumo {
namespace {

using Lock = std::lock_guard<std::mutex>;

std::string PayloadOf(const std::vector<uint32_t>& words) {
    std::string payload;
    payload.reserve(4 * words.size());
    for (const uint32_t word : words) AddWord(payload, word);
    return payload;
}

}  // namespace

std::vector<std::vector<uint32_t>> CBoard::Do(const std::vector<BoardAction>& actions, uint64_t now) {
    using Kind = BoardAction::Kind;
    const Lock lock(m_mutex);
    std::vector<IDs> added(actions.size());
    for (size_t i = 0; i < actions.size(); ++i) {
        const BoardAction& action = actions[i];
        switch (action.kind) {
            case Kind::Add:
                added[i] = Add(action.shapes, now);
                break;
            case Kind::Replace:
                added[i] = Replace(action.ids.at(0), action.shapes, now);
                break;
            case Kind::Change:
                added[i] = Change(action.changes, now);
                break;
            case Kind::Move:
                MoveOwn(action.ids, action.dx, action.dy);
                break;
            case Kind::Delete:
                Delete(action.ids);
                break;
            case Kind::Clear:
                Delete(m_model.IDs());
                break;
            case Kind::Undo:
            case Kind::Redo:
                TakeBack(action.kind == Kind::Redo, now);
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

// While nobody is there, what others may have changed meanwhile is not touched.
CBoard::IDs CBoard::Changeable(const IDs& ids) const {
    IDs changeable;
    for (const uint32_t id : std::set<uint32_t>(ids.begin(), ids.end())) {
        const BoardObject* object = m_model.Find(id);
        if (object && !object->stale && (m_state != State::Offline || object->offline)) changeable.push_back(id);
    }
    return changeable;
}

uint32_t CBoard::AddOwn(const std::string& record, uint32_t tag, uint64_t now) {
    uint32_t id = 0;
    while (id == 0 || m_model.Has(id)) id = static_cast<uint32_t>(RandomID() >> 32);
    const bool offline = m_state == State::Offline;
    if (record.empty() || !m_model.Add(id, {tag, record, true, offline, now})) return 0;
    if (!offline) Say(BoardCommand::Data, id, tag, record);
    return id;
}

CBoard::IDs CBoard::Add(const std::vector<Shape>& shapes, uint64_t now, const IDs& insteadOf) {
    BoardStep step;
    IDs drawn;
    TakeAway(insteadOf, step);
    for (const Shape& shape : shapes) {
        drawn.push_back(AddOwn(RecordFor(shape), m_model.NextTag(), now));
        if (drawn.back() != 0) step.added.push_back(drawn.back());
    }
    ShowAdded(step.added);
    m_undo.Note(std::move(step));
    ShowUndo();
    return drawn;
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

// All of it or nothing; what others have deleted meanwhile comes back as it is now.
CBoard::IDs CBoard::Replace(uint32_t id, const std::vector<Shape>& shapes, uint64_t now) {
    const IDs known = Changeable({id});
    const BoardObject* old = m_model.Find(id);
    if (known.empty() && old) return {};
    const size_t bytes = EncodeRecord(shapes.at(0)).size();
    if (bytes == 0 || !m_model.HasRoom(bytes, old)) return {};
    return Add(shapes, now, known);
}

// Each stays where it lies in the stack, under a new number.
CBoard::IDs CBoard::Change(const std::vector<ShapeChange>& changes, uint64_t now) {
    struct Changed {
        size_t place;
        std::string record;
    };
    BoardStep step;
    IDs before, after(changes.size(), 0);
    std::vector<Changed> changed;
    for (size_t i = 0; i < changes.size(); ++i) {
        const IDs known = Changeable({changes[i].id});
        if (known.empty()) continue;
        const BoardObject& object = *m_model.Find(known[0]);
        std::string record = ChangedRecord(object.Record(), changes[i]);
        if (record.empty()) continue;
        step.removed.push_back({known[0], object.tag, object.Record()});
        changed.push_back({i, std::move(record)});
        before.push_back(known[0]);
        m_model.Remove(known[0]);
    }
    if (before.empty()) return after;
    Say(BoardCommand::Delete, 0, 0, PayloadOf(before));
    for (size_t i = 0; i < changed.size(); ++i) {
        const uint32_t id = AddOwn(changed[i].record, step.removed[i].tag, now);
        step.added.push_back(after[changed[i].place] = id);
    }
    ShowChanged(before, step.added);
    m_undo.Note(std::move(step));
    ShowUndo();
    return after;
}

void CBoard::Delete(const IDs& ids) {
    BoardStep step;
    TakeAway(Changeable(ids), step);
    if (step.Empty()) return;
    m_undo.Note(std::move(step));
    ShowUndo();
}

void CBoard::TakeAway(const IDs& ids, BoardStep& step) {
    if (ids.empty()) return;
    Remove(ids, &step.removed);
    Say(BoardCommand::Delete, 0, 0, PayloadOf(ids));
}

void CBoard::MoveOwn(const IDs& ids, int32_t dx, int32_t dy) {
    BoardStep step;
    step.moved = Changeable(ids);
    step.dx = dx;
    step.dy = dy;
    if (step.moved.empty() || (dx == 0 && dy == 0)) return;
    Inverse({{},
             {},
             step.moved,
             static_cast<int32_t>(-static_cast<uint32_t>(dx)),
             static_cast<int32_t>(-static_cast<uint32_t>(dy))},
            0);
    m_undo.Note(std::move(step));
    ShowUndo();
}

// What others have deleted meanwhile cannot be taken back: such a step is passed over. Until all of the board is here
// nobody knows what they have.
void CBoard::TakeBack(bool redo, uint64_t now) {
    BoardStep step;
    while (m_undo.Take(redo, step)) {
        BoardStep inverse = Inverse(step, now);
        if (inverse.Empty()) {
            if (m_state == State::Online) continue;
            m_undo.Put(redo, std::move(step));
            break;
        }
        m_undo.Put(!redo, std::move(inverse));
        break;
    }
    ShowUndo();
}

/// Takes a step back; the answer is the step that does it again.
BoardStep CBoard::Inverse(const BoardStep& step, uint64_t now) {
    BoardStep inverse;
    TakeAway(Changeable(step.added), inverse);
    std::map<uint32_t, uint32_t> names;  // the deletion of an old number may still be in flight
    for (const RemovedObject& object : step.removed) {
        const uint32_t id = AddOwn(object.record, object.tag, now);
        if (id == 0) continue;
        names[object.id] = id;
        inverse.added.push_back(id);
    }
    m_undo.Rename(names);
    ShowAdded(inverse.added);
    inverse.moved = Changeable(step.moved);
    inverse.dx = static_cast<int32_t>(-static_cast<uint32_t>(step.dx));
    inverse.dy = static_cast<int32_t>(-static_cast<uint32_t>(step.dy));
    if (!inverse.moved.empty()) {
        IDs payload{static_cast<uint32_t>(inverse.dx), static_cast<uint32_t>(inverse.dy)};
        payload.insert(payload.end(), inverse.moved.begin(), inverse.moved.end());
        Move(inverse.moved, inverse.dx, inverse.dy);
        Say(BoardCommand::Move, 0, 0, PayloadOf(payload));
    }
    return inverse;
}

}  // namespace lumo
