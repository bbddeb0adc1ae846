// Real files through real relay servers, each side a process of its own.
#include "e2e/transfer_fixture.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;
namespace fs = std::filesystem;

namespace {

struct PathRow {
    const char* name;
    std::vector<std::string> send, receive;
};

class TransferPaths : public CTransferTest, public ::testing::WithParamInterface<PathRow> {};

TEST_P(TransferPaths, SeveralFilesArriveIdentical) {
    CChildProcess relay, near, sender, receiver;
    StartRelay(relay);
    StartRelay(near, "127.0.0.2");
    const std::string big = MakeFile("big", 12 * 1024 * 1024 + 7), empty = MakeFile("empty", 0);
    StartSend(sender, {big, empty}, GetParam().send);
    StartReceive(receiver, "out", GetParam().receive);
    EXPECT_EQ(ExitOf(receiver), 0) << receiver.Errors();
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
    EXPECT_TRUE(Content(Path("out/big")) == Content(big));
    EXPECT_TRUE(fs::exists(Path("out/empty")));
    EXPECT_FALSE(fs::exists(Path("out/big.part")));
    EXPECT_EQ(LastEvent(receiver)["bytes"], fs::file_size(big));
    EXPECT_EQ(LastEvent(sender)["complete"], 1);
}

INSTANTIATE_TEST_SUITE_P(All, TransferPaths,
                         ::testing::Values(PathRow{"Udp", {}, {}}, PathRow{"Tcp", {"--tcp"}, {"--tcp"}},
                                           PathRow{"UdpToTcp", {}, {"--tcp"}}, PathRow{"TcpToUdp", {"--tcp"}, {}},
                                           PathRow{"RelayedUdp", {}, {"--near", "127.0.0.2"}},
                                           PathRow{"RelayedTcp", {"--tcp"}, {"--tcp", "--near", "127.0.0.2"}}),
                         [](const auto& row) { return row.param.name; });

TEST_F(CTransferTest, OneSenderServesManyAtOnce) {
    constexpr int kCount = 6;
    CChildProcess relay, sender, receivers[kCount];
    StartRelay(relay);
    const std::string file = MakeFile("file", 5 * 1024 * 1024);
    StartSend(sender, {file}, {"--receivers", std::to_string(kCount)});
    for (int i = 0; i < kCount; ++i)
        StartReceive(receivers[i], "out" + std::to_string(i),
                     i % 2 == 0 ? std::vector<std::string>{} : std::vector<std::string>{"--tcp"});
    for (int i = 0; i < kCount; ++i) {
        EXPECT_EQ(ExitOf(receivers[i]), 0) << receivers[i].Errors();
        EXPECT_TRUE(Content(Path("out" + std::to_string(i) + "/file")) == Content(file));
    }
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
}

TEST_F(CTransferTest, StandardInputToStandardOutput) {
    CChildProcess relay, sender, receiver;
    StartRelay(relay);
    const std::string file = MakeFile("file", 3 * 1024 * 1024 + 1);
    const CFileDescriptor input(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    Run(sender, {"send", "-", "--mcu", Mcu()}, input.Get());
    ASSERT_TRUE(sender.WaitForText("lumo receive ", kDeadlineMs)) << "the line to type comes at once";
    const std::string line = sender.Output().substr(0, sender.Output().find('\n'));
    std::vector<std::string> words;
    std::istringstream stream(line);
    for (std::string word; stream >> word;) words.push_back(word);
    ASSERT_EQ(words.size(), 5U) << line;
    words.erase(words.begin());
    words.insert(words.end(), {"--out", "-", "--quiet"});
    Run(receiver, words);
    EXPECT_EQ(ExitOf(receiver), 0) << receiver.Errors();
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
    EXPECT_TRUE(receiver.Output() == Content(file));
    EXPECT_EQ(receiver.Errors(), "");
}

TEST_F(CTransferTest, AKilledReceiverResumesInANewProcess) {
    CChildProcess relay, sender, killed, second;
    StartRelay(relay);
    const std::string file = MakeFile("file", 6 * 1024 * 1024);
    StartSend(sender, {file}, {"--rate", "2M"});
    StartReceive(killed, "out");
    ASSERT_TRUE(WaitForBytes(killed, 1024 * 1024)) << killed.Output();
    killed.Signal(SIGKILL);
    EXPECT_EQ(ExitOf(killed), 128 + SIGKILL);
    EXPECT_FALSE(fs::exists(Path("out/file")));
    EXPECT_TRUE(fs::exists(Path("out/file.part")));
    StartReceive(second, "out");
    EXPECT_EQ(ExitOf(second), 0) << second.Errors();
    EXPECT_TRUE(Content(Path("out/file")) == Content(file));
    EXPECT_LT(LastEvent(second)["arrived_bytes"].get<uint64_t>(), fs::file_size(file)) << "it began anew";
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
}

TEST_F(CTransferTest, ARelayThatDiesAndComesBackOnlyCostsTime) {
    using Words = std::vector<std::string>;
    for (const Words& way : {Words{}, Words{"--tcp"}, Words{"--near", "127.0.0.2"}}) {
        const bool tcp = way == Words{"--tcp"}, through = way.size() > 1;
        CChildProcess first, second, near, sender, receiver;
        StartRelay(first);
        if (through) StartRelay(near, "127.0.0.2");
        const std::string file = MakeFile("file", 8 * 1024 * 1024), out = tcp ? "tcp" : through ? "near" : "udp";
        StartSend(sender, {file}, tcp ? Words{"--rate", "4M", "--tcp"} : Words{"--rate", "4M"});
        StartReceive(receiver, out, way);
        ASSERT_TRUE(WaitForBytes(receiver, 1024 * 1024)) << receiver.Output();
        first.Stop(0);
        StartRelay(second);
        EXPECT_EQ(ExitOf(receiver), 0) << receiver.Errors();
        EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
        EXPECT_TRUE(Content(Path(out + "/file")) == Content(file));
    }
}

TEST_F(CTransferTest, NothingIsOverwrittenWithoutForce) {
    CChildProcess relay, sender, refused, forced;
    StartRelay(relay);
    const std::string file = MakeFile("file", 100000);
    fs::create_directories(Path("out"));
    std::ofstream(Path("out/file")) << "mine";
    StartSend(sender, {file});
    StartReceive(refused, "out");
    EXPECT_EQ(ExitOf(refused), 1);
    EXPECT_NE(refused.Errors().find("exists already"), std::string::npos) << refused.Errors();
    EXPECT_EQ(Content(Path("out/file")), "mine");
    StartReceive(forced, "out", {"--force"});
    EXPECT_EQ(ExitOf(forced), 0) << forced.Errors();
    EXPECT_TRUE(Content(Path("out/file")) == Content(file));
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
}

TEST_F(CTransferTest, ExitCodesTellWhatHappened) {
    CChildProcess relay;
    StartRelay(relay);
    const std::string file = MakeFile("file", 10);
    const std::pair<std::vector<std::string>, int> rows[] = {
        {{}, 2},
        {{"--help"}, 0},
        {{"send"}, 2},
        {{"send", file}, 2},
        {{"nonsense"}, 2},
        {{"send", file, "--mcu", "bad:port"}, 2},
        {{"send", file, "--mcu", Mcu(), "--channel", "0"}, 2},
        {{"send", file, "--mcu", Mcu(), "--proxy", "ftp://x"}, 2},
        {{"receive", "x", "--mcu", Mcu()}, 2},
        {{"receive", "5", "--mcu", Mcu(), "--near", "127.0.0.2:1"}, 2},
        {{"receive", "5", "--mcu", Mcu(), "--out", Path("nowhere")}, 1},
        {{"send", Path("missing"), "--mcu", Mcu()}, 1},
        {{"send", Path("."), "--mcu", Mcu()}, 1},
        {{"send", file, file, "--mcu", Mcu()}, 1},
        {{"send", file, "--mcu", Mcu(), "--wait", "0.5"}, 3},
        {{"receive", "5", "--mcu", Mcu(), "--wait", "0.5"}, 3},
        {{"receive", "5", "--mcu", Mcu(), "--tcp", "--wait", "0.5"}, 3},
        {{"dump", Path("missing")}, 1},
        {{"dump", file}, 1},
    };
    for (const auto& [arguments, code] : rows) {
        CChildProcess child;
        Run(child, arguments);
        EXPECT_EQ(ExitOf(child), code) << ::testing::PrintToString(arguments) << child.Errors();
        EXPECT_EQ(code == 0, child.Errors().empty()) << "a failure says why";
    }
}

TEST_F(CTransferTest, InterruptsSayGoodbye) {
    CChildProcess relay, sender, receiver, second;
    StartRelay(relay);
    const std::string file = MakeFile("file", 8 * 1024 * 1024);
    StartSend(sender, {file}, {"--rate", "1M"});
    StartReceive(receiver, "out");
    ASSERT_TRUE(WaitForBytes(receiver, 100000)) << receiver.Output();
    receiver.Signal(SIGINT);
    EXPECT_EQ(ExitOf(receiver), 1);
    EXPECT_TRUE(fs::exists(Path("out/file.part")));
    StartReceive(second, "out", {"--wait", "1000"});
    ASSERT_TRUE(WaitForBytes(second, 200000)) << second.Output();
    sender.Signal(SIGTERM);
    EXPECT_EQ(ExitOf(sender), 1);
    EXPECT_EQ(ExitOf(second), 1) << "at once, not after the wait";
    EXPECT_NE(second.Errors().find("the sender left"), std::string::npos) << second.Errors();
}

}  // namespace
