// Real files between real hosts behind real NATs, each in a network namespace of its own.
#include "net/net_lab.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

using lumo::CChildProcess;
using net::CNetLab;
using net::Mapping;
namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

constexpr uint64_t kDeadlineMs = 60000;
constexpr int kRelay = 10, kSenderSide = 1, kReceiverSide = 2, kPublic = 20;

void TwoNats(CNetLab& lab, Mapping sender, Mapping receiver, int lossPercent = 0, bool forwards = false) {
    lab.AddNat("na", kSenderSide, sender, lossPercent, forwards);
    lab.AddNat("nb", kReceiverSide, receiver, lossPercent);
    lab.AddHostBehind("a", "na", kSenderSide, 2);
    lab.AddHostBehind("b", "nb", kReceiverSide, 2);
}

void OneNat(CNetLab& lab) {
    lab.AddNat("na", kSenderSide, Mapping::KeepsPort);
    lab.AddHostBehind("a", "na", kSenderSide, 2);
    lab.AddHostBehind("b", "na", kSenderSide, 3);
}

void PublicSender(CNetLab& lab, Mapping receiver) {
    lab.AddPublicHost("a", kPublic);
    lab.AddNat("nb", kReceiverSide, receiver);
    lab.AddHostBehind("b", "nb", kReceiverSide, 2);
}

struct NatRow {
    const char* name;
    std::function<void(CNetLab&)> build;  // hosts a (the sender) and b
    Words send, receive;
    const char* path;  ///< what the receiver's path begins with
    const char* nat;   ///< what the receiver's probe says
    size_t megabytes = 4;
};

void PrintTo(const NatRow& row, std::ostream* out) { *out << row.name; }

const NatRow kRows[] = {
    {"BothKeepPorts",
     [](CNetLab& lab) { TwoNats(lab, Mapping::KeepsPort, Mapping::KeepsPort); },
     {},
     {},
     "direct 203.0.113.1:",
     "one mapping"},
    {"BothKeepPortsAndLoseFivePercent",
     [](CNetLab& lab) { TwoNats(lab, Mapping::KeepsPort, Mapping::KeepsPort, 5); },
     {"--path", "p2p"},
     {"--path", "p2p"},
     "direct 203.0.113.1:",
     "one mapping",
     1},
    {"TheReceiversIsRandom",
     [](CNetLab& lab) { TwoNats(lab, Mapping::KeepsPort, Mapping::Random); },
     {},
     {},
     "relay 203.0.113.10:",
     "a mapping for each"},
    {"BothAreRandom",
     [](CNetLab& lab) { TwoNats(lab, Mapping::Random, Mapping::Random); },
     {},
     {},
     "relay 203.0.113.10:",
     "a mapping for each"},
    {"BehindTheSameOne", [](CNetLab& lab) { OneNat(lab); }, {}, {}, "direct 10.0.1.2:", "one mapping"},
    {"ThePublicSenderSeesARandomOne",
     [](CNetLab& lab) { PublicSender(lab, Mapping::Random); },
     {},
     {},
     "direct 203.0.113.20:",
     "a mapping for each"},
    {"TcpBehindTheSameOne",
     [](CNetLab& lab) { OneNat(lab); },
     {"--path", "p2p-tcp"},
     {"--path", "p2p-tcp"},
     "direct 10.0.1.2:",
     "one mapping"},
    {"TcpToAPublicSender",
     [](CNetLab& lab) { PublicSender(lab, Mapping::Random); },
     {"--path", "p2p-tcp"},
     {"--path", "p2p-tcp"},
     "direct 203.0.113.20:",
     "a mapping for each"},
    {"TcpToAForwardedSender",
     [](CNetLab& lab) { TwoNats(lab, Mapping::KeepsPort, Mapping::KeepsPort, 0, true); },
     {"--path", "p2p-tcp", "--forwarded"},
     {"--path", "p2p-tcp"},
     "direct 203.0.113.1:",
     "one mapping"},
};

std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

nlohmann::json LastEvent(const CChildProcess& child) {
    const std::string text = child.Output().substr(0, child.Output().rfind('\n'));
    const size_t line = text.rfind('\n');
    return nlohmann::json::parse(line == std::string::npos ? text : text.substr(line + 1), nullptr, false);
}

class NatTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why;
        if (!CNetLab::Available(why)) {
            ASSERT_EQ(std::getenv("LUMO_REQUIRE_ALL"), nullptr) << why;
            GTEST_SKIP() << why;
        }
        std::string pattern = (fs::temp_directory_path() / "lumo-net-XXXXXX").string();
        m_folder = mkdtemp(pattern.data());
        fs::create_directories(m_folder / "out");
        lab.AddPublicHost("relay", kRelay);
    }
    void TearDown() override {
        if (!m_folder.empty()) fs::remove_all(m_folder);
    }
    void Run(CChildProcess& child, const std::string& host, Words words) {
        words.insert(words.begin(), LUMO_BUILD_DIR "/tools/lumo/lumo");
        lab.Start(child, host, words);
        ASSERT_TRUE(lab.Ok()) << lab.Problem();
    }
    void StartRelay() {
        Run(relay, "relay", {"mcu", "--http", "off"});
        ASSERT_TRUE(relay.WaitForText("listening on ", kDeadlineMs)) << relay.Errors();
    }
    void Transfer(Words send, Words receive, const char* wait = "40") {
        send.insert(send.begin(), {"send", Path("file"), "--mcu", Mcu(), "--channel", "77", "--json", "--wait", "40"});
        receive.insert(receive.begin(),
                       {"receive", "77", "--mcu", Mcu(), "--json", "--out", Path("out"), "--wait", wait});
        Run(sender, "a", send);
        ASSERT_TRUE(sender.WaitForText("\"ready\"", kDeadlineMs)) << sender.Errors();
        Run(receiver, "b", receive);
    }
    void MakeFile(size_t megabytes) {
        std::mt19937 random(7);
        std::string bytes(megabytes << 20, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        std::ofstream(Path("file"), std::ios::binary) << bytes;
    }
    void ExpectArrived() {
        ASSERT_TRUE(receiver.WaitForEnd(kDeadlineMs)) << receiver.Output() << receiver.Errors();
        ASSERT_TRUE(sender.WaitForEnd(kDeadlineMs)) << sender.Output() << sender.Errors();
        EXPECT_EQ(receiver.ExitCode(), 0) << receiver.Output() << receiver.Errors();
        EXPECT_EQ(sender.ExitCode(), 0) << sender.Output() << sender.Errors();
        EXPECT_TRUE(Content(Path("file")) == Content(Path("out/file")));
    }
    static std::string Mcu() { return "203.0.113." + std::to_string(kRelay); }
    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    CNetLab lab;
    CChildProcess relay, sender, receiver;

private:
    fs::path m_folder;
};

class NatRows : public NatTest, public ::testing::WithParamInterface<NatRow> {};

TEST_P(NatRows, TheFileArrivesByThePathThatTheNatsAllow) {
    const NatRow& row = GetParam();
    row.build(lab);
    ASSERT_TRUE(lab.Ok()) << lab.Problem();
    StartRelay();
    MakeFile(row.megabytes);
    CChildProcess probe;
    Run(probe, "b", {"probe", "--mcu", Mcu(), "--json"});
    Transfer(row.send, row.receive);
    ExpectArrived();
    const nlohmann::json end = LastEvent(receiver);
    const std::string path = end.value("path", "");
    EXPECT_EQ(path.find(row.path), 0U) << path;
    ASSERT_TRUE(probe.WaitForEnd(kDeadlineMs));
    EXPECT_EQ(LastEvent(probe).value("words", "").find(row.nat), 0U) << probe.Output() << probe.Errors();
    std::printf("%-32s %-28s first byte after %.1f s\n", row.name, path.c_str(), end.value("until_first_byte", -1.0));
}

INSTANTIATE_TEST_SUITE_P(All, NatRows, ::testing::ValuesIn(kRows), [](const auto& row) { return row.param.name; });

TEST_F(NatTest, OverTcpNobodyGetsThroughANatThatForwardsNothing) {
    TwoNats(lab, Mapping::KeepsPort, Mapping::KeepsPort);
    ASSERT_TRUE(lab.Ok()) << lab.Problem();
    StartRelay();
    MakeFile(1);
    Transfer({"--path", "p2p-tcp"}, {"--path", "p2p-tcp"}, "4");
    ASSERT_TRUE(receiver.WaitForEnd(kDeadlineMs));
    EXPECT_EQ(receiver.ExitCode(), 3) << receiver.Output() << receiver.Errors();
}

TEST_F(NatTest, WhenTheDirectPathDiesTheRelayCarriesTheRest) {
    TwoNats(lab, Mapping::KeepsPort, Mapping::KeepsPort);
    ASSERT_TRUE(lab.Ok()) << lab.Problem();
    StartRelay();
    MakeFile(6);
    Transfer({"--rate", "2M"}, {});
    ASSERT_TRUE(receiver.WaitForText("direct 203.0.113.1:", kDeadlineMs)) << receiver.Output() << receiver.Errors();
    ASSERT_TRUE(receiver.WaitForText("\"event\":\"progress\"", kDeadlineMs));
    lab.Cut(kSenderSide, kReceiverSide);
    ASSERT_TRUE(lab.Ok()) << lab.Problem();
    ExpectArrived();
    const nlohmann::json end = LastEvent(receiver);
    EXPECT_EQ(end.value("path", "").find("relay "), 0U) << end;
    // What had come directly was not sent again, but for what was on its way.
    EXPECT_LT(LastEvent(sender).value("sent_bytes", uint64_t{0}), uint64_t{10} << 20);
}

}  // namespace
