// A board without pages, whose channel is the test.
#pragma once

#include "tools/lumo/board/board.h"
#include "tools/lumo/board/board_events.h"
#include "tools/lumo/board/board_model.h"
#include "tools/lumo/board/undo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace board_fixture {

using namespace lumo;
using nlohmann::json;

inline const std::string kLine = R"({"type":"line","colour":"#ff0000","width":16,"fill":null,"box":[0,0,160,320]})";

class Board : public ::testing::Test, private IBoardPort {
protected:
    Board() : m_board(5, 77, "Ada", m_feeds) { m_board.SetPort(this); }
    PageFeedPtr Open() {
        std::vector<uint32_t> objects;
        return m_board.OpenPage(objects);
    }

    void Say(const std::string& message) override {
        BoardMessage said;
        ASSERT_TRUE(ParseMessage(message, said));
        m_said.push_back(message);
    }
    std::vector<uint32_t> Do(const std::string& actions) {
        std::vector<BoardAction> read;
        EXPECT_TRUE(ParseActions(actions, read)) << actions;
        const auto ids = m_board.Do(read, m_now);
        return ids.empty() ? std::vector<uint32_t>() : ids[0];
    }
    uint32_t Draw() {
        const auto ids = Do(R"([{"do":"add","objects":[)" + kLine + "]}]");
        return ids.empty() ? 0 : ids[0];
    }
    std::string WithIDs(const char* what, uint32_t id, const char* more = "") {
        return std::string(R"([{"do":")") + what + R"(","ids":[)" + std::to_string(id) + "]" + more + "}]";
    }
    void Hear(BoardCommand command, uint32_t object, const std::string& payload = "") {
        m_board.OnMessage(MakeMessage(command, object, 9, payload), m_now);
    }
    /// What was said of that kind since the last call.
    std::vector<std::string> Said(BoardCommand command) {
        std::vector<std::string> found;
        for (const std::string& message : std::exchange(m_said, {})) {
            if (WordAt(message, 0) == static_cast<uint32_t>(command)) found.push_back(message);
        }
        return found;
    }
    /// What that page has been told since the last call.
    static std::vector<std::string> Told(const PageFeedPtr& page) {
        std::vector<std::string> told;
        for (EventText event; page->Wait(std::chrono::milliseconds(0), event) && event;) told.push_back(*event);
        return told;
    }
    static size_t Count(const std::vector<std::string>& told, const std::string& what) {
        return static_cast<size_t>(std::count_if(
            told.begin(), told.end(), [&](const std::string& event) { return event.find(what) != std::string::npos; }));
    }
    json Objects() { return json::parse(m_board.Text())["objects"]; }
    std::vector<uint32_t> IDs() {
        std::vector<uint32_t> ids;
        for (const json& object : Objects()) ids.push_back(object["id"]);
        return ids;
    }
    void Settle() {
        m_now += CBoard::kQuietMs;
        m_board.Tick(m_now);
    }
    void GoOnline() {
        m_board.GoOnline(m_now);
        Settle();
    }

    static std::string Record() {
        Shape shape;
        shape.type = ShapeType::Rectangle;
        return EncodeRecord(shape);
    }
    static std::string Word(uint32_t value) {
        std::string bytes;
        AddWord(bytes, value);
        return bytes;
    }

    CPageFeeds m_feeds;
    uint64_t m_now = 100000;
    CBoard m_board;
    std::vector<std::string> m_said;
};

}  // namespace board_fixture
