// The board behind `lumo whiteboard`: one has drawn, another comes late, through the relay server.
#include "bench/harness/clock.h"
#include "bench/harness/delays.h"
#include "bench/harness/sockets.h"
#include "bench/transports/lumo_node.h"
#include "bench/transports/transports.h"
#include "tools/lumo/board/board_paths.h"

#include <nlohmann/json.hpp>

#include <stdexcept>

namespace bench {

namespace {

constexpr uint32_t kChannel = 4711;
constexpr uint32_t kPoints = 60;  // of a stroke
constexpr uint64_t kTurnMs = 10;
constexpr int64_t kMostNs = 60000 * kNsPerMs;

lumo::RelayRoute RouteTo(uint16_t port) {
    lumo::RelayRoute route;
    route.channel = kChannel;
    route.mcu.host = "server";
    route.mcu.port = port;
    route.mcu.ips[0] = RunHosts().far;
    return route;
}

/// As the program has it.
class CBoardUser {
public:
    CBoardUser(uint32_t self, uint16_t port)
        : m_board(kChannel, self, "user", m_feeds), m_paths(lumo::PathChoice::Relay, RouteTo(port), {}, m_board) {
        if (!m_paths.Ok()) throw std::runtime_error("no board");
    }
    lumo::CBoard& Board() { return m_board; }
    bool IsConnected() const { return m_paths.Status().connected; }
    void Turn() {
        const bool more = m_paths.Poll(lumo::CToolLoop::Now());
        m_loop.Wait(m_paths.WakeFd(), more ? 0 : kTurnMs);
        m_paths.Rest();
    }
    void TurnUntil(const char* what, const std::function<bool()>& done) {
        for (const int64_t start = NowNs(); !done(); Turn())
            if (NowNs() - start > kMostNs) throw std::runtime_error(std::string(what) + " is missing");
    }
    size_t Objects() {
        std::vector<uint32_t> ids;
        const lumo::PageFeedPtr page = m_board.OpenPage(ids);
        if (page) m_board.LeavePage(page);
        return ids.size();
    }

private:
    lumo::CToolLoop m_loop;
    lumo::CPageFeeds m_feeds;
    lumo::CBoard m_board;
    lumo::CBoardPaths m_paths;
};

lumo::Shape Stroke(uint32_t number) {
    lumo::Shape stroke;
    stroke.width = 4 * lumo::kUnitsPerPoint;
    for (uint32_t i = 0; i < kPoints; ++i) {
        const auto x = static_cast<int32_t>(number % 40 * 400 + i * 12);
        const auto y = static_cast<int32_t>(number / 40 * 300 + i * i % 97);
        stroke.points.push_back({x, y});
    }
    return stroke;
}

void DrawStrokes(lumo::CBoard& board, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        lumo::BoardAction add;
        add.kind = lumo::BoardAction::Kind::Add;
        add.shapes.push_back(Stroke(i));
        board.Do({add}, lumo::CToolLoop::Now());
    }
}

void Draw(CSide& side) {
    SetWideSessions(true);
    CBoardUser user(1, side.Port());
    user.TurnUntil("the server", [&] { return user.IsConnected(); });
    DrawStrokes(user.Board(), side.Spec().frames);
    int64_t waited = NowNs();
    user.TurnUntil("an acknowledgement", [&] {
        if (lumo::AnyWaits(lumo::kBoardKind)) waited = NowNs();
        return NowNs() - waited > 1000 * kNsPerMs;
    });
    side.Connected();
    while (!side.Stopped()) user.Turn();
}

void Join(CSide& side) {
    SetWideSessions(true);
    side.Connected();
    const int64_t start = NowNs();
    CBoardUser user(2, side.Port());
    CDelays delays;
    size_t held = 0;
    user.TurnUntil("a part of the board", [&] {
        for (const size_t now = user.Objects(); held < now; ++held) delays.Add(NowNs() - start);
        return held >= side.Spec().frames;
    });
    Values values{{"objects", static_cast<double>(held)}};
    delays.Report(values);
    side.Finish(values);
    side.WaitForStop();
}

nlohmann::json Settings() { return LumoSettings("boards of `lumo whiteboard` at the relay server over UDP"); }

}  // namespace

std::vector<CDriver> LumoBoardDrivers() {
    return {{"lumo-board", Role::Receiver, Listener::RelayServer, Draw, Join, Settings}};
}

}  // namespace bench
