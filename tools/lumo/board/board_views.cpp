// What a board tells its pages and says to the others.
#include "tools/lumo/board/board.h"
#include "tools/lumo/transfer/sha256.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace lumo {
namespace {

using Json = nlohmann::json;
using Lock = std::lock_guard<std::mutex>;

constexpr size_t kShownAtOnce = 100;  // objects of one event

}  // namespace

void CBoard::OnPeople(const BoardMessage& message, uint64_t now) {
    if (message.object == m_ulSelf) return;
    if (message.command == BoardCommand::Hello) {
        const CPeople::Change change = m_people.OnHello(message.object, message.payload, now);
        if (change != CPeople::Change::None) ShowPeople();
        if (change == CPeople::Change::New) GreetSoon(now);  // he does not know us either
        // Of two with one colour the one with the greater number takes another.
        const auto found = m_people.All().find(message.object);
        if (found == m_people.All().end() || found->second.colour != m_self.colour || m_ulSelf < message.object) return;
        const uint32_t colour = m_people.FreeColour(m_ulSelf);
        if (colour != m_self.colour) GreetSoon(now);
        m_self.colour = colour;
    } else if (message.command == BoardCommand::Goodbye) {
        if (m_people.Remove(message.object)) ShowPeople();
    } else if (message.command == BoardCommand::Pointer && m_people.Has(message.object)) {
        Json event{{"type", "pointer"}, {"id", message.object}};
        if (message.payload.size() >= 8) {
            event["x"] = static_cast<int32_t>(WordAt(message.payload, 0));
            event["y"] = static_cast<int32_t>(WordAt(message.payload, 4));
        }
        m_feeds.PublishNewest(message.object, DumpJson(event));
    }
}

void CBoard::Point(const BoardAction& action) {
    if (m_state == State::Offline) return;
    std::string payload;
    if (action.kind == BoardAction::Kind::Pointer) {
        AddWord(payload, static_cast<uint32_t>(action.dx));
        AddWord(payload, static_cast<uint32_t>(action.dy));
    }
    Say(BoardCommand::Pointer, m_ulSelf, 0, payload);
}

void CBoard::Greet(uint64_t now) {
    m_ullHelloMs = now + CPeople::kHelloMs;
    if (m_state == State::Offline) return;
    m_ullGreetedMs = now;
    Say(BoardCommand::Hello, m_ulSelf, 1, CPeople::MakeHello(m_self));
}

// Each greeting goes to everybody: many who come at once, or one under many numbers, must not draw one from each at
// each.
void CBoard::GreetSoon(uint64_t now) {
    const uint64_t turn = now + m_ulSelf % CPeople::kAnswerSpreadMs;
    m_ullHelloMs = std::min(m_ullHelloMs, std::max(turn, m_ullGreetedMs + CPeople::kHelloAtMostEveryMs));
}

void CBoard::SayGoodbye() {
    const Lock lock(m_mutex);
    Say(BoardCommand::Goodbye, m_ulSelf, 0);
}

void CBoard::ShowAdded(const IDs& ids) {
    for (size_t at = 0; at < ids.size(); at += kShownAtOnce) {
        Json objects = Json::array();
        for (size_t i = at; i < std::min(ids.size(), at + kShownAtOnce); ++i)
            objects.push_back(ObjectJson(ids[i], *m_model.Find(ids[i])));
        Show({{"type", "add"}, {"objects", std::move(objects)}});
    }
}

void CBoard::ShowChanged(const IDs& before, const IDs& after) {
    IDs gone;  // for want of room
    for (size_t at = 0; at < before.size(); at += kShownAtOnce) {
        Json ids = Json::array(), objects = Json::array();
        for (size_t i = at; i < std::min(before.size(), at + kShownAtOnce); ++i) {
            const BoardObject* object = m_model.Find(after[i]);
            if (!object) {
                gone.push_back(before[i]);
                continue;
            }
            ids.push_back(before[i]);
            objects.push_back(ObjectJson(after[i], *object));
        }
        Show({{"type", "change"}, {"ids", std::move(ids)}, {"objects", std::move(objects)}});
    }
    if (!gone.empty()) Show({{"type", "delete"}, {"ids", gone}});
}

std::string CBoard::Objects(const uint32_t* ids, size_t count) {
    const Lock lock(m_mutex);
    Json objects = Json::array();
    for (size_t i = 0; i < count; ++i) {
        if (const BoardObject* object = m_model.Find(ids[i])) objects.push_back(ObjectJson(ids[i], *object));
    }
    return DumpJson({{"type", "add"}, {"objects", std::move(objects)}});
}

std::string CBoard::Text() {
    const Lock lock(m_mutex);
    Json objects = Json::array();
    for (const auto& [id, object] : m_model.Objects()) {
        CSha256 sum;
        Digest digest;
        const std::string& record = object.Record();
        sum.Add(record.data(), record.size());
        sum.Finish(digest);
        objects.push_back({{"id", id}, {"tag", object.tag}, {"bytes", record.size()}, {"sha256", HexOf(digest)}});
    }
    return DumpJson({{"channel", m_ulChannel},
                     {"connected", m_status.connected},
                     {"path", m_status.path},
                     {"people", m_people.All().size() + 1},
                     {"objects", std::move(objects)}});
}

Json CBoard::PeopleEvent() const {
    const auto entry = [](uint32_t id, const Person& person) {
        return Json{{"id", id}, {"name", person.name}, {"colour", ColourText(person.colour)}};
    };
    Json people = Json::array({entry(m_ulSelf, m_self)});
    for (const auto& [id, person] : m_people.All()) people.push_back(entry(id, person));
    return {{"type", "people"}, {"people", std::move(people)}};
}

void CBoard::ShowUndo() { Show(UndoEvent()); }

Json CBoard::UndoEvent() const {
    return {{"type", "undo"}, {"undo", m_undo.Count(false)}, {"redo", m_undo.Count(true)}};
}

Json CBoard::StatusEvent() const {
    return {{"type", "status"}, {"connected", m_status.connected}, {"path", m_status.path}, {"text", m_status.Text()}};
}

}  // namespace lumo
