// Who may ask a board's page, and what it answers.
#include "tools/lumo/board/board_server.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <tuple>

using namespace lumo;

namespace {

BoardDoor Door(uint32_t ip, uint16_t port, const std::string& token = "") {
    BoardDoor door;
    door.ip = ip;
    door.port = port;
    door.token = token;
    return door;
}

TEST(BoardOrigin, OnlyThePagesOfThisServerMayAsk) {
    const BoardDoor here = Door(BoardDoor::kLoopback, 8080), lan = Door(0x0a000005, 8080), all = Door(0, 8080);
    const std::string host = "127.0.0.1:8080", origin = "http://127.0.0.1:8080";
    const std::string name = "board.example:8080";  // made to lead here
    const std::tuple<const char*, const char*, httplib::Headers, bool> rows[] = {
        {"typed into the address line", "GET", {{"Host", host}}, true},
        {"by its other name", "GET", {{"Host", "localhost:8080"}, {"Sec-Fetch-Site", "none"}}, true},
        {"its own page", "POST", {{"Host", host}, {"Origin", origin}}, true},
        {"a link on another page", "GET", {{"Host", host}, {"Sec-Fetch-Site", "cross-site"}}, false},
        {"another port of this host", "GET", {{"Host", host}, {"Sec-Fetch-Site", "same-site"}}, false},
        {"a name that was made to lead here", "GET", {{"Host", name}}, false},
        {"that name's own page", "POST", {{"Host", name}, {"Origin", "http://" + name}}, false},
        {"another port's host", "GET", {{"Host", "127.0.0.1:8081"}}, false},
        {"no host", "GET", {}, false},
        {"two hosts", "GET", {{"Host", host}, {"Host", "board.example"}}, false},
        {"a post without origin", "POST", {{"Host", host}}, false},
        {"a post of no origin", "POST", {{"Host", host}, {"Origin", "null"}}, false},
        {"a post of another page", "POST", {{"Host", host}, {"Origin", "http://127.0.0.1:8081"}}, false},
        {"a post of the other name", "POST", {{"Host", host}, {"Origin", "http://localhost:8080"}}, false},
        {"another page's event stream", "GET", {{"Host", host}, {"Origin", "http://evil.example"}}, false},
        {"two origins", "POST", {{"Host", host}, {"Origin", origin}, {"Origin", "http://evil.example"}}, false},
    };
    for (const auto& [what, method, headers, own] : rows) {
        httplib::Request request;
        request.method = method;
        request.headers = headers;
        EXPECT_EQ(IsOwnRequest(request, here), own) << what;
    }
    httplib::Request request;
    request.method = "POST";
    request.headers = {{"Host", "127.0.0.1"}, {"Origin", "http://127.0.0.1"}};
    EXPECT_TRUE(IsOwnRequest(request, Door(BoardDoor::kLoopback, 80))) << "a port that goes without saying";
    EXPECT_FALSE(IsOwnRequest(request, here));
    request.headers = {{"Host", "10.0.0.5:8080"}, {"Origin", "http://10.0.0.5:8080"}};
    EXPECT_TRUE(IsOwnRequest(request, lan) && IsOwnRequest(request, all));
    EXPECT_FALSE(IsOwnRequest(request, here) || IsOwnRequest(request, Door(0x0a000006, 8080)));
    for (const char* name : {"localhost:8080", "board.example:8080", ":8080", "8080"}) {
        request.headers = {{"Host", name}, {"Origin", std::string("http://") + name}};
        EXPECT_FALSE(IsOwnRequest(request, lan) || IsOwnRequest(request, all)) << name;
    }
}

TEST(BoardServer, WhereOthersMayComeEveryRequestNeedsTheToken) {
    CPageFeeds feeds;
    CBoard board(5, 77, "Ada", feeds);
    CBoardServer server(board, feeds);
    BoardDoor door;
    ASSERT_TRUE(door.DrawToken() && server.Start(door));
    const std::string token = door.token, port = std::to_string(server.Door().port), other(token.size(), 'x');
    EXPECT_EQ(server.Door().Url(0x0a000005), "http://10.0.0.5:" + port + "/" + token + "/");
    httplib::Client client("127.0.0.1", server.Door().port);
    const httplib::Headers own{{"Origin", "http://127.0.0.1:" + port}};
    for (const std::string& path : {std::string("/"), std::string("/events"), std::string("/board"), "/" + other + "/",
                                    "/" + token + "x/", "//" + token + "/", "/" + token.substr(1) + "/"}) {
        EXPECT_EQ(client.Get(path)->status, 403) << path;
        EXPECT_EQ(client.Post(path, own, "[]", "application/json")->status, 403) << path;
    }
    EXPECT_EQ(client.Get("/" + token)->get_header_value("Location"), "/" + token + "/");
    const std::string page = client.Get("/" + token + "/")->body;
    EXPECT_EQ(page.find("=\"/"), std::string::npos) << "what it asks for lies beside it";
    EXPECT_EQ(client.Get("/" + token + "/js/app.js")->status, 200);
    EXPECT_EQ(client.Post("/" + token + "/do", own, R"([{"do":"undo"}])", "application/json")->status, 200);
    BoardDoor next;
    EXPECT_TRUE(next.DrawToken() && next.token != token);
}

TEST(BoardServer, ServesItsPageTakesWhatFitsAndSendsEvents) {
    CPageFeeds feeds;
    CBoard board(5, 77, "Ada", feeds);
    CBoardServer server(board, feeds);
    ASSERT_TRUE(server.Start({}));
    httplib::Client client("127.0.0.1", server.Door().port);
    const httplib::Headers own{{"Origin", "http://127.0.0.1:" + std::to_string(server.Door().port)}};
    const auto page = client.Get("/");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    EXPECT_NE(page->get_header_value("Content-Security-Policy").find("default-src 'none'"), std::string::npos);
    EXPECT_EQ(client.Get("/js/app.js")->get_header_value("Content-Type").find("text/javascript"), 0U);
    EXPECT_EQ(client.Get("/picture/1")->status, 404);

    const std::string png("\x89PNG\r\n\x1a\n....", 12);
    EXPECT_EQ(client.Post("/do", R"([{"do":"undo"}])", "application/json")->status, 403);
    EXPECT_EQ(client.Post("/do", own, "[", "application/json")->status, 400);
    EXPECT_EQ(client.Post("/picture?box=0,0,9,9", own, "<svg/>", "image/png")->status, 400);
    EXPECT_EQ(client.Post("/picture?box=0,0,9", own, png, "image/png")->status, 400);
    EXPECT_EQ(client.Post("/picture?box=0,0,9,9", own, png + std::string(kMaxBoardPicture, 'x'), "image/png")->status,
              400);
    const auto posted = client.Post("/picture?box=0,0,9,9", own, png, "image/png");
    ASSERT_EQ(posted->status, 200);
    const auto id = nlohmann::json::parse(posted->body)[0][0].get<uint32_t>();
    const auto picture = client.Get("/picture/" + std::to_string(id));
    EXPECT_EQ(picture->body, png);
    EXPECT_EQ(picture->get_header_value("Content-Type"), "image/png");

    std::string events;
    client.Get("/events", [&](const char* data, size_t length) {
        events.append(data, length);
        return events.find(R"("type":"undo")") == std::string::npos;
    });
    EXPECT_EQ(events.find("data: {\"type\":\"reset\"}\n\n"), 0U) << events;
    EXPECT_LT(events.find(R"("id":)" + std::to_string(id)), events.find(R"("type":"hello")"));
    EXPECT_NE(events.find("not connected: what you draw is kept and sent later"), std::string::npos) << events;
}

}  // namespace
