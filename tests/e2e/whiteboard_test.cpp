// Whiteboards of several processes. What the demo draws is not drawn again here.
#include "e2e/relay_test.h"
#include "tools/lumo/board/board_paths.h"
#include "tools/lumo/demo/board_page.h"
#include "tools/lumo/net/loop.h"

#include <csignal>

namespace e2e {
namespace {

using lumo::CBoardPage;
using lumo::CToolLoop;

class Boards : public CRelayTest {
protected:
    /// `lumo whiteboard` on channel 7, and its page; null when it did not start.
    std::unique_ptr<CBoardPage> Open(Process*& process, const std::string& path) {
        process = &Client("whiteboard --channel 7 --path " + path);
        if (!Says(*process, "\n")) return nullptr;
        const Json ready = Json::parse(process->Output().substr(0, process->Output().find('\n')), nullptr, false);
        return std::make_unique<CBoardPage>(ready.value("url", ""));
    }
    static bool Draw(CBoardPage& page, bool onEmpty = false) {
        std::vector<uint32_t> made;
        const Json line{{"type", "line"}, {"colour", "#1971c2"}, {"width", 32}, {"box", {0, 0, 160, 160}}};
        Json actions = Json::array({{{"do", "add"}, {"objects", {line}}}});
        if (onEmpty) actions.insert(actions.begin(), Json{{"do", "clear"}});
        return page.Do(actions, made);
    }
    /// Asks both until they hold the same, `count` objects of them.
    static bool AreEqual(CBoardPage& one, CBoardPage& other, size_t count, Process& listened) {
        const uint64_t start = CToolLoop::Now();
        while (CToolLoop::Now() - start < kDeadlineMs && listened.Running()) {
            const Json first = one.Board(), second = other.Board();
            if (first["objects"].size() == count && first["objects"] == second["objects"]) return true;
            listened.Listen(20);
        }
        return false;
    }
};

TEST_F(Boards, TwoApplicationsShareOne) {
    Process& relay = StartRelay();
    const auto open = [this](const std::string& words) -> Process& {
        return Start({}, LUMO_BUILD_DIR "/tests/embed_whiteboard/embed_whiteboard", words);
    };
    Process& early = open("77 " + port + " morning 60");
    ASSERT_TRUE(Says(early, "connected"));
    Process& late = open("77 " + port + " evening 60");
    EXPECT_TRUE(Says(late, "object: morning") && Says(early, "object: evening")) << relay.Errors();
    Process& other = open("78 " + port + " none 2");
    End(other);
    EXPECT_EQ(other.Output(), "connected\n") << "another board";
}

/// The relay goes and comes back, and those who are together directly notice nothing.
TEST_F(Boards, ADirectOneOutlivesItsRelay) {
    constexpr uint64_t kPatienceMs = lumo::CBoardPaths::kDirectMs + 3000;
    Process *first = nullptr, *second = nullptr, *third = nullptr, &relay = StartRelay();
    const auto host = Open(first, "auto");
    ASSERT_TRUE(host && Says(*first, "\"connected\":true"));
    const auto guest = Open(second, "auto");
    ASSERT_TRUE(guest && Says(*second, "\"path\":\"direct 127"));
    ASSERT_TRUE(Draw(*host) && Draw(*guest) && AreEqual(*host, *guest, 2, *second));
    const size_t said = second->Output().size();
    relay.Signal(SIGKILL);
    End(relay, 128 + SIGKILL);
    EXPECT_TRUE(Says(*first, "peers come to"));
    // So long a host that has lost its number took to become a guest.
    for (const uint64_t start = CToolLoop::Now(); CToolLoop::Now() - start < kPatienceMs;) second->Listen(100);
    ASSERT_TRUE(Draw(*host) && Draw(*guest));
    EXPECT_TRUE(AreEqual(*host, *guest, 4, *second));
    ASSERT_TRUE(Says(StartRelay(), "user 7 "));
    const auto late = Open(third, "relay --http-listen 127.0.0.1");
    ASSERT_TRUE(late && AreEqual(*guest, *late, 4, *third) && Draw(*late));
    EXPECT_TRUE(AreEqual(*host, *guest, 5, *second));
    EXPECT_EQ(second->Output().size(), said) << second->Output();
}

/// Over TCP too one of the guests takes the place of a host that goes, with all that is on the board.
TEST_F(Boards, AnotherTakesTheHostsPlace) {
    StartRelay();
    Process *first = nullptr, *second = nullptr, *third = nullptr;
    const auto host = Open(first, "p2p-tcp");
    ASSERT_TRUE(host && Says(*first, "\"connected\":true"));
    const auto one = Open(second, "p2p-tcp"), other = Open(third, "p2p-tcp");
    ASSERT_TRUE(one && Says(*second, "\"path\":\"direct") && other && Says(*third, "\"path\":\"direct"));
    ASSERT_TRUE(Draw(*host) && Draw(*one) && Draw(*other) && AreEqual(*one, *other, 3, *third));
    first->Signal(SIGTERM);
    End(*first);
    EXPECT_TRUE(Draw(*one) && Draw(*other) && AreEqual(*one, *other, 5, *third));
}

/// The home server stands still while somebody draws by a near one, which is restarted.
TEST_F(Boards, WhatANearServerHasNotCarriedHomeStaysAndGoesThereLater) {
    constexpr char kNear[] = "127.0.0.2", kByNear[] = "relay --tcp --near 127.0.0.2";
    Process *atHome = nullptr, *atNear = nullptr, *witness = nullptr;
    StartRelay("127.0.0.3");  // for the port
    const auto ben = Open(atHome, "relay"), ada = Open(atNear, kByNear);
    ASSERT_TRUE(ben && Draw(*ben) && ada && Draw(*ada));
    Process &home = StartRelay(), &near = StartRelay(kNear);
    const uint64_t start = CToolLoop::Now();
    ASSERT_TRUE(AreEqual(*ben, *ada, 2, *atNear)) << "now both know that they have all there is";
    EXPECT_LT(CToolLoop::Now() - start, lumo::CBoard::kSettleMs) << "because the home server has answered";
    ASSERT_TRUE(Draw(*ben, true) && AreEqual(*ben, *ada, 1, *atNear)) << "and which board it is";
    home.Signal(SIGSTOP);
    ASSERT_TRUE(Draw(*ada));
    // So long three answers would take.
    for (const uint64_t drawn = CToolLoop::Now(); CToolLoop::Now() - drawn < 4 * lumo::CEchoes::kAskHomeEveryMs;)
        atNear->Listen(100);
    const auto dora = Open(witness, kByNear);
    ASSERT_TRUE(dora && AreEqual(*ada, *dora, 2, *witness)) << "the near server has it";
    witness->Signal(SIGTERM);
    End(*witness);
    near.Signal(SIGKILL);
    End(near, 128 + SIGKILL);
    home.Signal(SIGCONT);
    StartRelay(kNear);
    EXPECT_TRUE(AreEqual(*ben, *ada, 2, *atNear)) << ada->Board().dump();
}

}  // namespace
}  // namespace e2e
