// A file through a relay server over paths that are slow, far or lossy: it arrives, and no link is made anew. Over wide
// sessions it fills them.
#include "sim/tcp_path.h"
#include "sim/wide_end.h"
#include "tools/lumo/net/relay_link.h"
#include "tools/lumo/transfer/file_folder.h"
#include "tools/lumo/transfer/file_source.h"
#include "tools/lumo/transfer/limits.h"
#include "tools/lumo/transfer/receive_engine.h"
#include "tools/lumo/transfer/send_engine.h"

#include <gtest/gtest.h>

#include <iterator>
#include <list>
#include <optional>
#include <ostream>
#include <tuple>

using namespace lumo;

namespace sim {
namespace {

constexpr uint32_t kChannel = 77;
constexpr Address kSender{0x0a000001, 5001}, kReceiver{0x0a000002, 5002};
/// The sender's name for the server: the links of this process are counted by the addresses that they lead to.
constexpr Address kServerOfSender{0x7f000002, kServer.port};

RelayRoute RouteTo(Address server, bool tcp) {
    RelayRoute route;
    route.mcu.port = server.port;
    route.mcu.ips[0] = server.ip;
    route.tcp = tcp;
    route.channel = kChannel;
    return route;
}

std::vector<std::unique_ptr<IFileSource>> OneFile(size_t length) {
    CFileDescriptor fd = MakeSpoolFile();
    std::string bytes(length, 'x');
    for (size_t i = 0; i < length; i += 7) bytes[i] = static_cast<char>(i >> 8);
    EXPECT_EQ(write(fd.Get(), bytes.data(), length), static_cast<ssize_t>(length));
    auto source = std::make_unique<CFileSource>(std::move(fd), "file");
    std::string problem;
    EXPECT_TRUE(source->Open(problem)) << problem;
    std::vector<std::unique_ptr<IFileSource>> files;
    files.push_back(std::move(source));
    return files;
}

/// A process of `lumo` with one link; its loop turns when it said that it would, and when something came.
template <class TLink>
class CLinkNode : public CNode {
public:
    CLinkNode(CWorld& world, CFakeNet& net, Address self, Address server, bool tcp, int longest)
        : CNode(world, net, self), m_inbox(m_wake, longest, 32 << 20) {
        Do([&] { link = std::make_unique<TLink>(RouteTo(server, tcp), m_inbox); });
    }
    ~CLinkNode() override {
        Do([&] { link.reset(); });
        Release();
    }

    std::unique_ptr<TLink> link;

protected:
    virtual uint64_t Loop(uint64_t now) = 0;
    template <class TEngine>
    void GiveFrames(TEngine& engine, uint64_t now) {
        std::string frame;
        while (m_inbox.Pop(frame))
            if (engine.OnFrame(frame.data(), frame.size(), now)) link->OnSignOfLife(now);
    }
    void OnTurn() override {
        constexpr uint64_t kBegan = 1000;  // the loop's clock is not the world's
        const uint64_t now = m_world.Elapsed();
        if (now < m_ullNext) return;
        m_ullNext = now + std::clamp<uint64_t>(Loop(now + kBegan), 1, 5);
    }

private:
    CWake m_wake;
    CInbox m_inbox;
    uint64_t m_ullNext = 0;
};

class CSendNode final : public CLinkNode<CPublishLink> {
public:
    CSendNode(CWorld& world, CFakeNet& net, bool tcp, size_t bytes)
        : CLinkNode(world, net, kSender, kServerOfSender, tcp, kMaxUpstreamFrame), engine(7, OneFile(bytes), {}) {}

    CSendEngine engine;

private:
    Address Seen(Address from) const override { return from == kServer ? kServerOfSender : from; }
    uint64_t Loop(uint64_t now) override {
        GiveFrames(engine, now);
        if (link->Poll(now)) engine.OnLinkReady();
        return engine.Tick(now, *link);
    }
};

class CReceiveNode final : public CLinkNode<CSubscribeLink> {
public:
    CReceiveNode(CWorld& world, CFakeNet& net, bool tcp)
        : CLinkNode(world, net, kReceiver, kServer, tcp, kMaxDownstreamFrame), engine(9, m_folder, 600000) {}

private:
    uint64_t Loop(uint64_t now) override {
        if (link->Poll(now)) engine.OnLinkReady();
        GiveFrames(engine, now);
        engine.OnArrived(link->ArrivedBytes(), now);
        return engine.Tick(now, *link);
    }

    CSpoolFolder m_folder;

public:
    CReceiveEngine engine;
};

struct SlowRow {
    const char* name;
    PathQuality path;
    uint32_t blocks = 16;
};

const SlowRow kRows[] = {
    // bytes a millisecond, milliseconds one way, lost of a thousand
    {"Kbit16", {2, 20, 0}},          {"Kbit64", {8, 20, 0}},
    {"Kbit170", {21.25, 20, 0}},     {"RoundTrip800ms", {125, 400, 0}},
    {"RoundTrip2s", {125, 1000, 0}}, {"RoundTrip300msTwentiethLost", {125, 150, 50}},
    {"TenthLost", {125, 20, 100}},   {"Kbit64RoundTrip800msTenthLost", {8, 400, 100}},
};

std::ostream& operator<<(std::ostream& out, const SlowRow& row) { return out << row.name; }
enum class Way { Tcp, Udp, Wide };
using SlowCase = std::tuple<SlowRow, Way, bool>;  // and whether its sender is the slow one

class CSlowPath : public testing::TestWithParam<SlowCase> {
protected:
    CSlowPath() {
        MakeSlow(Self(), Far());
        MakeSlow(kServer, Self());
        world.Attach(kServerOfSender, [this](const std::string& bytes, Address from) { server.Hear(bytes, from); });
        world.AddTurn([this] { return RunTcp(); });
    }
    static const PathQuality& Path() { return std::get<0>(GetParam()).path; }
    static bool Tcp() { return std::get<1>(GetParam()) == Way::Tcp; }
    static bool SlowSender() { return std::get<2>(GetParam()); }
    static Address Self() { return SlowSender() ? kSender : kReceiver; }
    static Address Far() { return SlowSender() ? kServerOfSender : kServer; }
    void MakeSlow(Address from, Address to) {
        world.AddFault(from, to, Bottleneck(Path().bytesPerMs, 1000));
        world.AddFault(from, to, Loss(Path().lossPermille));
        world.AddFault(from, to, Delay(Path().oneWayMs, Path().oneWayMs));
    }
    bool RunTcp() {
        for (; m_nKnown < net.clients.size(); ++m_nKnown) {
            CFakeTcp& client = *net.clients[m_nKnown];
            const bool sends = client.dialledHost == "127.0.0.2";
            client.counts = true;
            client.remoteIP = sends ? kServerOfSender.ip : kServer.ip;
            CNode& node = sends ? static_cast<CNode&>(sender) : *receiver;
            paths.emplace_back(world, net, node, client, server, sends == SlowSender() ? Path() : PathQuality());
        }
        bool any = false;
        for (CTcpPath& path : paths) any = path.Run() || any;
        return any;
    }

    void BeginTransfer() {
        ASSERT_TRUE(world.RunUntil([&] { return sender.link->IsTaken(); }, [] { return uint64_t{20000}; }));
        receiver.emplace(world, net, Tcp());
    }

    static size_t Bytes() { return size_t{std::get<0>(GetParam()).blocks} * kBlockSize; }
    CWideSessions wide{std::get<1>(GetParam()) == Way::Wide};
    CWorld world{1};
    CFakeNet net;
    CServerNode server{world, net};
    std::list<CTcpPath> paths;
    CSendNode sender{world, net, Tcp(), Bytes()};
    std::optional<CReceiveNode> receiver;

private:
    size_t m_nKnown = 0;
};

TEST_P(CSlowPath, TheFileArrivesAndNoLinkIsMadeAnew) {
    BeginTransfer();
    world.RunUntil([&] { return receiver->engine.Over(); }, [] { return uint64_t{3600000}; });
    EXPECT_EQ(receiver->engine.State(), ReceiveState::Done) << receiver->engine.Problem();
    EXPECT_EQ(receiver->engine.Progress().heldBytes, Bytes());
    EXPECT_EQ(sender.link->Remakes(), 0);
    EXPECT_EQ(receiver->link->Remakes(), 0);
}

std::string NameOf(const testing::TestParamInfo<SlowCase>& info) {
    const auto& [row, way, slowSender] = info.param;
    const char* const name = way == Way::Tcp ? "Tcp" : way == Way::Udp ? "Udp" : "Wide";
    return std::string(row.name) + name + (slowSender ? "Sender" : "Receiver");
}

INSTANTIATE_TEST_SUITE_P(Rows, CSlowPath,
                         testing::Combine(testing::ValuesIn(kRows), testing::Values(Way::Tcp, Way::Udp),
                                          testing::Bool()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Wide, CSlowPath,
                         testing::Combine(testing::ValuesIn(kRows), testing::Values(Way::Wide), testing::Bool()),
                         NameOf);

using CDeadPath = CSlowPath;

TEST_P(CDeadPath, TheLinkIsMadeAnewAndTheRestArrives) {
    BeginTransfer();
    const auto within = [this](uint64_t milliseconds, const std::function<bool()>& done) {
        const uint64_t until = world.Elapsed() + milliseconds;
        return world.RunUntil(done, [until] { return until; });
    };
    ASSERT_TRUE(within(60000, [&] { return receiver->engine.Progress().heldBytes >= 2 * kBlockSize; }));
    const CLink& link = SlowSender() ? static_cast<const CLink&>(*sender.link) : *receiver->link;
    const uint64_t cut = world.Elapsed();
    world.AddFault(Self(), Far(), Outage(cut, cut + 20000));
    world.AddFault(kServer, Self(), Outage(cut, cut + 20000));
    EXPECT_TRUE(within(SlowSender() ? 15000 : 5000, [&] { return link.Remakes() > 0 || !link.IsUp(); }));
    EXPECT_TRUE(within(300000, [&] { return receiver->engine.Over(); }));
    EXPECT_EQ(receiver->engine.State(), ReceiveState::Done) << receiver->engine.Problem();
}

INSTANTIATE_TEST_SUITE_P(Udp, CDeadPath,
                         testing::Combine(testing::Values(kRows[2]), testing::Values(Way::Udp, Way::Wide),
                                          testing::Bool()),
                         NameOf);

/// The same on the other side of the server, too.
class CLongPath : public CSlowPath {
protected:
    CLongPath() {
        MakeSlow(kReceiver, kServer);
        MakeSlow(kServer, kReceiver);
    }
};

TEST_P(CLongPath, IsFilledOnBothSidesOfTheServer) {
    BeginTransfer();
    const auto until = [this](uint64_t bytes) {
        world.RunUntil([&] { return receiver->engine.Progress().heldBytes >= bytes; }, [] { return uint64_t{20000}; });
        return world.Elapsed();
    };
    const uint64_t half = until(Bytes() / 2);
    const double bytesPerMs = static_cast<double>(Bytes()) / 2 / static_cast<double>(until(Bytes()) - half);
    EXPECT_GT(bytesPerMs, 0.7 * Path().bytesPerMs);
    RecordProperty("bytes per ms", static_cast<int>(bytesPerMs));
}

const SlowRow kLongRow{"Mbit100RoundTrip75msHundredthLost", {12500, 37, 10}, 400};
INSTANTIATE_TEST_SUITE_P(Wide, CLongPath,
                         testing::Combine(testing::Values(kLongRow), testing::Values(Way::Wide), testing::Values(true)),
                         NameOf);

}  // namespace
}  // namespace sim
