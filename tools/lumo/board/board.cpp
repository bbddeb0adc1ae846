#include "tools/lumo/board/board.h"

#include "tools/lumo/net/loop.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

namespace lumo {
namespace {

using Json = nlohmann::json;
using Lock = std::lock_guard<std::mutex>;

/// Far enough apart to be told by the eye, and dark enough on white.
constexpr std::array<uint32_t, 10> kColours = {0xd6336c, 0x1971c2, 0x2f9e44, 0xe8590c, 0x7048e8,
                                               0x0c8599, 0xc2255c, 0x5c940d, 0x9c36b5, 0xa8691c};

std::string PayloadOf(const std::vector<uint32_t>& words) {
    std::string payload;
    payload.reserve(4 * words.size());
    for (const uint32_t word : words) AddWord(payload, word);
    return payload;
}

}  // namespace

CBoard::CBoard(uint32_t channel, uint32_t self, const std::string& name, CPageFeeds& feeds)
    : m_ulChannel(channel), m_ulSelf(self), m_feeds(feeds) {
    m_self = {CPeople::CleanName(name), kColours.at(self % kColours.size()), 0};
}

void CBoard::Say(BoardCommand command, uint32_t object, uint32_t tag, std::string_view payload) {
    if (m_pPort) m_pPort->Say(MakeMessage(command, object, tag, payload));
}

void CBoard::SetPort(IBoardPort* port) {
    const Lock lock(m_mutex);
    m_pPort = port;
}

void CBoard::OnMessage(std::string_view bytes, uint64_t now) {
    const Lock lock(m_mutex);
    BoardMessage message;
    if (!ParseMessage(bytes, message)) return;
    switch (message.command) {
        case BoardCommand::Offer:
            return OnOffer(BoardCommand::Request, message);
        case BoardCommand::ExtOffer:
            return OnOffer(BoardCommand::ExtRequest, message);
        case BoardCommand::List:
            for (const uint32_t id : WordsFrom(message.payload, 0))
                OnOffer(BoardCommand::Request, {BoardCommand::Offer, id, 0, {}});
            return;
        case BoardCommand::Data:
        case BoardCommand::ExtData:
            return OnData(message, now);
        case BoardCommand::Delete:
            return Remove(WordsFrom(message.payload, 0), nullptr);
        case BoardCommand::Move:
            if (message.payload.size() < 8) return;
            return Move(WordsFrom(message.payload, 8), static_cast<int32_t>(WordAt(message.payload, 0)),
                        static_cast<int32_t>(WordAt(message.payload, 4)));
        default:
            return OnPeople(message, now);
    }
}

void CBoard::OnOffer(BoardCommand request, const BoardMessage& message) {
    BoardObject* object = m_model.Find(message.object);
    if (object && !object->offline && !object->stale) return;
    if (object) {  // it had got there after all, and others may have moved it
        object->offline = false;
        object->stale = true;
    }
    Say(request, message.object, message.tag);
}

void CBoard::OnData(const BoardMessage& message, uint64_t now) {
    m_ullDataMs = now;
    if (!m_model.Add(message.object, {message.tag, std::string(message.payload), false, false, now})) return;
    ShowAdded({message.object});
}

void CBoard::Forget(uint64_t now) {
    const Lock lock(m_mutex);
    for (const uint32_t id : m_model.IDs()) {
        const BoardObject& object = *m_model.Find(id);
        if (!object.offline && !object.stale) m_model.Remove(id);
    }
    m_ullDataMs = now;
    Show({{"type", "reset"}});
    ShowAdded(m_model.IDs());
}

void CBoard::GoOnline(uint64_t now) {
    const Lock lock(m_mutex);
    m_state = State::Settling;
    m_ullOnlineMs = m_ullDataMs = now;
    Greet(now);
}

void CBoard::Settle() {
    m_state = State::Online;
    IDs gone;
    for (const auto& [id, object] : m_model.Objects()) {
        if (object.stale) gone.push_back(id);
    }
    Remove(gone, nullptr);
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        if (object.offline) Offer(id, object);
    }
}

void CBoard::GoOnlineAsHost(uint64_t now) {
    const Lock lock(m_mutex);
    m_state = State::Online;
    for (const uint32_t id : m_model.IDs()) Offer(id, *m_model.Find(id));
    Greet(now);
}

void CBoard::GoOffline(uint64_t now, uint64_t unsureMs) {
    const Lock lock(m_mutex);
    if (m_state == State::Offline) return;
    m_state = State::Offline;
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        object.offline = object.offline || (object.own && !object.stale && now - object.addedMs <= unsureMs);
        object.stale = !object.offline;
    }
    m_people = CPeople();
    ShowPeople();
}

void CBoard::SetStatus(const BoardStatus& status) {
    const Lock lock(m_mutex);
    if (status.connected == m_status.connected && status.path == m_status.path) return;
    m_status = status;
    Show(StatusEvent());
}

void CBoard::Offer(uint32_t id, BoardObject& object) {
    object.offline = object.stale = false;
    Say(BoardCommand::Data, id, object.tag, object.record);
}

void CBoard::Tick(uint64_t now) {
    const Lock lock(m_mutex);
    const bool quiet = now - m_ullDataMs >= kQuietMs || now - m_ullOnlineMs >= kSettleMs;
    if (m_state == State::Settling && quiet) Settle();
    if (now >= m_ullHelloMs) Greet(now);
    if (m_people.Expire(now)) ShowPeople();
}

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

CBoard::IDs CBoard::Add(const std::vector<Shape>& shapes, uint64_t now) {
    BoardStep step;
    for (const Shape& shape : shapes) {
        const uint32_t id = AddOwn(EncodeRecord(shape), m_model.NextTag(), now);
        if (id != 0) step.added.push_back(id);
    }
    ShowAdded(step.added);
    IDs added = step.added;
    m_undo.Note(std::move(step));
    ShowUndo();
    return added;
}

void CBoard::Remove(const IDs& ids, std::vector<RemovedObject>* removed) {
    IDs gone;
    for (const uint32_t id : ids) {
        const BoardObject* object = m_model.Find(id);
        if (!object) continue;
        if (removed) removed->push_back({id, object->tag, object->record});
        m_model.Remove(id);
        gone.push_back(id);
    }
    if (!gone.empty()) Show({{"type", "delete"}, {"ids", gone}});
}

// Where each object is now, not how far it went: a page that has just been told of it must not move it twice.
void CBoard::Move(const IDs& ids, int32_t dx, int32_t dy) {
    Json moved = Json::array();
    for (const uint32_t id : ids) {
        m_model.Move(id, dx, dy);
        const BoardObject* object = m_model.Find(id);
        Shape shape;
        if (!object || !ParseRecord(object->record, shape)) continue;
        moved.push_back({id, shape.box.left, shape.box.top, shape.box.right, shape.box.bottom});
    }
    if (!moved.empty()) Show({{"type", "move"}, {"boxes", std::move(moved)}});
}

void CBoard::Delete(const IDs& ids) {
    BoardStep step;
    const IDs known = Changeable(ids);
    if (known.empty()) return;
    Remove(known, &step.removed);
    Say(BoardCommand::Delete, 0, 0, PayloadOf(known));
    m_undo.Note(std::move(step));
    ShowUndo();
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

// What others have deleted meanwhile cannot be taken back: such a step is passed over.
void CBoard::TakeBack(bool redo, uint64_t now) {
    BoardStep step;
    while (m_undo.Take(redo, step)) {
        BoardStep inverse = Inverse(step, now);
        if (inverse.Empty()) {
            if (m_state != State::Offline) continue;
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
    const IDs added = Changeable(step.added);
    if (!added.empty()) {
        Remove(added, &inverse.removed);
        Say(BoardCommand::Delete, 0, 0, PayloadOf(added));
    }
    std::map<uint32_t, uint32_t> names;  // the deletion of an old number may still be under way
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

PageFeedPtr CBoard::OpenPage(std::vector<uint32_t>& objects) {
    const Lock lock(m_mutex);
    PageFeedPtr feed = m_feeds.Open();
    if (!feed) return nullptr;
    objects = m_model.IDs();
    const Json hello{{"type", "hello"}, {"channel", m_ulChannel}, {"you", m_ulSelf}};
    for (const Json& event : {hello, StatusEvent(), PeopleEvent(), UndoEvent()})
        feed->Push(std::make_shared<const std::string>(DumpJson(event)), false);
    return feed;
}

bool CBoard::Picture(uint32_t id, std::string& bytes, PictureFormat& format) {
    const Lock lock(m_mutex);
    const BoardObject* object = m_model.Find(id);
    Shape shape;
    if (!object || !ParseRecord(object->record, shape) || shape.type != ShapeType::Picture) return false;
    bytes = std::move(shape.bytes);
    format = shape.format;
    return true;
}

}  // namespace lumo
