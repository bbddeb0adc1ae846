// Files straight from process to process on loopback, and the relay where that does not work.
#include "e2e/transfer_fixture.h"

#include <filesystem>

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;

namespace {

using Words = std::vector<std::string>;

struct PathRow {
    const char* name;
    Words send, receive;
    const char* path;  ///< what the receiver's path begins with
};

void PrintTo(const PathRow& row, std::ostream* out) { *out << row.name; }

class PeerPaths : public CTransferTest, public ::testing::WithParamInterface<PathRow> {};

TEST_P(PeerPaths, CarryTheFileAndSayWhich) {
    CChildProcess relay, sender, receiver;
    StartRelay(relay);
    const std::string file = MakeFile("file", 3 * 1024 * 1024 + 5);
    StartReceive(receiver, "out", GetParam().receive);
    ASSERT_TRUE(receiver.Running());
    StartSend(sender, {file}, GetParam().send);
    EXPECT_EQ(ExitOf(receiver), 0) << receiver.Errors();
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
    EXPECT_TRUE(Content(Path("out/file")) == Content(file));
    const std::string path = LastEvent(receiver)["path"], paths = LastEvent(sender)["paths"];
    EXPECT_EQ(path.find(GetParam().path), 0U) << path;
    EXPECT_EQ(paths.find(std::string("1 ") + (path[0] == 'd' ? "direct" : "relay")), 0U) << paths;
}

INSTANTIATE_TEST_SUITE_P(
    All, PeerPaths,
    ::testing::Values(
        PathRow{"Usual", {"--path", "auto"}, {"--path", "auto"}, "direct 127.0.0.1:"},
        PathRow{"Udp", {"--path", "p2p"}, {"--path", "p2p"}, "direct 127.0.0.1:"},
        PathRow{"Tcp", {"--path", "p2p-tcp"}, {"--path", "p2p-tcp"}, "direct 127.0.0.1:"},
        PathRow{"TheSenderTakesNoPeers", {"--path", "relay"}, {"--path", "auto"}, "relay 127.0.0.1:"},
        PathRow{"ByProxyOrNearServerTheRelayIsUsual", {"--path", "auto"}, {"--path", "relay"}, "relay 127.0.0.1:"}),
    [](const auto& row) { return row.param.name; });

// It comes back with another port, and the receiver has to notice.
TEST_F(CTransferTest, ASenderThatIsKilledAndStartedAnewIsFoundAgain) {
    for (const std::string way : {"p2p", "p2p-tcp", "auto"}) {
        CChildProcess relay, killed, second, receiver;
        StartRelay(relay);
        const std::string file = MakeFile("file", 6 * 1024 * 1024);
        StartSend(killed, {file}, {"--path", way, "--rate", "2M"});
        StartReceive(receiver, way, {"--path", way});
        ASSERT_TRUE(WaitForBytes(receiver, 1024 * 1024)) << receiver.Output();
        killed.Signal(SIGKILL);
        EXPECT_EQ(ExitOf(killed), 128 + SIGKILL);
        StartSend(second, {file}, {"--path", way});
        EXPECT_EQ(ExitOf(receiver), 0) << way << receiver.Errors();
        EXPECT_EQ(ExitOf(second), 0) << way << second.Errors();
        EXPECT_TRUE(Content(Path(way + "/file")) == Content(file)) << way;
        EXPECT_LT(LastEvent(second)["sent_bytes"], std::filesystem::file_size(file)) << way << ": it began anew";
    }
}

TEST_F(CTransferTest, ASecondSenderOfOneChannelIsToldAtOnce) {
    CChildProcess relay;
    StartRelay(relay);
    const std::string file = MakeFile("file", 1000);
    int channel = 77;
    for (const std::string way : {"p2p", "auto", "relay"}) {
        CChildProcess first, second;
        const Words words{"send", file, "--mcu", Mcu(), "--channel", std::to_string(++channel), "--path", way};
        const std::string number = std::to_string(channel);
        Run(first, words);
        const bool published = way == "p2p" || relay.WaitForText("publishes channel " + number, kDeadlineMs);
        const bool registered = way == "relay" || relay.WaitForText("user " + number, kDeadlineMs);
        ASSERT_TRUE(published && registered) << relay.Errors();
        Run(second, words);
        EXPECT_TRUE(second.WaitForText("does not take us", kDeadlineMs)) << way << second.Errors();
        EXPECT_EQ(first.Errors().find("does not take us"), std::string::npos) << way << first.Errors();
    }
}

TEST_F(CTransferTest, TheRelayCarriesOnlyWhatSomebodyThereLacks) {
    CChildProcess relay, sender, direct[2], relayed;
    StartRelay(relay);
    const std::string file = MakeFile("file", 2 * 1024 * 1024);
    StartSend(sender, {file}, {"--path", "auto", "--receivers", "3"});
    StartReceive(direct[0], "out0", {"--path", "p2p"});
    StartReceive(direct[1], "out1", {"--path", "p2p"});
    EXPECT_EQ(ExitOf(direct[0]), 0) << direct[0].Errors();
    EXPECT_EQ(ExitOf(direct[1]), 0) << direct[1].Errors();
    EXPECT_EQ(relay.Errors().find("sink"), std::string::npos) << relay.Errors();
    StartReceive(relayed, "out2");
    EXPECT_EQ(ExitOf(relayed), 0) << relayed.Errors();
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
    const nlohmann::json end = LastEvent(sender);
    EXPECT_EQ(end["paths"].get<std::string>().find("2 direct 127.0.0.1:"), 0U) << end;
    EXPECT_NE(end["paths"].get<std::string>().find(", 1 relay "), std::string::npos) << end;
    // Each direct receiver may have come alone: twice directly at most, once through the relay.
    EXPECT_GE(end["sent_bytes"], 2 * std::filesystem::file_size(file));
    EXPECT_LE(end["sent_bytes"], 3 * std::filesystem::file_size(file));
}

TEST_F(CTransferTest, AServerWithoutSignallingSendsPeersToTheRelayAtOnce) {
    CChildProcess relay, sender, receiver, probe;
    StartRelay(relay, "127.0.0.1", {"--max-signalling", "0", "--reflector-port", "off"});
    const std::string file = MakeFile("file", 100000);
    StartSend(sender, {file}, {"--path", "auto"});
    StartReceive(receiver, "out", {"--path", "auto"});
    EXPECT_EQ(ExitOf(receiver), 0) << receiver.Errors();
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
    EXPECT_EQ(LastEvent(receiver)["path"].get<std::string>().find("relay "), 0U);
    Run(probe, {"probe", "--mcu", Mcu(), "--wait", "1.5", "--json"});
    EXPECT_EQ(ExitOf(probe), 0) << probe.Errors();
    EXPECT_TRUE(LastEvent(probe)["same_mapping"].is_null()) << "the second port is off";
}

TEST_F(CTransferTest, ProbeTellsBothAddresses) {
    CChildProcess relay, probe;
    StartRelay(relay);
    Run(probe, {"probe", "--mcu", Mcu(), "--json", "--second", ReflectorPort(relay)});
    EXPECT_EQ(ExitOf(probe), 0) << probe.Errors();
    const nlohmann::json said = LastEvent(probe);
    EXPECT_EQ(said["lan"], said["public"]);
    EXPECT_EQ(said["public"], said["public_second"]);
    EXPECT_EQ(said["same_mapping"], true);
    EXPECT_EQ(said["translated"], false);
}

TEST_F(CTransferTest, WaitsThatAreNoNumbersAndWaysThatContradictAreRefused) {
    std::vector<Words> refused;
    for (const char* wait : {"nan", "inf", "0", "-1", "1e10", "soon"}) {
        refused.push_back({"probe", "--wait", wait});
        refused.push_back({"receive", "77", "--wait", wait});
    }
    for (const char* path : {"p2p", "p2p-tcp"})
        for (const Words& command : {Words{"receive", "77"}, {"whiteboard", "--channel", "77"}}) {
            refused.push_back(command);
            refused.back().insert(refused.back().end(), {"--path", path, "--near", "127.0.0.2"});
        }
    for (const char* medium : {"audio", "video", "desktop"})
        refused.push_back({"subscribe", medium, "77", "--path", "p2p", "--near", "127.0.0.2"});
    for (Words& words : refused) {
        CChildProcess child;
        words.insert(words.end(), {"--mcu", Mcu()});
        Run(child, words);
        EXPECT_EQ(ExitOf(child), 2) << testing::PrintToString(words);
    }
}

}  // namespace
