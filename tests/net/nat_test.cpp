// Real files between real hosts behind real NATs, each in a network namespace of its own.
#include "net/net_lab.h"
#include "support/program_test.h"

#include <cstdlib>

using net::CNetLab;
using net::Mapping;

namespace {

constexpr int kRelay = 10, kSenderSide = 1, kReceiverSide = 2, kPublic = 20;

void TwoNats(CNetLab& lab, Mapping receiver, int lossPercent, bool forwards) {
    lab.AddNat("na", kSenderSide, Mapping::KeepsPort, lossPercent, forwards);
    lab.AddNat("nb", kReceiverSide, receiver, lossPercent);
    lab.AddHostBehind("a", "na", kSenderSide, 2);
    lab.AddHostBehind("b", "nb", kReceiverSide, 2);
}
void Two(CNetLab& lab) { TwoNats(lab, Mapping::KeepsPort, 0, false); }
void TwoThatLose(CNetLab& lab) { TwoNats(lab, Mapping::KeepsPort, 5, false); }
void TwoAndOneIsRandom(CNetLab& lab) { TwoNats(lab, Mapping::Random, 0, false); }
void TwoAndOneForwards(CNetLab& lab) { TwoNats(lab, Mapping::Random, 0, true); }
void One(CNetLab& lab) {
    lab.AddNat("na", kSenderSide, Mapping::KeepsPort);
    lab.AddHostBehind("a", "na", kSenderSide, 2);
    lab.AddHostBehind("b", "na", kSenderSide, 3);
}
void OnlyTheReceivers(CNetLab& lab) {
    lab.AddPublicHost("a", kPublic);
    lab.AddNat("nb", kReceiverSide, Mapping::Random);
    lab.AddHostBehind("b", "nb", kReceiverSide, 2);
}

struct NatRow {
    const char* name;
    void (*build)(CNetLab&);  // hosts a (the sender) and b
    const char *send, *receive;
    const char* path;  // what the receiver's path begins with; none: it gets nothing
    const char* nat;   // what the receiver's probe says
};
void PrintTo(const NatRow& row, std::ostream* out) { *out << row.name; }

constexpr const char *kP2P = "--path p2p", *kTcp = "--path p2p-tcp", *kOne = "one mapping",
                     *kEach = "a mapping for each",
                     *kSlowly = "--rate 150k";  // the relay has not carried all before the direct path stands

const NatRow kRows[] = {
    {"BothKeepPortsAndLose", TwoThatLose, kP2P, kP2P, "direct 203.0.113.1:", kOne},
    {"TheReceiversIsRandom", TwoAndOneIsRandom, "", "", "relay 203.0.113.10:", kEach},
    {"BehindTheSameOne", One, kSlowly, "", "direct 10.0.1.2:", kOne},
    {"ThePublicSenderSeesARandomOne", OnlyTheReceivers, kSlowly, "", "direct 203.0.113.20:", kEach},
    {"TcpToAPublicSender", OnlyTheReceivers, kTcp, kTcp, "direct 203.0.113.20:", kEach},
    {"TcpToAForwardedSender", TwoAndOneForwards, "--forwarded --path p2p-tcp", "--tcp", "direct 203.0.113.1:", kEach},
    {"TcpThroughNatsThatForwardNothing", Two, kTcp, "--path p2p-tcp --wait 4", "", kOne},
};

class Nats : public CProgramTest {
protected:
    /// Where namespaces can be made: the hosts, a relay, the programs of both sides.
    void SetUp() override {
        std::string why;
        if (!CNetLab::Available(why)) {
            ASSERT_EQ(std::getenv("LUMO_REQUIRE_ALL"), nullptr) << why;
            GTEST_SKIP() << why;
        }
        lab.AddPublicHost("relay", kRelay);
    }
    Process& In(const std::string& host, const std::string& words) { return Start(lab.At(host), kLumo, words); }
    void Begin(void (*build)(CNetLab&), size_t megabytes, const std::string& send, const std::string& receive) {
        build(lab);
        ASSERT_TRUE(lab.Ok()) << lab.Problem();
        ASSERT_TRUE(Says(In("relay", "mcu --http off"), "listening on "));
        folder.Put("file", RandomBytes(megabytes << 20));
        std::filesystem::create_directory(folder / "out");
        sender = &In("a", "send file --channel 77 --plain --receivers 1 --json --wait 40 --mcu 203.0.113.10 " + send);
        ASSERT_TRUE(Says(*sender, "\"ready\""));
        receiver = &In("b", "receive 77 --json --out out --mcu 203.0.113.10 " + receive);
    }
    void ExpectArrivedBy(const std::string& path) {
        EXPECT_EQ(PathOf(End(*receiver)).find(path), 0U) << receiver->Output();
        End(*sender);
        EXPECT_TRUE(folder.Get("out/file") == folder.Get("file"));
    }

    CNetLab lab;
    Process *sender = nullptr, *receiver = nullptr;
};

class NatRows : public Nats, public ::testing::WithParamInterface<NatRow> {};

TEST_P(NatRows, TheFileArrivesByThePathThatTheNatsAllow) {
    const NatRow& row = GetParam();
    Begin(row.build, 1, row.send, row.receive);
    Process& probe = In("b", "probe --json --mcu 203.0.113.10");
    if (*row.path)
        ExpectArrivedBy(row.path);
    else
        End(*receiver, 3);
    EXPECT_EQ(End(probe).value("words", "").find(row.nat), 0U) << probe.Output();
}

INSTANTIATE_TEST_SUITE_P(All, NatRows, ::testing::ValuesIn(kRows), [](const auto& row) { return row.param.name; });

TEST_F(Nats, WhenTheDirectPathDiesTheRelayCarriesTheRest) {
    Begin(Two, 6, "--rate 1M", "");
    ASSERT_TRUE(Says(*receiver, "direct 203.0.113.1:") && Says(*receiver, "\"event\":\"progress\""));
    lab.Cut(kSenderSide, kReceiverSide);
    ASSERT_TRUE(lab.Ok()) << lab.Problem();
    ExpectArrivedBy("relay ");
    // What had come directly was not sent again, but for what was on its way.
    EXPECT_LT(LastEvent(*sender).value("sent_bytes", uint64_t{0}), uint64_t{10} << 20);
}

}  // namespace
