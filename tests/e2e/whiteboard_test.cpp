// Whiteboards of several processes through real relays.
#include "e2e/transfer_fixture.h"
#include "tools/lumo/board/board_paths.h"
#include "tools/lumo/demo/board_page.h"
#include "tools/lumo/net/loop.h"

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;

namespace {

TEST_F(CTransferTest, TwoApplicationsShareABoard) {
    const std::string program = LUMO_BUILD_DIR "/tests/embed_whiteboard/embed_whiteboard";
    CChildProcess relay, early, late;
    StartRelay(relay);
    const std::string port = Mcu().substr(Mcu().find(':') + 1);
    ASSERT_TRUE(early.Start({program, "77", port, "good morning", "60"}));
    ASSERT_TRUE(early.WaitForText("connected", kDeadlineMs)) << early.Errors();
    ASSERT_TRUE(late.Start({program, "77", port, "good evening", "60"}));
    EXPECT_TRUE(late.WaitForText("object: good morning", kDeadlineMs)) << late.Output() << relay.Errors();
    EXPECT_TRUE(early.WaitForText("object: good evening", kDeadlineMs)) << early.Output() << relay.Errors();
    CChildProcess other;
    ASSERT_TRUE(other.Start({program, "78", port, "", "2"}));
    EXPECT_EQ(ExitOf(other), 0);
    EXPECT_EQ(other.Output(), "connected\n") << "another board";
}

using nlohmann::json;

class BoardTest : public CTransferTest {
protected:
    /// `lumo whiteboard` on channel 7, and its page; null when it did not start.
    std::unique_ptr<lumo::CBoardPage> Open(CChildProcess& process, const std::vector<std::string>& more = {}) {
        std::vector<std::string> words{"whiteboard", "--channel", "7", "--mcu", Mcu(), "--json"};
        words.insert(words.end(), more.begin(), more.end());
        Run(process, words);
        if (!process.WaitForText("\n", kDeadlineMs)) return nullptr;
        const json ready = json::parse(process.Output().substr(0, process.Output().find('\n')), nullptr, false);
        return std::make_unique<lumo::CBoardPage>(ready.value("url", ""));
    }
    /// Asks both until they hold the same, `count` objects of them.
    static bool AreEqual(lumo::CBoardPage& one, lumo::CBoardPage& other, size_t count, CChildProcess& listened) {
        const uint64_t start = lumo::CToolLoop::Now();
        while (lumo::CToolLoop::Now() - start < kDeadlineMs && listened.Running()) {
            const json first = one.Board(), second = other.Board();
            if (first["objects"].size() == count && first["objects"] == second["objects"]) return true;
            listened.Listen(20);
        }
        return false;
    }
};

TEST_F(BoardTest, ALateJoinerGetsTenThousandObjects) {
    constexpr size_t kAtOnce = 1000, kRequests = 10;
    CChildProcess relay, early, late;
    StartRelay(relay);
    const auto drawer = Open(early);
    ASSERT_TRUE(drawer) << early.Errors();
    json shapes = json::array();
    for (size_t i = 0; i < kAtOnce; ++i)
        shapes.push_back({{"type", "pen"},
                          {"colour", "#1971c2"},
                          {"width", 32},
                          {"box", {0, i, 160, i + 160}},
                          {"points", {0, i, 40, i + 90, 160, i + 160}}});
    for (size_t i = 0; i < kRequests; ++i) {
        std::vector<uint32_t> made;
        ASSERT_TRUE(drawer->Do(json::array({{{"do", "add"}, {"objects", shapes}}}), made));
        ASSERT_EQ(made.size(), kAtOnce);
    }
    ASSERT_TRUE(early.WaitForText("\"connected\":true", kDeadlineMs)) << early.Output();
    const uint64_t start = lumo::CToolLoop::Now();
    const auto joiner = Open(late);
    ASSERT_TRUE(joiner) << late.Errors();
    EXPECT_TRUE(AreEqual(*drawer, *joiner, kAtOnce * kRequests, late)) << relay.Errors();
    RecordProperty("ms", static_cast<int>(lumo::CToolLoop::Now() - start));
}

/// The relay goes and comes back, and those who are together directly notice nothing.
TEST_F(BoardTest, ADirectBoardOutlivesItsRelay) {
    constexpr uint64_t kPatienceMs = lumo::CBoardPaths::kDirectMs + 3000;
    for (const std::string way : {"p2p", "auto"}) {
        SCOPED_TRACE(way);
        CChildProcess relay, again, first, second, third;
        StartRelay(relay);
        const auto host = Open(first, {"--path", way});
        ASSERT_TRUE(host && first.WaitForText("\"connected\":true", kDeadlineMs)) << first.Errors();
        const auto guest = Open(second, {"--path", way});
        ASSERT_TRUE(guest && second.WaitForText("\"path\":\"direct 127", kDeadlineMs)) << second.Output();
        const auto draw = [](lumo::CBoardPage& page) {
            std::vector<uint32_t> made;
            const json line{{"type", "line"}, {"colour", "#1971c2"}, {"width", 32}, {"box", {0, 0, 160, 160}}};
            return page.Do(json::array({{{"do", "add"}, {"objects", {line}}}}), made);
        };
        ASSERT_TRUE(draw(*host) && draw(*guest));
        ASSERT_TRUE(AreEqual(*host, *guest, 2, second));
        const size_t said = second.Output().size();
        relay.Signal(SIGKILL);
        EXPECT_EQ(ExitOf(relay), 128 + SIGKILL);
        if (way == "auto") {
            EXPECT_TRUE(first.WaitForText("peers come to", kDeadlineMs)) << first.Output();
        }
        // So long a host that has lost its number took to become a guest.
        for (const uint64_t start = lumo::CToolLoop::Now(); lumo::CToolLoop::Now() - start < kPatienceMs;)
            second.Listen(100);
        ASSERT_TRUE(draw(*host) && draw(*guest));
        EXPECT_TRUE(AreEqual(*host, *guest, 4, second));
        StartRelay(again);
        ASSERT_TRUE(again.WaitForText("user 7 ", kDeadlineMs)) << again.Errors();
        const auto late = Open(third, {"--path", way == "auto" ? "relay" : way});
        ASSERT_TRUE(late) << third.Errors();
        EXPECT_TRUE(AreEqual(*guest, *late, 4, third)) << third.Output();
        ASSERT_TRUE(draw(*late));
        EXPECT_TRUE(AreEqual(*host, *guest, 5, second));
        EXPECT_EQ(second.Output().size(), said) << second.Output();
    }
}

TEST_F(CTransferTest, ALoadOfDrawingIsSeenOnEveryBoard) {
    CChildProcess relay, near, loads[3], nobody;
    StartRelay(relay);
    StartRelay(near, "127.0.0.2");
    const std::vector<std::string> ways[] = {{}, {"--tcp"}, {"--near", "127.0.0.2"}};
    for (size_t i = 0; i < 3; ++i) {
        std::vector<std::string> words{"load",   "whiteboard", "--mcu",     Mcu(), "--subscribers", "20",
                                       "--rate", "20",         "--seconds", "1",   "--json"};
        words.insert(words.end(), ways[i].begin(), ways[i].end());
        Run(loads[i], words);
    }
    for (CChildProcess& load : loads) {
        EXPECT_EQ(ExitOf(load), 0) << load.Errors();
        const nlohmann::json end = LastEvent(load);
        EXPECT_EQ(end["medium"], "whiteboard");
        EXPECT_EQ(end["arrived"], 20 * 20) << end;
        EXPECT_EQ(end["repeated"], 0) << end;
        EXPECT_GT(end["delay_p50_ms"], 0) << end;
    }
    Run(nobody, {"load", "whiteboard", "--mcu", Mcu("127.0.0.3"), "--subscribers", "1", "--wait", "0.3"});
    EXPECT_EQ(ExitOf(nobody), 3) << nobody.Errors();
}

}  // namespace
