// What is posted to a whiteboard's page: actions, and the board that they are done to.
#include "tools/lumo/board/board_events.h"
#include "support/target.h"
#include "tools/lumo/board/board.h"

#include <nlohmann/json.hpp>

#include <cstdlib>

namespace fuzz::board_events {

using namespace lumo;

const std::vector<std::string> kReached{"add",  "replace", "change",  "move",         "delete", "clear",
                                        "undo", "redo",    "pointer", "pointer gone", "name",   "refused"};
void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("board_events", kReached, TakeInput);

/// Everything that the board says must be a message, and every object one that others can draw.
class CChecker : public IBoardPort {
public:
    void Say(const std::string& message) override {
        BoardMessage said;
        Shape shape;
        if (!ParseMessage(message, said)) std::abort();
        if (said.command != BoardCommand::Data || CBoardLife::IsLife(said.object, said.payload)) return;
        if (!ParseRecord(said.payload, shape)) std::abort();
    }
    bool Probe(uint32_t number, bool) override {
        m_probed = number;
        return true;
    }
    void Fetch(uint32_t) override {}
    void SayToFarSide(const std::string&) override {}
    void HearFromFarSide(const std::string&) override {}
    uint32_t Probed() const { return m_probed; }

private:
    uint32_t m_probed = 0;
};

void TakeInput(const uint8_t* data, size_t size) {
    std::vector<BoardAction> actions;
    if (!ParseActions({reinterpret_cast<const char*>(data), size}, actions)) {
        if (!actions.empty()) std::abort();
        g_target.Hit("refused");
        return;
    }
    for (const BoardAction& action : actions) g_target.Hit(kReached[static_cast<size_t>(action.kind)]);
    CChecker checker;
    CPageFeeds feeds;
    CBoard board(1, 2, "Fuzz", feeds);
    std::vector<uint32_t> objects;
    Shape theirs;
    theirs.type = ShapeType::Rectangle;
    const PageFeedPtr page = board.OpenPage(objects);
    board.SetPort(&checker);
    board.OnMessage(MakeMessage(BoardCommand::Data, 1, UINT32_MAX, EncodeRecord(theirs)), 1);
    board.Do(actions, 1);  // drawn offline
    board.GoOnline(200);
    board.Tick(200);
    board.OnFarEcho(checker.Probed(), 200);
    board.Do(actions, 200);
    board.Tick(200 + CBoard::kQuietMs);
    board.Do(actions, 2000);
    if (!nlohmann::json::accept(board.Text())) std::abort();
    EventText event;
    while (page->Wait(std::chrono::milliseconds(0), event) && event) {
        if (!nlohmann::json::accept(*event)) std::abort();
    }
}

}  // namespace fuzz::board_events
