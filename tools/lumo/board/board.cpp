#include "tools/lumo/board/board.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

namespace lumo {
namespace {

using Json = nlohmann::json;
using Lock = std::lock_guard<std::mutex>;

}  // namespace

uint32_t TenthsNow() {
    using namespace std::chrono;
    const auto passed = system_clock::now().time_since_epoch();
    return static_cast<uint32_t>(duration_cast<milliseconds>(passed).count() / 100);
}

CBoard::CBoard(uint32_t channel, uint32_t self, const std::string& name, CPageFeeds& feeds, uint32_t (*tenths)())
    : m_ulChannel(channel), m_ulSelf(self), m_feeds(feeds), m_pTenths(tenths) {
    m_self = {CPeople::CleanName(name), m_people.FreeColour(self), 0};
}

void CBoard::Say(BoardCommand command, uint32_t object, uint32_t tag, std::string_view payload) {
    if (m_pPort) m_pPort->Say(MakeMessage(command, object, tag, payload));
}

void CBoard::SayDeleted(const IDs& ids, uint32_t tag) {
    if (!ids.empty()) Say(BoardCommand::Delete, 0, tag, PayloadOf(ids));
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
            return OnDelete(message, now);
        case BoardCommand::Move:
            return OnMove(message);
        default:
            return OnPeople(message, now);
    }
}

void CBoard::OnOffer(BoardCommand request, const BoardMessage& message) {
    // It was on its way while it was deleted here.
    if (m_changes.IsDeleted(message.object)) return SayDeleted({message.object});
    if (m_life.Has(message.object)) return;
    // It had got there after all, or before ours got into the channel, and others may have moved it.
    if (BoardObject* object = m_model.Find(message.object)) {
        if (!object->offline && !object->stale) m_changes.UnsayMoves(message.object);
        m_fetched.erase(message.object);
        Await(*object);
    }
    Say(request, message.object, message.tag);
}

void CBoard::OnData(const BoardMessage& message, uint64_t now) {
    m_ullDataMs = now;
    if (!CBoardLife::IsLife(message.object, message.payload)) return TakeData(message);
    Remove({message.object}, nullptr);  // if it was another program's object
    m_life.Add(message.object, message.payload);
    SettleIfKnown();
}

/// The pages hear of an object only if it has changed.
void CBoard::TakeData(const BoardMessage& message) {
    const uint32_t id = message.object;
    if (m_changes.IsDeleted(id) || !IsLatest(id, message.payload)) return;
    BoardObject object;
    object.tag = message.tag;
    object.record = message.payload;
    const BoardObject* held = m_model.Find(id);
    std::string before;
    // What others draw behind a near server may be there only, and its drawer gone when that is restarted.
    if (!held && m_state == State::Online && m_echoes.AskHome()) object.echo = m_echoes.ForWhatIsSaidNow();
    if (held) {
        before = held->Record();
        object.own = held->own;
        object.echo = held->echo;
        object.refused = held->refused;
    }
    const bool sameTag = held && held->tag == message.tag;
    if (!m_model.Add(id, std::move(object))) return;
    SayMissingMoves(id);
    if (!sameTag || before != m_model.Find(id)->Record()) ShowAdded({id});
}

/// What was moved here meanwhile is moved there as well. That a near server has moved it does not say that the home
/// server has.
void CBoard::SayMissingMoves(uint32_t id) {
    Box place;
    if (!m_changes.HasMoves(id) || !m_model.PlaceOf(id, place)) return;
    const Shift missing = m_changes.MissingAt(id, place);
    const uint32_t echo = m_echoes.ForWhatIsSaidNow();
    if (m_echoes.AskHome())
        m_changes.SayMoves(id, echo);
    else
        m_changes.ForgetMoves(id);
    if (missing.IsNone()) return;
    m_model.Move(id, missing);
    if (!m_echoes.AskHome()) m_changes.Move(id, place, missing, true, echo);
    Say(BoardCommand::Move, 0, 0, PayloadOf({missing.dx, missing.dy, id}));
}

/// Of two versions of one thing the later one stays, for everybody. False when that is the one that we have.
bool CBoard::IsLatest(uint32_t id, std::string_view record) {
    const uint32_t rival = m_model.RivalOf(id, record);
    if (rival == 0) return true;
    const bool later = IsLater(VersionOf(record), id, VersionOf(m_model.Find(rival)->record), rival);
    const uint32_t earlier = later ? rival : id;
    if (later) Remove({rival}, nullptr);
    SayDeleted({earlier}, kSuperseded);
    return later;
}

// Who deletes names the objects in the payload only. A server that keeps no more from here names the object in the
// head as well, and with its tag.
void CBoard::OnDelete(const BoardMessage& message, uint64_t now) {
    const IDs ids = WordsFrom(message.payload, 0);
    const BoardObject* named = m_model.Find(message.object);
    const bool refused = ids.size() == 1 && ids[0] == message.object && (!named || named->tag == message.tag);
    if (refused) return OnNoRoom(message.object, now);
    for (const uint32_t id : ids) m_life.Remove(id);
    if (message.tag != kSuperseded) OnOthersDeleted(ids);
    Remove(ids, nullptr);
}

/// What was drawn here stays here, and is offered again.
void CBoard::OnNoRoom(uint32_t id, uint64_t now) {
    m_bNoLife = m_bNoLife || m_life.Has(id);
    m_life.Remove(id);
    BoardObject* object = m_model.Find(id);
    if (!object || !object->own) return Remove({id}, nullptr);
    const bool arrived = !object->offline && m_echoes.Has(object->echo);
    if (!std::exchange(object->refused, true) || arrived) Show({{"type", "not kept"}, {"id", id}});
    object->offline = object->unheard = true;
    object->stale = false;
    object->echo = 0;
    m_changes.ForgetMoves(id);
    m_fetched.erase(id);
    if (m_ullRefusedMs == 0) m_ullRefusedMs = now + kRefusedEveryMs;
}

/// What had been deleted here at the same time, and came back by undo, goes: its deletion by others was under way.
void CBoard::OnOthersDeleted(const IDs& ids) {
    m_undo.Forget(ids);
    IDs restored;
    for (const uint32_t id : ids) {
        const auto found = m_restored.find(id);
        if (found != m_restored.end() && m_model.Has(found->second)) restored.push_back(found->second);
    }
    SayDeleted(restored);
    Remove(restored, nullptr);
}

void CBoard::OnMove(const BoardMessage& message) {
    if (message.payload.size() < 8) return;
    const Shift by{WordAt(message.payload, 0), WordAt(message.payload, 4)};
    const IDs ids = WordsFrom(message.payload, 8);
    if (m_changes.HasMoves())
        for (const uint32_t id : ids) m_changes.MovedByOthers(id, by);
    for (size_t i = 0; i < ids.size() && !m_fetched.empty(); ++i) {
        const auto fetched = m_fetched.find(ids[i]);
        if (fetched == m_fetched.end() || !fetched->second.before) continue;
        MoveBox(fetched->second.ours, by);
        MoveBox(*fetched->second.before, by);
    }
    Move(ids, by);
}

void CBoard::SetStatus(const BoardStatus& status) {
    const Lock lock(m_mutex);
    if (status.connected == m_status.connected && status.path == m_status.path) return;
    m_status = status;
    Show(StatusEvent());
}

void CBoard::Tick(uint64_t now) {
    const Lock lock(m_mutex);
    LookForEcho(now);
    const bool quiet = m_echoes.Answers() && now >= m_ullDataMs + kQuietMs;
    if (m_state == State::Settling && (quiet || now >= m_ullOnlineMs + kSettleMs)) Settle(false);
    LookForLife(now);
    OfferRefused(now);
    if (now >= m_ullHelloMs) Greet(now);
    if (m_people.Expire(now)) ShowPeople();
    if (!m_bPeopleNews || now - m_ullPeopleMs < kPeopleEveryMs) return;
    m_bPeopleNews = false;
    m_ullPeopleMs = now;
    Show(PeopleEvent());
}

/// Without a word to the pages.
CBoard::IDs CBoard::Drop(const IDs& ids, std::vector<RemovedObject>* removed) {
    IDs gone;
    for (const uint32_t id : ids) {
        const BoardObject* object = m_model.Find(id);
        if (!object) continue;
        if (removed) removed->push_back({id, object->tag, object->Record()});
        m_model.Remove(id);
        m_changes.ForgetMoves(id);
        m_fetched.erase(id);
        gone.push_back(id);
    }
    return gone;
}

void CBoard::Remove(const IDs& ids, std::vector<RemovedObject>* removed) {
    const IDs gone = Drop(ids, removed);
    if (!gone.empty()) Show({{"type", "delete"}, {"ids", gone}});
}

// Where each object is now, not how far it went: a page that has just been told of it must not move it twice.
void CBoard::Move(const IDs& ids, const Shift& by) {
    std::set<uint32_t> held;
    for (const uint32_t id : ids)
        if (m_model.Move(id, by)) held.insert(id);
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
