// One board: its objects, the people at it, and what its pages do to it.
#pragma once

#include "tools/lumo/board/board_events.h"
#include "tools/lumo/board/board_model.h"
#include "tools/lumo/board/message.h"
#include "tools/lumo/board/page_feed.h"
#include "tools/lumo/board/people.h"
#include "tools/lumo/board/undo.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace lumo {

/// The way into the channel of this process.
class IBoardPort {
public:
    virtual ~IBoardPort() = default;
    virtual void Say(const std::string& message) = 0;
};

/// How the board stands to the others.
struct BoardStatus {
    bool connected = false;
    std::string path;  ///< "relay HOST:PORT", "direct ADDRESS:PORT", or what is being tried

    /// What it means for who draws.
    const char* Text() const { return connected ? "connected" : "not connected: what you draw is kept and sent later"; }
};

/// Any thread, whose times may be a little older than those of others. Clearing travels as the deletion of what this
/// board holds: an object that others have drawn meanwhile and that is still in flight would otherwise be gone for its
/// painter and there for everybody else.
class CBoard {
public:
    CBoard(uint32_t channel, uint32_t self, const std::string& name, CPageFeeds& feeds);

    // The loop's part.

    /// Where messages go from now on; null for nowhere.
    void SetPort(IBoardPort* port);
    /// One message of the channel.
    void OnMessage(std::string_view bytes, uint64_t now);
    /// Forgets what the channel holds, for it tells everything again.
    void Forget(uint64_t now);
    /// The far side has taken us, on an empty channel of ours: its board comes by the messages, what we had of it
    /// before and does not come has gone, and then what was drawn here meanwhile is offered.
    void GoOnline(uint64_t now);
    /// This process's own channel is the board: it gets everything.
    void GoOnlineAsHost(uint64_t now);
    /// What was drawn here in the last `unsureMs` may not have arrived: it counts as drawn offline.
    void GoOffline(uint64_t now, uint64_t unsureMs);
    /// This process's own channel, which was the board, goes: all that is on it counts as drawn offline.
    void GoOfflineAsHost();
    void SetStatus(const BoardStatus& status);
    void Tick(uint64_t now);
    void SayGoodbye();

    // The pages' part.

    /// Gives the IDs of new objects, one list for each action; 0 for one that was not drawn.
    std::vector<std::vector<uint32_t>> Do(const std::vector<BoardAction>& actions, uint64_t now);
    /// The events of a new page; the objects are still to be taken, by Objects. Null when there are too many pages.
    PageFeedPtr OpenPage(std::vector<uint32_t>& objects);
    void LeavePage(const PageFeedPtr& feed) { m_feeds.Leave(feed); }
    /// An event with those of the objects that are still there.
    std::string Objects(const uint32_t* ids, size_t count);
    bool Picture(uint32_t id, std::string& bytes, BoardPictureFormat& format);
    /// The whole board for machines: every object with the SHA-256 of its record.
    std::string Text();

    /// So long nothing of the other side's board has come: its list takes two round trips, and some may be lost.
    static constexpr uint64_t kQuietMs = 1500;
    static constexpr uint64_t kSettleMs = 30000;  ///< longest wait for that
    static constexpr uint64_t kPeopleEveryMs = 100;

private:
    enum class State { Offline, Settling, Online };
    using IDs = std::vector<uint32_t>;

    void Say(BoardCommand command, uint32_t object, uint32_t tag, std::string_view payload = {});
    void OnOffer(BoardCommand request, const BoardMessage& message);
    void OnData(const BoardMessage& message, uint64_t now);
    void OnDelete(const BoardMessage& message);
    void OnPeople(const BoardMessage& message, uint64_t now);
    void Settle(uint64_t now);
    void Offer(uint32_t id, BoardObject& object, uint64_t now);
    void LeaveOthers();
    uint32_t AddOwn(const std::string& record, uint32_t tag, uint64_t now);
    IDs Changeable(const IDs& ids) const;
    void Remove(const IDs& ids, std::vector<RemovedObject>* removed);
    void Move(const IDs& ids, int32_t dx, int32_t dy);
    IDs Add(const std::vector<Shape>& shapes, uint64_t now, const IDs& insteadOf = {});
    std::string RecordFor(const Shape& shape) const;
    IDs Replace(uint32_t id, const std::vector<Shape>& shapes, uint64_t now);
    IDs Change(const std::vector<ShapeChange>& changes, uint64_t now);
    void Delete(const IDs& ids);
    void TakeAway(const IDs& ids, BoardStep& step);
    void MoveOwn(const IDs& ids, int32_t dx, int32_t dy);
    void TakeBack(bool redo, uint64_t now);
    BoardStep Inverse(const BoardStep& step, uint64_t now);
    void Point(const BoardAction& action);
    void Greet(uint64_t now);
    void GreetSoon(uint64_t now);

    void Show(const nlohmann::json& event) { m_feeds.Publish(DumpJson(event)); }
    void ShowAdded(const IDs& ids);
    void ShowChanged(const IDs& before, const IDs& after);
    /// Soon, and not more often than people can read: names of others may change as fast as messages come.
    void ShowPeople() { m_bPeopleNews = true; }
    void ShowUndo();
    nlohmann::json PeopleEvent() const;
    nlohmann::json UndoEvent() const;
    nlohmann::json StatusEvent() const;

    const uint32_t m_ulChannel;
    const uint32_t m_ulSelf;
    CPageFeeds& m_feeds;

    std::mutex m_mutex;  // all of what follows; outermost, so that the loop and the pages may speak to the channel
    IBoardPort* m_pPort = nullptr;
    State m_state = State::Offline;
    BoardStatus m_status;
    Person m_self;
    CBoardModel m_model;
    CUndo m_undo;
    CPeople m_people;
    uint64_t m_ullOnlineMs = 0;
    uint64_t m_ullDataMs = 0;   // when something last came of the other side's board
    uint64_t m_ullHelloMs = 0;  // when we are to greet again
    uint64_t m_ullGreetedMs = 0;
    uint64_t m_ullPeopleMs = 0;  // when the pages were last told who is there
    bool m_bPeopleNews = false;
};

}  // namespace lumo
