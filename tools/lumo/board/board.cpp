#include "tools/lumo/board/board.h"

#include "tools/lumo/net/loop.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <utility>

namespace lumo {
namespace {

using Json = nlohmann::json;
using Lock = std::lock_guard<std::mutex>;

}  // namespace

CBoard::CBoard(uint32_t channel, uint32_t self, const std::string& name, CPageFeeds& feeds)
    : m_ulChannel(channel), m_ulSelf(self), m_feeds(feeds) {
    m_self = {CPeople::CleanName(name), m_people.FreeColour(self), 0};
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
            return OnDelete(message);
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

// Who deletes names the objects in the payload only. A server that keeps no more from here names the object in the
// head as well.
void CBoard::OnDelete(const BoardMessage& message) {
    const BoardObject* object = m_model.Find(message.object);
    if (object && object->own) Show({{"type", "not kept"}, {"id", message.object}});
    Remove(WordsFrom(message.payload, 0), nullptr);
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
    // A host's channel, which the far side joins, offers what it has by itself.
    for (const uint32_t id : m_state == State::Offline ? IDs() : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        object.own = true;
        object.addedMs = now;
    }
    m_state = State::Settling;
    m_ullOnlineMs = m_ullDataMs = now;
    Greet(now);
}

void CBoard::Settle(uint64_t now) {
    m_state = State::Online;
    IDs gone;
    for (const auto& [id, object] : m_model.Objects()) {
        if (object.stale) gone.push_back(id);
    }
    Remove(gone, nullptr);
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        if (object.offline) Offer(id, object, now);
    }
}

void CBoard::GoOnlineAsHost(uint64_t now) {
    const Lock lock(m_mutex);
    m_state = State::Online;
    for (const uint32_t id : m_model.IDs()) Offer(id, *m_model.Find(id), now);
    Greet(now);
}

void CBoard::GoOffline(uint64_t now, uint64_t unsureMs) {
    const Lock lock(m_mutex);
    if (m_state == State::Offline) return;
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        object.offline = object.offline || (object.own && !object.stale && now <= object.addedMs + unsureMs);
        object.stale = !object.offline;
    }
    LeaveOthers();
}

void CBoard::GoOfflineAsHost() {
    const Lock lock(m_mutex);
    if (m_state == State::Offline) return;
    for (const uint32_t id : m_model.IDs()) {
        BoardObject& object = *m_model.Find(id);
        object.offline = true;
        object.stale = false;
    }
    LeaveOthers();
}

void CBoard::LeaveOthers() {
    m_state = State::Offline;
    m_people = CPeople();
    ShowPeople();
}

void CBoard::SetStatus(const BoardStatus& status) {
    const Lock lock(m_mutex);
    if (status.connected == m_status.connected && status.path == m_status.path) return;
    m_status = status;
    Show(StatusEvent());
}

void CBoard::Offer(uint32_t id, BoardObject& object, uint64_t now) {
    object.offline = object.stale = false;
    object.own = true;
    object.addedMs = now;
    Say(BoardCommand::Data, id, object.tag, object.Record());
}

void CBoard::Tick(uint64_t now) {
    const Lock lock(m_mutex);
    const bool quiet = now >= m_ullDataMs + kQuietMs || now >= m_ullOnlineMs + kSettleMs;
    if (m_state == State::Settling && quiet) Settle(now);
    if (now >= m_ullHelloMs) Greet(now);
    if (m_people.Expire(now)) ShowPeople();
    if (!m_bPeopleNews || now - m_ullPeopleMs < kPeopleEveryMs) return;
    m_bPeopleNews = false;
    m_ullPeopleMs = now;
    Show(PeopleEvent());
}

void CBoard::Remove(const IDs& ids, std::vector<RemovedObject>* removed) {
    IDs gone;
    for (const uint32_t id : ids) {
        const BoardObject* object = m_model.Find(id);
        if (!object) continue;
        if (removed) removed->push_back({id, object->tag, object->Record()});
        m_model.Remove(id);
        gone.push_back(id);
    }
    if (!gone.empty()) Show({{"type", "delete"}, {"ids", gone}});
}

// Where each object is now, not how far it went: a page that has just been told of it must not move it twice.
void CBoard::Move(const IDs& ids, int32_t dx, int32_t dy) {
    std::set<uint32_t> held;
    for (const uint32_t id : ids)
        if (m_model.Move(id, dx, dy)) held.insert(id);
    Json moved = Json::array();
    Box box;
    for (const uint32_t id : held)
        if (m_model.PlaceOf(id, box)) moved.push_back({id, box.left, box.top, box.right, box.bottom});
    if (!moved.empty()) Show({{"type", "move"}, {"boxes", std::move(moved)}});
}

PageFeedPtr CBoard::OpenPage(std::vector<uint32_t>& objects) {
    const Lock lock(m_mutex);
    PageFeedPtr feed = m_feeds.Open();
    if (!feed) return nullptr;
    objects = m_model.IDs();
    const Json hello{{"type", "hello"}, {"channel", m_ulChannel}, {"you", m_ulSelf}};
    for (const Json& event : {hello, StatusEvent(), PeopleEvent(), UndoEvent()})
        feed->Push(std::make_shared<const std::string>(DumpJson(event)));
    return feed;
}

bool CBoard::Picture(uint32_t id, std::string& bytes, BoardPictureFormat& format) {
    const Lock lock(m_mutex);
    const BoardObject* object = m_model.Find(id);
    Shape shape;
    if (!object || !ParseRecord(object->Record(), shape) || shape.type != ShapeType::Picture) return false;
    bytes = std::move(shape.bytes);
    format = shape.format;
    return true;
}

}  // namespace lumo
