// Two hosts look for each other: which NATs and which signalling let them, and what it costs.
#include "sim/p2p_host.h"
#include "support/session_wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim {
namespace {

constexpr uint32_t kAlice = 7;
constexpr uint32_t kBob = 8;
constexpr uint32_t kReflectorIP = 0xc6336401;  // 198.51.100.1
constexpr uint32_t kPrivateNets = 0xc0a80000;  // 192.168.0.0
constexpr uint16_t kReflectorPort = 7000;
constexpr uint32_t kInternetDelay = 10;
constexpr uint32_t kLanDelay = 1;

enum class State { Unknown, Negotiating, Connected, Failed };
enum class Path { None, Public, Lan };
using Nats = std::vector<NatKind>;
/// What happens to the command packets of one direction, by number from 1: how many ms late, or lost.
using Signals = std::map<uint64_t, uint32_t>;

struct NatRow {
    const char* name;
    Nats alice, bob;       // from the host outwards; none: a public address
    bool sharedOutermost;  // the last one is the same box
    State aliceState, bobState;
    int aliceProbes, bobProbes;
    Path path;  // by which address Bob's channel reached Alice
    Signals fromAlice, fromBob;
    uint32_t signalDelay = 50;                                    // ms
    std::optional<uint32_t> aliceCallsAgain = {}, bobCalls = {};  // ms after the first time
};

void PrintTo(const NatRow& row, std::ostream* out) { *out << row.name; }

/// The internet with a reflector on two ports, and the two hosts wherever a row puts them.
class CScene {
public:
    explicit CScene(const NatRow& row) : m_internet(world, ++m_usNetworks, kInternetDelay) {
        m_internet.Join(kReflectorIP, [this](const Packet& packet) { Reflect(packet); });
        const uint32_t shared = row.sharedOutermost ? 1 : 0;
        CNetwork& common = row.sharedOutermost ? Behind(m_internet, row.alice.back()) : m_internet;
        alice = Place(common, row.alice, shared, kAlice);
        bob = Place(common, row.bob, shared, kBob);
        Signalling(kAlice, kBob, row.fromAlice, row.signalDelay);
        Signalling(kBob, kAlice, row.fromBob, row.signalDelay);
    }

    /// Both learn their public addresses, and whether another target sees the same one.
    void LearnAddresses() {
        for (uint16_t port : {kReflectorPort, static_cast<uint16_t>(kReflectorPort + 1)}) {
            for (CP2PHost* host : {alice.get(), bob.get()})
                host->Do([&] { host->p2p->SetSunServer(kReflectorIP, port); });
            world.RunFor(1500);
        }
    }

    CFakeNet net;
    CWorld world{1};

private:
    CNetwork& NewNetwork(uint32_t delay) {
        m_networks.push_back(std::make_unique<CNetwork>(world, ++m_usNetworks, delay));
        return *m_networks.back();
    }
    /// A new network behind a NAT.
    CNetwork& Behind(CNetwork& outside, const NatKind& kind) {
        CNetwork& inside = NewNetwork(kLanDelay);
        m_nats.push_back(std::make_unique<CNat>(inside, outside, NewAddress(outside), kind));
        return inside;
    }
    std::unique_ptr<CP2PHost> Place(CNetwork& common, const Nats& nats, size_t shared, uint32_t user) {
        CNetwork* network = &common;
        for (size_t i = nats.size() - shared; i-- > 0;) network = &Behind(*network, nats[i]);
        return std::make_unique<CP2PHost>(world, net, *network, NewAddress(*network), user);
    }
    uint32_t NewAddress(const CNetwork& network) {
        return (&network == &m_internet ? kReflectorIP : kPrivateNets) + ++m_ulAddresses;
    }
    void Signalling(uint32_t from, uint32_t to, const Signals& signals, uint32_t delay) {
        const Address source{from, CP2PHost::kSignalling}, target{to, CP2PHost::kSignalling};
        world.AddFault(source, target, Delay(delay, delay));
        world.AddFault(source, target, Nth(signals));
    }
    void Reflect(const Packet& packet) {
        using session_wire::U32;
        const std::string port = U32(packet.from.port).substr(2);
        if (packet.bytes == "\7") m_internet.Send({packet.to, packet.from, "\7" + U32(packet.from.ip) + port});
    }

    uint16_t m_usNetworks = CP2PHost::kSignalling;
    uint32_t m_ulAddresses = 0;
    CNetwork m_internet;
    std::vector<std::unique_ptr<CNetwork>> m_networks;
    std::vector<std::unique_ptr<CNat>> m_nats;

public:
    std::unique_ptr<CP2PHost> alice, bob;  // the first to go
};

// Three probes to each address for each of a host's attempts; a host without a NAT has one address, others two.
std::vector<NatRow> NatScenarioRows() {
    const Nats open, full{kFullCone}, restricted{kRestricted}, port{kPortRestricted}, symmetric{kSymmetric};
    const Nats two{kPortRestricted, kPortRestricted}, mixed{kRestricted, kPortRestricted}, outer{kHairpin};
    const Nats coneInside{kFullCone, kPortRestricted}, coneOutside{kPortRestricted, kFullCone};
    const Nats symmetricInside{kSymmetric, kPortRestricted};
    const Nats hairpin{kPortRestricted, kHairpin}, coneHairpin{kFullCone, kHairpin};
    const auto C = State::Connected, F = State::Failed;
    return {
        // name, alice, bob, shared, alice's and bob's state, their probes, path
        {"Open", open, open, false, C, C, 6, 6, Path::Public},
        {"FullCone", full, full, false, C, C, 12, 12, Path::Public},
        {"Restricted", restricted, restricted, false, C, C, 12, 12, Path::Public},
        {"PortRestricted", port, port, false, C, C, 12, 12, Path::Public},
        {"SymmetricAndOpen", symmetric, open, false, C, C, 6, 12, Path::Public},
        {"OpenAndSymmetric", open, symmetric, false, C, C, 12, 6, Path::Public},
        {"SymmetricAndFullCone", symmetric, full, false, C, C, 12, 12, Path::Public},
        {"SymmetricAndRestricted", symmetric, restricted, false, C, C, 12, 12, Path::Public},
        {"SymmetricAndPortRestricted", symmetric, port, false, F, F, 18, 18, Path::None},
        {"PortRestrictedAndSymmetric", port, symmetric, false, F, F, 18, 18, Path::None},
        {"Symmetric", symmetric, symmetric, false, F, F, 18, 18, Path::None},
        {"SameNat", port, port, true, C, C, 12, 12, Path::Lan},
        {"SameSymmetricNat", symmetric, symmetric, true, C, C, 12, 12, Path::Lan},
        {"SameNatWithHairpin", outer, outer, true, C, C, 12, 12, Path::Lan},
        {"DoubleNat", two, full, false, C, C, 12, 12, Path::Public},
        {"DoubleNatOnBothSides", coneOutside, mixed, false, C, C, 12, 12, Path::Public},
        {"DoubleNatWithASymmetricOne", symmetricInside, port, false, F, F, 18, 18, Path::None},
        {"DoubleNatBehindOneBox", two, coneInside, true, F, F, 18, 18, Path::None},
        {"DoubleNatBehindOneBoxWithHairpin", hairpin, coneHairpin, true, C, C, 12, 12, Path::Public},
    };
}

std::vector<NatRow> SignallingRows() {
    const Nats open, port{kPortRestricted};
    const auto U = State::Unknown, N = State::Negotiating, C = State::Connected;
    return {
        {"SlowSignalling", port, port, false, C, C, 12, 12, Path::Public, {}, {}, 2000},
        // All attempts are made before the first probe arrives.
        {"SignallingFasterThanThePath", port, port, false, C, C, 18, 18, Path::Public, {}, {}, 1},
        {"StartLost", port, port, false, U, U, 0, 0, Path::None, {{1, kLost}}, {}},
        {"StartAckLost", port, port, false, U, N, 0, 6, Path::None, {}, {{1, kLost}}},
        {"StartAckLostButAliceOpen", open, port, false, U, C, 0, 3, Path::None, {}, {{1, kLost}}},
        {"StartAckLostAndCalledAgain", port, port, false, C, C, 12, 18, Path::Public, {}, {{1, kLost}}, 50, 1000},
        {"CommandLost", port, port, false, C, C, 6, 6, Path::Public, {{2, kLost}}, {}},
        {"CommandAckLost", port, port, false, C, C, 6, 12, Path::Public, {}, {{2, kLost}}},
        // The second call overtakes the first, whose late arrival starts both anew.
        {"CallsReordered", port, port, false, C, C, 24, 24, Path::Public, {{1, 100}}, {}, 50, 10},
        {"BothCall", port, port, false, C, C, 24, 24, Path::Public, {}, {}, 50, {}, 0},
        // He knows her already and sends his probes at once, before her answer.
        {"BobCallsLater", port, port, false, C, C, 24, 30, Path::Public, {}, {}, 50, {}, 1000},
    };
}

class PeersFindEachOther : public testing::TestWithParam<NatRow> {};

bool HasSymmetric(const Nats& nats) {
    return std::any_of(nats.begin(), nats.end(), [](const NatKind& kind) { return kind.mappingPerTarget; });
}

TEST_P(PeersFindEachOther, AsFarAsTheirNatsAndSignallingLetThem) {
    const NatRow& row = GetParam();
    CScene scene(row);
    CP2PHost &alice = *scene.alice, &bob = *scene.bob;
    scene.LearnAddresses();
    for (CP2PHost* host : {&alice, &bob}) {
        ASSERT_EQ(host->natAddresses.size(), 2U) << "one answer of each reflector port, and no question after it";
        const bool symmetric = HasSymmetric(host == &alice ? row.alice : row.bob);
        EXPECT_EQ(host->natAddresses[0] == host->natAddresses[1], !symmetric);
    }

    constexpr uint32_t kRun = 12000, kPoll = 500;
    bool gone = false;
    alice.Do([&] { alice.receiver = alice.app->PeerReceiver(false); });
    for (uint32_t now = 0; now < kRun; now += 10) {
        if (row.aliceCallsAgain == now) alice.Do([&] { alice.p2p->StartP2PCaller(kBob); });
        if (row.bobCalls == now) bob.Do([&] { bob.p2p->StartP2PCaller(kAlice); });
        scene.world.RunFor(10);
        if (now % kPoll == 0 && now > 0 && !gone) alice.Do([&] { gone = alice.receiver.IsDisconnected(); });
    }
    P2PPeer known{};
    const auto stateOf = [&known](CP2PHost& host, uint32_t user) {
        bool any = false;
        host.Do([&] { any = GetP2PPeer(user, known); });
        return any ? static_cast<State>(known.byState + 1) : State::Unknown;
    };
    EXPECT_EQ(stateOf(bob, kAlice), row.bobState);
    EXPECT_EQ(stateOf(alice, kBob), row.aliceState);
    EXPECT_EQ(alice.probes, row.aliceProbes);
    EXPECT_EQ(bob.probes, row.bobProbes);
    EXPECT_EQ(gone, row.aliceState == State::Failed) << "whoever still negotiates waits";

    bob.Do([&] { bob.app->Write("from bob"); });
    scene.world.RunFor(1000);
    const std::vector<uint32_t> reached{row.path == Path::Lan ? bob.ip : bob.natAddresses[0].first};
    EXPECT_EQ(alice.app->connected, row.path == Path::None ? std::vector<uint32_t>() : reached);
    EXPECT_EQ(alice.app->delivered, std::vector<std::string>(row.path == Path::None ? 0 : 1, "from bob"));
    if (row.path == Path::None) return;
    const std::pair heard(known.ulHeardIP, known.usHeardPort);
    const std::pair lan(known.ulLocalIP, known.usLocalUDPPort), outer(known.ulNATIP, known.usNATUDPPort);
    EXPECT_TRUE(heard == outer || heard == lan) << heard.first << ":" << heard.second;
}

std::string RowName(const testing::TestParamInfo<NatRow>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Nats, PeersFindEachOther, testing::ValuesIn(NatScenarioRows()), RowName);
INSTANTIATE_TEST_SUITE_P(Signalling, PeersFindEachOther, testing::ValuesIn(SignallingRows()), RowName);

}  // namespace
}  // namespace sim
