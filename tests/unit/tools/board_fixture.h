// A board without pages, whose channel is the test.
#pragma once

#include "support/wb_words.h"
#include "tools/lumo/board/board.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace board_fixture {

using namespace lumo;
using nlohmann::json;
using wb_words::Words;
using IDs = std::vector<uint32_t>;

inline const std::string kLine = R"({"type":"line","colour":"#ff0000","width":16,"fill":null,"box":[0,0,160,320]})";

class Board : public ::testing::Test, private IBoardPort {
protected:
    Board() : m_board(5, 77, "Ada", m_feeds) { m_board.SetPort(this); }
    PageFeedPtr Open() {
        IDs objects;
        return m_board.OpenPage(objects);
    }
    void Say(const std::string& message) override {
        BoardMessage said;
        ASSERT_TRUE(ParseMessage(message, said));
        m_said.push_back(message);
    }
    bool Probe(uint32_t number, bool) override {
        m_probed = number;
        return true;
    }
    void Fetch(uint32_t) override {}
    void SayToFarSide(const std::string&) override {}
    void HearFromFarSide(const std::string&) override {}

    /// What a page does; the IDs of what it has drawn.
    IDs Do(const std::string& action) {
        std::vector<BoardAction> read;
        EXPECT_TRUE(ParseActions("[" + action + "]", read)) << action;
        const auto ids = m_board.Do(read, m_now);
        return ids.empty() ? IDs() : ids[0];
    }
    IDs DoTo(const char* what, uint32_t id, const char* more = "") {
        return Do(R"({"do":")" + std::string(what) + R"(","ids":[)" + std::to_string(id) + "]" + more + "}");
    }
    uint32_t Draw() { return Do(R"({"do":"add","objects":[)" + kLine + "]}").at(0); }
    IDs Replace(uint32_t id, const std::string& object = kLine) {
        return Do(R"({"do":"replace","id":)" + std::to_string(id) + R"(,"object":)" + object + "}");
    }
    void Undo() { Do(R"({"do":"undo"})"); }

    /// What others say.
    void Hear(BoardCommand command, uint32_t object, const std::string& payload = "") {
        m_board.OnMessage(MakeMessage(command, object, 9, payload), m_now);
    }
    void HearDrawn(const IDs& objects) {
        for (const uint32_t object : objects) Hear(BoardCommand::Data, object, Record());
    }
    /// What was said of that kind since the last call.
    std::vector<std::string> Said(BoardCommand command) {
        std::vector<std::string> found;
        for (const std::string& message : std::exchange(m_said, {})) {
            if (WordAt(message, 0) == static_cast<uint32_t>(command)) found.push_back(message);
        }
        return found;
    }
    /// What that page has been told of this kind since the last call.
    static std::vector<std::string> Told(const PageFeedPtr& page, const std::string& kind = "") {
        std::vector<std::string> told;
        for (EventText event; page->Wait(std::chrono::milliseconds(0), event) && event;)
            if (event->find(kind) != std::string::npos) told.push_back(*event);
        return told;
    }
    json Objects() { return json::parse(m_board.Text())["objects"]; }
    size_t People() { return json::parse(m_board.Text())["people"]; }
    IDs Held() {
        IDs ids;
        for (const json& object : Objects()) ids.push_back(object["id"]);
        return ids;
    }
    void GoOnline(bool near = false) {
        m_board.OnFarBegin();
        m_board.GoOnline(m_now, near);
        Settle();
    }
    /// The far side has dealt with all that was said, and nothing more comes.
    void Settle() {
        for (int echo = 0; echo < 3; ++echo) {
            m_board.Tick(m_now += CEchoes::kAskHomeEveryMs);
            m_board.OnFarEcho(m_probed, m_now);
        }
        m_now += CBoard::kQuietMs;
        m_board.Tick(m_now);
    }
    void GoOffline() { m_board.GoOffline(); }

    static std::string Record() {
        Shape shape;
        shape.type = ShapeType::Rectangle;
        return EncodeRecord(shape);
    }

    CPageFeeds m_feeds;
    uint64_t m_now = 100000;
    CBoard m_board;
    std::vector<std::string> m_said;
    uint32_t m_probed = 0;
};

}  // namespace board_fixture
