// Boards of several people and the servers' channels that they meet at, with paths between them, under a clock by hand.
#pragma once

#include "support/wb_reader.h"
#include "tools/lumo/board/board.h"
#include "tools/lumo/board/board_seat.h"
#include "whiteboard/wb_message.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace board_world {

using namespace lumo;
using nlohmann::json;
using IDs = std::vector<uint32_t>;
using Lives = CBoardLife::Lives;

constexpr uint32_t kChannel = 7;
inline uint32_t g_tenths = 0;

/// One end of a connection: a session that hands over what the far end has said some time ago.
class CEnd : public CWBSession {
public:
    explicit CEnd(CWBChannel& channel) : CWBSession(&channel) {}
    ~CEnd() override { LeaveWBChannel(); }
    void SendWBSessionData(const char* data, int len) override {
        m_pOther->m_arrivals.emplace_back(*m_pNow + m_ullDelayMs, std::string(data, static_cast<size_t>(len)));
    }
    bool IsDisconnected() override { return false; }
    void Connect(CEnd& other, const uint64_t& now, uint64_t delayMs) {
        m_pOther = &other;
        m_pNow = &now;
        m_ullDelayMs = delayMs;
    }
    bool Deliver() {
        bool any = false;
        for (; !m_arrivals.empty() && m_arrivals.front().first <= *m_pNow && !m_bStuck; any = true) {
            const std::string message = std::move(m_arrivals.front().second);
            m_arrivals.pop_front();
            OnWBSessionData(message.data(), static_cast<int>(message.size()));
        }
        return any;
    }
    /// Nothing arrives any more, and nobody notices.
    void Stick() { m_bStuck = true; }

private:
    CEnd* m_pOther = nullptr;
    const uint64_t* m_pNow = nullptr;
    uint64_t m_ullDelayMs = 0;
    bool m_bStuck = false;
    std::deque<std::pair<uint64_t, std::string>> m_arrivals;
};

/// The end at a board's own channel.
class CClientEnd final : public CEnd, public IWBSessionClient {
public:
    using CEnd::CEnd;
    void ReleaseConnections() override {}
    bool IsDisconnected() override { return false; }
};

/// A relay server as boards see it: the board's home, or a near one that carries for that.
class CFarBoard {
public:
    CWBChannel& Channel() { return m_channel; }
    void CarryFor(CFarBoard& home, const uint64_t& now, uint64_t delayMs) {
        m_channel.m_bHome = false;
        m_pLeg = std::make_unique<CEnd>(Channel());
        m_pHome = std::make_unique<CEnd>(home.Channel());
        m_pLeg->Connect(*m_pHome, now, delayMs);
        m_pHome->Connect(*m_pLeg, now, delayMs);
        m_pLeg->JoinWBChannel();
        m_pHome->JoinWBChannel();
    }
    /// It hears no more of its home.
    void Break() {
        m_pLeg.reset();
        m_pHome.reset();
    }
    bool Turn() {
        const bool any = m_pHome && m_pHome->Deliver();
        return (m_pLeg && m_pLeg->Deliver()) || any;
    }

private:
    struct CHomeChannel final : CWBChannel {
        CHomeChannel() : CWBChannel(kChannel) {}
        void OnWBChannelData(unsigned long session, const char* data, int len) override {
            CWBChannel::OnWBChannelData(session, data, len);
            char answer[wb::kHeaderLen];
            if (m_bHome && wb::AnswerAtHome(data, len, answer)) SendWBData(session, answer, sizeof answer);
        }
        bool m_bHome = true;
    };

    CHomeChannel m_channel;
    std::unique_ptr<CEnd> m_pLeg, m_pHome;
};

class CPerson {
public:
    CPerson(uint32_t number, const uint64_t& now)
        : m_now(now), m_board(kChannel, number, "user", m_feeds, [] { return g_tenths; }), m_page(Page()) {
        Sit();
    }
    ~CPerson() { Disconnect(); }

    /// As its program does it: the channel is empty, its client joins, the far side takes it.
    void Come(CFarBoard& far, uint64_t delayMs = 0, bool near = false) {
        m_pClient = std::make_unique<CClientEnd>(m_pSeat->Channel());
        m_pServer = std::make_unique<CEnd>(far.Channel());
        m_pClient->Connect(*m_pServer, m_now, delayMs);
        m_pServer->Connect(*m_pClient, m_now, delayMs);
        m_pClient->JoinWBChannel();
        m_pServer->JoinWBChannel();
        m_board.GoOnline(m_now, near);
    }
    void Lose() {
        Disconnect();
        m_board.GoOffline();
        m_pSeat.reset();
        Sit();
    }
    /// It loses its server, and others have come to it.
    void LoseAndServe() {
        Disconnect();
        m_board.LiveApart();
    }
    /// Its loop does not come to what has been heard.
    void SetBusy(bool busy) { m_bBusy = busy; }
    void Stick() {
        m_pClient->Stick();
        m_pServer->Stick();
    }
    bool Turn() {
        bool any = m_pServer && m_pServer->Deliver();
        any = (m_pClient && m_pClient->Deliver()) || any;
        while (!m_bBusy && m_pSeat->Turn(m_now)) any = true;
        m_board.Tick(m_now);
        return any;
    }

    IDs Do(const std::string& action) {
        std::vector<BoardAction> read;
        EXPECT_TRUE(ParseActions("[" + action + "]", read)) << action;
        return m_board.Do(read, m_now).at(0);
    }
    uint32_t Draw(const std::string& type = "line") { return Do(Object("add", "", type)).at(0); }
    IDs Replace(uint32_t id, const std::string& text) {
        return Do(Object("replace", R"("id":)" + std::to_string(id) + ",", "text", text));
    }
    void DoTo(const char* what, uint32_t id, const char* more = "") {
        Do(R"({"do":")" + std::string(what) + R"(","ids":[)" + std::to_string(id) + "]" + more + "}");
    }
    void Undo() { Do(R"({"do":"undo"})"); }
    void Clear() { Do(R"({"do":"clear"})"); }

    json State() { return json::parse(m_board.Text())["objects"]; }
    IDs Held() {
        IDs ids;
        for (const json& object : State()) ids.push_back(object["id"]);
        return ids;
    }
    /// What the page shows of an object.
    json Shown(uint32_t id) { return json::parse(m_board.Objects(&id, 1))["objects"].at(0); }
    /// The objects that have left the page since the last call.
    IDs Gone() {
        IDs gone;
        for (EventText event; m_page->Wait(std::chrono::milliseconds(0), event) && event;) {
            const json told = json::parse(*event);
            EXPECT_NE(told["type"], "reset");
            if (told["type"] == "delete") gone.insert(gone.end(), told["ids"].begin(), told["ids"].end());
        }
        return gone;
    }
    CBoard& Board() { return m_board; }
    CBoardSeat& Seat() { return *m_pSeat; }

private:
    static std::string Object(const char* what, const std::string& more, const std::string& type,
                              const std::string& text = "text") {
        const bool add = std::string(what) == "add";
        const std::string object =
            R"({"type":")" + type + R"(","colour":"#ff0000","width":16,"box":[0,0,160,160],"text":")" + text + "\"}";
        return R"({"do":")" + std::string(what) + "\"," + more + (add ? R"("objects":[)" : R"("object":)") + object +
               (add ? "]}" : "}");
    }
    PageFeedPtr Page() {
        IDs objects;
        return m_board.OpenPage(objects);
    }
    void Sit() { m_pSeat = std::make_unique<CBoardSeat>(kChannel, m_board, m_wake); }
    void Disconnect() {
        m_pClient.reset();
        m_pServer.reset();
    }

    const uint64_t& m_now;
    bool m_bBusy = false;
    CPageFeeds m_feeds;
    CBoard m_board;
    const PageFeedPtr m_page;
    CWake m_wake;
    std::unique_ptr<CBoardSeat> m_pSeat;
    std::unique_ptr<CEnd> m_pServer;
    std::unique_ptr<CClientEnd> m_pClient;
};

class BoardWorld : public ::testing::Test {
protected:
    CPerson& Add(uint32_t number) {
        m_people.push_back(std::make_unique<CPerson>(number, m_now));
        return *m_people.back();
    }
    void RunFor(uint64_t milliseconds) {
        for (const uint64_t end = m_now + milliseconds;; ++m_now) {
            for (bool any = true; any;) {
                any = false;
                for (const auto& person : m_people) any = person->Turn() || any;
                for (CFarBoard* server : {&m_near, &m_other}) any = server->Turn() || any;
            }
            if (m_now >= end) return;
        }
    }
    /// Another program says so to the relay.
    void Say(const std::string& message) {
        m_relay.Channel().OnWBChannelData(0, message.data(), static_cast<int>(message.size()));
    }
    /// The hidden objects at the relay.
    Lives LivesThere() {
        Lives lives;
        CReader reader(m_relay.Channel());
        for (const uint32_t id : WordsFrom(reader.heard.empty() ? "" : reader.heard[0], kMessageHead)) {
            if (id < CBoardLife::kFirstNumber) continue;
            reader.Say(MakeMessage(BoardCommand::Request, id, 0));
            lives[id] = WordAt(reader.heard.back(), kMessageHead + 4);
        }
        return lives;
    }
    /// Where a channel has an object.
    static json PlaceAt(CWBChannel& channel, uint32_t id) {
        CReader reader(channel);
        reader.Say(MakeMessage(BoardCommand::Request, id, 0));
        Box box;
        EXPECT_TRUE(PlaceOf(std::string_view(reader.heard.back()).substr(kMessageHead), box));
        return {box.left, box.top, box.right, box.bottom};
    }
    static IDs Sorted(IDs ids) {
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    static constexpr uint64_t kLongMs = 8000;

    uint64_t m_now = 100000;
    CFarBoard m_relay, m_near, m_other;  // they outlive the people
    std::vector<std::unique_ptr<CPerson>> m_people;
};

}  // namespace board_world
