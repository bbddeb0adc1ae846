#include "tools/lumo/demo/board_demo.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace lumo {
namespace {

using Json = nlohmann::json;

constexpr uint32_t kFirstBoard = 3001;
constexpr size_t kRounds = 10;     // of everybody
constexpr size_t kStrokes = 10;    // that one draws in a round; the first is deleted, the others are moved
constexpr uint64_t kOftenMs = 10;  // between looks at the boards
constexpr uint64_t kMostMs = 30000;
constexpr size_t kPoints = 24;

/// A round's strokes of one seat, at a place of their own.
Json Strokes(size_t seat, size_t round) {
    static const char* const kColours[] = {"#e03131", "#1971c2", "#2f9e44"};
    Json strokes = Json::array();
    for (size_t i = 0; i < kStrokes; ++i) {
        const int left = static_cast<int>(seat * 6400 + i * 500), top = static_cast<int>(round * 700);
        Json points = Json::array();
        for (int k = 0; k < static_cast<int>(kPoints); ++k) {
            points.push_back(left + k * 16);
            points.push_back(top + k * k % 64 * 4);
        }
        strokes.push_back({{"type", "pen"},
                           {"colour", kColours[seat % 3]},
                           {"width", 32},
                           {"box", {left, top, left + 16 * static_cast<int>(kPoints), top + 256}},
                           {"points", std::move(points)}});
    }
    return strokes;
}

}  // namespace

bool CBoardDemo::AddRow(const std::string& path, uint32_t channel, const Words& way, const Words& others) {
    BoardRow& row = m_rows.emplace_back();
    row.path = path;
    for (size_t seat = 0; seat < kSeats; ++seat) {
        Words words{"whiteboard", "--json",       "--channel", std::to_string(channel),
                    "--mcu",      m_stage.Mcu(0), "--name",    "Seat " + std::to_string(seat + 1)};
        words.insert(words.end(), way.begin(), way.end());
        if (seat > 0) words.insert(words.end(), others.begin(), others.end());
        row.seats.push_back(m_stage.Start(words));
        if (!row.seats.back()) return false;
    }
    return true;
}

// Every seat has said its page's address, or has ended.
bool CBoardDemo::OpenPages(BoardRow& row) {
    for (size_t seat = row.pages.size(); seat < kSeats; ++seat) {
        const CChildProcess& process = *row.seats[seat];
        const std::string& said = process.Output();
        const size_t end = said.find('\n');
        if (end == std::string::npos) {
            if (process.Running()) return false;
            row.problem = process.Errors();
            return true;
        }
        const Json ready = Json::parse(said.substr(0, end), nullptr, false);
        row.pages.push_back(std::make_unique<CBoardPage>(ready.is_object() ? ready.value("url", "") : ""));
    }
    return true;
}

bool CBoardDemo::AllHere(BoardRow& row) {
    return std::all_of(row.pages.begin(), row.pages.end(), [](const std::unique_ptr<CBoardPage>& page) {
        const Json board = page->Board();
        return board.is_object() && board.value("connected", false) && board.value("people", size_t{0}) == kSeats;
    });
}

bool CBoardDemo::Draw(BoardRow& row) {
    for (size_t round = 0; round < kRounds; ++round) {
        for (size_t seat = 0; seat < kSeats; ++seat) {
            std::vector<uint32_t> made, none;
            CBoardPage& page = *row.pages[seat];
            if (!page.Do(Json::array({{{"do", "add"}, {"objects", Strokes(seat, round)}}}), made)) return false;
            if (made.size() != kStrokes) return false;
            const Json deletion{{"do", "delete"}, {"ids", {made.front()}}};
            made.erase(made.begin());
            if (!page.Do(Json::array({{{"do", "move"}, {"ids", made}, {"dx", 160}, {"dy", 80}}, deletion}), none))
                return false;
            row.changes += 2 * kStrokes;
        }
    }
    return true;
}

bool CBoardDemo::AreEqual(BoardRow& row, size_t objects) {
    const Json first = row.pages.front()->Board();
    if (!first.is_object()) return false;
    row.objects = first.value("objects", Json::array()).size();
    return row.objects == objects &&
           std::all_of(row.pages.begin() + 1, row.pages.end(), [&](const std::unique_ptr<CBoardPage>& page) {
               const Json board = page->Board();
               return board.is_object() && board.value("objects", Json()) == first["objects"];
           });
}

bool CBoardDemo::DrawAndCompare(BoardRow& row) {
    if (!row.problem.empty()) return true;
    if (!m_stage.WaitUntil([&row] { return AllHere(row); })) return false;
    if (!Draw(row)) {
        row.problem = "a board took no drawing";
        return true;
    }
    const uint64_t start = CToolLoop::Now();
    const auto done = [&] {
        const bool equal = AreEqual(row, kSeats * kRounds * (kStrokes - 1));
        row.equalInMs = CToolLoop::Now() - start;
        if (!equal && row.equalInMs > kMostMs) row.problem = "the boards differ";
        return equal || !row.problem.empty();
    };
    return m_stage.WaitUntil(done, kOftenMs);
}

bool CBoardDemo::Run() {
    CDemoStage::Say("whiteboards: " + std::to_string(kSeats) + " people on each way draw at once");
    const std::string second = m_stage.Mcu(1);
    const struct {
        const char* path;
        Words way;
        Words others;  // besides, for all but the first
    } ways[] = {
        {"UDP", {}, {}},
        {"TCP", {"--tcp"}, {}},
        {"UDP through both servers", {}, {"--near", second}},
        {"TCP through both servers", {"--tcp"}, {"--near", second}},
        {"peer to peer, UDP", {"--path", "p2p"}, {}},
        {"peer to peer, TCP", {"--path", "p2p-tcp"}, {}},
    };
    uint32_t channel = kFirstBoard;
    for (const auto& [path, way, others] : ways)
        if (!AddRow(path, channel++, way, others)) return false;
    for (BoardRow& row : m_rows)
        if (!m_stage.WaitUntil([&row] { return OpenPages(row); }) || !DrawAndCompare(row)) return false;
    return true;
}

bool CBoardDemo::Report() const {
    CDemoStage::Say("\n" + BoardTable(m_rows));
    bool equal = true;
    for (const BoardRow& row : m_rows)
        equal = (row.problem.empty() || CDemoStage::Fail("whiteboard, " + row.path + ": " + row.problem)) && equal;
    CDemoStage::Say(
        "draw yourself: `lumo mcu`, and for each person `lumo whiteboard --channel 7 --mcu HOST --http 8090`, whose "
        "page "
        "is http://127.0.0.1:8090/");
    return equal;
}

std::string BoardTable(const std::list<BoardRow>& rows) {
    char line[160];
    std::snprintf(line, sizeof line, "%-28s %8s %8s %8s %14s  %s\n", "whiteboard over", "people", "changes", "objects",
                  "ms until equal", "boards");
    std::string table = line;
    for (const BoardRow& row : rows) {
        std::snprintf(line, sizeof line, "%-28s %8zu %8zu %8zu %14llu  %s\n", row.path.c_str(), row.seats.size(),
                      row.changes, row.objects, static_cast<unsigned long long>(row.equalInMs),
                      row.problem.empty() ? "all equal" : "NOT EQUAL");
        table += line;
    }
    return table;
}

}  // namespace lumo
