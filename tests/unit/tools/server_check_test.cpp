// What is found out of a server that does not serve, and of a proxy before it.
#include "tools/lumo/net/server_check.h"
#include "platform/lumonet/socket_address.h"
#include "support/fake_net.h"
#include "support/scripted_peer.h"

#include <gtest/gtest.h>

using namespace lumo;

namespace {

CScriptedPeer::Script Answers(const std::string& status, int times = 1) {
    return [=](const CRawPeer& peer) {
        for (int i = 0; i < times && !peer.ReadUntil("\r\n\r\n").empty(); ++i)
            peer.Send("HTTP/1.1 " + status +
                      " x\r\nProxy-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
    };
}

/// What the client says of a length, and what it is answered, turn by turn.
CScriptedPeer::Script Speaks(const std::vector<std::pair<size_t, std::string>>& turns) {
    return [=](const CRawPeer& peer) {
        for (const auto& [length, answer] : turns) {
            peer.Read(length);
            peer.Send(answer);
        }
        peer.IsClosed();
    };
}

const struct {
    const char* proxy;  ///< PORT is where the script is played; empty: the server plays it, over TCP
    CScriptedPeer::Script script;
    ServerFault fault;
    const char* words;
} kChecks[] = {
    {"http://127.0.0.1:PORT", Answers("407"), ServerFault::ProxyPassword, " wants a user and a password"},
    {"http://me@127.0.0.1:PORT", Answers("407", 2), ServerFault::ProxyPassword, " wants a password"},
    {"http://me:x@127.0.0.1:PORT", Answers("407", 2), ServerFault::ProxyPassword, " does not take this user"},
    {"http://127.0.0.1:PORT", Answers("403"), ServerFault::ProxyForbids, " to server:9 (HTTP status 403)"},
    {"http://127.0.0.1:PORT", Answers("503"), ServerFault::ProxyCannotReach, " server:9 (HTTP status 503)"},
    {"http://127.0.0.1:PORT", Speaks({{7, "SSH-2.0-x\r\n"}}), ServerFault::ProxyOdd, "a proxy of that kind?"},
    {"socks5://127.0.0.1:PORT", Speaks({{3, Hex("05 ff")}}), ServerFault::ProxyPassword, " wants a user"},
    {"socks5://me:x@127.0.0.1:PORT", Speaks({{4, Hex("05 02")}, {6, Hex("01 01")}}), ServerFault::ProxyPassword,
     " does not take this user"},
    {"socks5://127.0.0.1:PORT", Speaks({{3, Hex("05 00")}, {10, Hex("05 02 00 01 00000000 0000")}}),
     ServerFault::ProxyForbids, " lets nobody through to server:9"},
    {"socks5://127.0.0.1:PORT", Speaks({{3, Hex("05 00")}, {10, Hex("05 05 00 01 00000000 0000")}}),
     ServerFault::ProxyCannotReach, "the connection was refused"},
    {"socks4://127.0.0.1:PORT", Speaks({{9, Hex("00 5b 0000 00000000")}}), ServerFault::ProxyCannotReach, "SOCKS4"},
    {"", [](const CRawPeer&) {}, ServerFault::Closes, "server:PORT closes every connection"},
    {"", [](const CRawPeer& peer) { peer.IsClosed(); }, ServerFault::Answers, "server:PORT is there"},
};

std::string With(std::string text, uint16_t port) {
    const size_t at = text.find("PORT");
    return at == std::string::npos ? text : text.replace(at, 4, std::to_string(port));
}

TEST(ServerCheck, SaysWhatFailsOnTheWayAndWhere) {
    for (const auto& row : kChecks) {
        const CScriptedPeer peer(row.script);
        RelayRoute route;
        std::string problem;
        if (*row.proxy) ParseProxyUrl(With(row.proxy, peer.Port()), "", route.proxy, problem);
        route.mcu = {"server", *row.proxy ? uint16_t{9} : peer.Port(), {kLoopback}};
        route.tcp = true;
        CServerCheck check(route, media::kFile);
        const ServerTrouble& trouble = check.Result();
        EXPECT_EQ(trouble.fault, row.fault) << row.proxy << ": " << trouble.Text();
        EXPECT_NE(trouble.Text().find(With(row.words, peer.Port())), std::string::npos) << trouble.Text();
    }
}

TEST(ServerCheck, TellsAServerBehindAFirewallFromNoneAndEndsWhenNobodyWantsToKnow) {
    const CRawListener overTcp;
    const CFileDescriptor silent = OpenSocket(SOCK_DGRAM);
    const sockaddr_in address = ToSocketAddress(kLoopback, overTcp.Port());
    ASSERT_EQ(bind(silent.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    RelayRoute route;
    route.mcu = {"server", overTcp.Port(), {kLoopback}};
    EXPECT_EQ(CServerCheck(route, media::kFile).Result().fault, ServerFault::NoUdp);
    for (const char* const proxy : {"", "http://127.0.0.1:"}) {
        std::string problem;
        if (*proxy) ParseProxyUrl(proxy + std::to_string(overTcp.Port()), "", route.proxy, problem);
        route.tcp = *proxy;
        const auto start = std::chrono::steady_clock::now();
        CServerCheck(route, media::kFile);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(600)) << proxy;
    }
}

}  // namespace
