// One board: its objects, the people at it, and what its pages do to it.
#pragma once

#include "tools/lumo/board/board_events.h"
#include "tools/lumo/board/board_life.h"
#include "tools/lumo/board/board_model.h"
#include "tools/lumo/board/changes.h"
#include "tools/lumo/board/echoes.h"
#include "tools/lumo/board/message.h"
#include "tools/lumo/board/page_feed.h"
#include "tools/lumo/board/people.h"
#include "tools/lumo/board/undo.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lumo {

/// The way into the channel of this process.
class IBoardPort {
public:
    virtual ~IBoardPort() = default;
    virtual void Say(const std::string& message) = 0;
    /// Asks the far side, or the home server behind it, to echo a number, for CBoard::OnFarEcho. False when there is no
    /// far side.
    virtual bool Probe(uint32_t number, bool home) = 0;
    /// Asks the far side for an object that the channel has, too, for CBoard::OnFarData.
    virtual void Fetch(uint32_t id) = 0;
    virtual void SayToFarSide(const std::string& message) = 0;
    /// To all but the far side, as if that had said it.
    virtual void HearFromFarSide(const std::string& message) = 0;
};

/// How the board stands to the others.
struct BoardStatus {
    bool connected = false;
    std::string path;  ///< "relay HOST:PORT", "direct ADDRESS:PORT", or what is being tried

    /// What it means for who draws.
    const char* Text() const { return connected ? "connected" : "not connected: what you draw is kept and sent later"; }
};

/// When something is changed, as records say it (Version).
uint32_t TenthsNow();

/// Any thread, whose times may be a little older than those of others. Clearing travels as the deletion of what this
/// board holds: an object that others have drawn meanwhile and that is still in flight would otherwise be gone for its
/// painter and there for everybody else. Nothing goes but what somebody has deleted: see CBoardLife.
class CBoard {
public:
    CBoard(uint32_t channel, uint32_t self, const std::string& name, CPageFeeds& feeds,
           uint32_t (*tenths)() = TenthsNow);

    // The loop's part.

    /// Where messages go from now on; null for nowhere.
    void SetPort(IBoardPort* port);
    /// One message of the channel.
    void OnMessage(std::string_view bytes, uint64_t now);
    /// The channel tells everything again, beginning with what it holds. `cleared`: somebody has cleared it.
    void OnHeld(const std::vector<uint32_t>& held, bool cleared, uint64_t now);
    /// Another far side is asked to take us.
    void OnFarBegin();
    /// What the far side has. It may come before GoOnline.
    void OnFarList(const std::vector<uint32_t>& listed, uint64_t now);
    /// It offers an object; when we have that, too, another has offered it at the same time.
    void OnFarOffer(uint32_t id);
    /// How it has an object that was fetched.
    void OnFarData(const BoardMessage& message);
    void OnFarEcho(uint32_t number, uint64_t now);
    /// The far side has taken us, on an empty channel of ours: its board comes by the messages. When it is the one that
    /// we had, what it has no more goes, and what it may lack is offered; else all that we have is offered. `near`: the
    /// far side carries for the home server, and only what that has is safe.
    void GoOnline(uint64_t now, bool near = false);
    /// This process's own channel is the board: it gets everything.
    void GoOnlineAsHost(uint64_t now);
    /// The far side has gone.
    void GoOffline();
    /// This process's own channel, which was the board, goes: all that is on it counts as drawn offline.
    void GoOfflineAsHost();
    /// The far side has gone, and the channel lives on with those who have come to it.
    void LiveApart();
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

    /// So long nothing has come of a board whose life we do not know: more may be on its way.
    static constexpr uint64_t kQuietMs = 1500;
    static constexpr uint64_t kSettleMs = 30000;  ///< longest wait for that
    static constexpr uint64_t kNoLifeMs = 3000;   ///< so long a board is without a life before somebody gives it one
    static constexpr uint64_t kPeopleEveryMs = 100;
    /// What the server had no room for is offered again so often, and about so much of it.
    static constexpr uint64_t kRefusedEveryMs = 10000;
    static constexpr size_t kRefusedBytes = 256U * 1024;

private:
    enum class State { Offline, Settling, Online };
    using IDs = std::vector<uint32_t>;
    struct Fetched {
        Box ours;                   // when we asked
        std::optional<Box> before;  // both sides began to move it; unknown where others have come to us
    };

    void Say(BoardCommand command, uint32_t object, uint32_t tag, std::string_view payload = {});
    void SayDeleted(const IDs& ids, uint32_t tag = 0);
    void SayAllDeleted();
    void OnOffer(BoardCommand request, const BoardMessage& message);
    void OnData(const BoardMessage& message, uint64_t now);
    void OnDelete(const BoardMessage& message, uint64_t now);
    void OnOthersDeleted(const IDs& ids);
    void OnDeletedByBoth(bool known);
    void OnNoRoom(uint32_t id, uint64_t now);
    void OnMove(const BoardMessage& message);
    void OnPeople(const BoardMessage& message, uint64_t now);
    void TakeData(const BoardMessage& message);
    void SayMissingMoves(uint32_t id);
    bool IsLatest(uint32_t id, std::string_view record);
    void FetchCommon(const IDs& listed);
    void Fetch(uint32_t id, bool offered);
    void SettleIfKnown();
    void Settle(bool known);
    void Await(BoardObject& object);
    void Offer(uint32_t id, BoardObject& object);
    void OfferRefused(uint64_t now);
    void SayLife();
    void LookForLife(uint64_t now);
    void LookForEcho(uint64_t now);
    void LeaveOthers();
    void ForgetFarSide();

    uint32_t AddOwn(std::string record, uint32_t tag);
    IDs Held(const IDs& ids) const;
    IDs Drop(const IDs& ids, std::vector<RemovedObject>* removed);
    void Remove(const IDs& ids, std::vector<RemovedObject>* removed);
    void Move(const IDs& ids, const Shift& by);
    void MoveAndSay(const IDs& ids, const Shift& by);
    IDs Add(const std::vector<std::string>& records, const IDs& insteadOf = {});
    std::vector<std::string> RecordsFor(const std::vector<Shape>& shapes) const;
    std::string RecordFor(const Shape& shape) const;
    IDs Replace(uint32_t id, const Shape& shape);
    IDs Change(const std::vector<ShapeChange>& changes);
    void Delete(const IDs& ids);
    void Clear();
    void TakeAway(const IDs& ids, BoardStep& step, bool shows = true);
    void MoveOwn(const IDs& ids, const Shift& by);
    void TakeBack(bool redo);
    BoardStep Inverse(const BoardStep& step);
    uint32_t BringBack(const RemovedObject& object, const Version& version);
    Version NextVersion(uint32_t id) const;
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
    uint32_t (*const m_pTenths)();

    std::mutex m_mutex;  // all of what follows; outermost, so that the loop and the pages may speak to the channel
    IBoardPort* m_pPort = nullptr;
    State m_state = State::Offline;
    BoardStatus m_status;
    Person m_self;
    CBoardModel m_model;
    CBoardLife m_life;
    CEchoes m_echoes;
    CChanges m_changes;  // of ours
    CUndo m_undo;
    std::map<uint32_t, uint32_t> m_restored;  // numbers of what came back by undo, and those it has now
    CPeople m_people;
    std::set<uint32_t> m_listed;            // by the far side, while we settle
    std::map<uint32_t, Fetched> m_fetched;  // the far side was asked where it has these
    bool m_bListed = false;
    bool m_bKnown = false;        // a life that we know is among it
    bool m_bListLost = false;     // some of what the far side told us may be
    bool m_bFarSide = false;      // there is one, or was
    bool m_bNoLife = false;       // the far side has no room for one
    uint64_t m_ullNoLifeMs = 0;   // since when the board has none; 0: it has, or needs none
    uint64_t m_ullRefusedMs = 0;  // when what was refused is offered again; 0: nothing was
    uint32_t m_ulRefused = 0;     // the last that was offered again
    uint64_t m_ullOnlineMs = 0;
    uint64_t m_ullDataMs = 0;   // when something last came of the other side's board
    uint64_t m_ullHelloMs = 0;  // when we are to greet again
    uint64_t m_ullGreetedMs = 0;
    uint64_t m_ullPeopleMs = 0;  // when the pages were last told who is there
    bool m_bPeopleNews = false;
};

}  // namespace lumo
