// A file through a relay server over paths that are slow, far or lossy: it arrives, and no link is made anew.
#include "sim/tcp_path.h"
#include "tools/lumo/net/relay_link.h"
#include "tools/lumo/transfer/file_folder.h"
#include "tools/lumo/transfer/file_source.h"
#include "tools/lumo/transfer/limits.h"
#include "tools/lumo/transfer/receive_engine.h"
#include "tools/lumo/transfer/send_engine.h"

#include <gtest/gtest.h>

#include <list>
#include <optional>

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
class CLinkNode : public CNode {
public:
    CLinkNode(CWorld& world, CFakeNet& net, Address address) : CNode(world, net, address, MakeClient) {}
    virtual const CChannelLink& Link() const = 0;

protected:
    static constexpr uint64_t kBegan = 1000;  // the loop's clock is not the world's
    static constexpr size_t kInboxBytes = 32 << 20;

    virtual uint64_t Loop(uint64_t now) = 0;
    void OnTurn() override {
        const uint64_t now = m_world.Elapsed();
        if (now < m_ullNext) return;
        m_ullNext = now + std::clamp<uint64_t>(Loop(now + kBegan), 1, 5);
    }

    CWake m_wake;

private:
    uint64_t m_ullNext = 0;
};

class CSendNode final : public CLinkNode {
public:
    CSendNode(CWorld& world, CFakeNet& net, bool tcp, size_t bytes)
        : CLinkNode(world, net, kSender),
          m_inbox(m_wake, kMaxUpstreamFrame, kInboxBytes),
          engine(7, OneFile(bytes), {}) {
        Do([&] { m_pLink = std::make_unique<CPublishLink>(RouteTo(kServerOfSender, tcp), m_inbox); });
    }
    ~CSendNode() override {
        Do([&] { m_pLink.reset(); });
        Release();
    }
    const CChannelLink& Link() const override { return *m_pLink; }

private:
    Address Seen(Address from) const override { return from == kServer ? kServerOfSender : from; }
    uint64_t Loop(uint64_t now) override {
        std::string frame;
        while (m_inbox.Pop(frame))
            if (engine.OnFrame(frame.data(), frame.size(), now)) m_pLink->OnSignOfLife(now);
        if (m_pLink->Poll(now)) engine.OnLinkReady();
        return engine.Tick(now, *m_pLink);
    }

    CInbox m_inbox;
    std::unique_ptr<CPublishLink> m_pLink;

public:
    CSendEngine engine;
};

class CReceiveNode final : public CLinkNode {
public:
    CReceiveNode(CWorld& world, CFakeNet& net, bool tcp)
        : CLinkNode(world, net, kReceiver),
          m_inbox(m_wake, kMaxDownstreamFrame, kInboxBytes),
          engine(9, m_folder, 600000) {
        Do([&] { m_pLink = std::make_unique<CSubscribeLink>(RouteTo(kServer, tcp), m_inbox); });
    }
    ~CReceiveNode() override {
        Do([&] { m_pLink.reset(); });
        Release();
    }
    const CChannelLink& Link() const override { return *m_pLink; }

private:
    uint64_t Loop(uint64_t now) override {
        if (m_pLink->Poll(now)) engine.OnLinkReady();
        std::string frame;
        while (m_inbox.Pop(frame))
            if (engine.OnFrame(frame.data(), frame.size(), now)) m_pLink->OnSignOfLife(now);
        engine.OnArrived(m_pLink->ArrivedBytes(), now);
        return engine.Tick(now, *m_pLink);
    }

    CInbox m_inbox;
    CSpoolFolder m_folder;
    std::unique_ptr<CSubscribeLink> m_pLink;

public:
    CReceiveEngine engine;
};

struct SlowRow {
    const char* name;
    double kbit;
    uint32_t roundTripMs;
    uint32_t lossPermille;
};

const SlowRow kRows[] = {
    {"16 kbit/s", 16, 40, 0},
    {"64 kbit/s", 64, 40, 0},
    {"170 kbit/s", 170, 40, 0},
    {"0.8 s round trip", 1000, 800, 0},
    {"2 s round trip", 1000, 2000, 0},
    {"10 % loss", 1000, 40, 100},
    {"64 kbit/s, 0.8 s, 10 % loss", 64, 800, 100},
};

struct SlowCase {
    SlowRow row;
    bool tcp;
    bool slowSender;
};

class CSlowPath : public testing::TestWithParam<SlowCase> {
protected:
    CSlowPath() {
        for (Address from : {kSender, kReceiver}) {
            const Address to = from == kSender ? kServerOfSender : kServer;
            const bool slow = GetParam().slowSender == (from == kSender);
            if (slow) MakeSlow(from, to);
        }
        world.Attach(kServerOfSender, [this](const std::string& bytes, Address from) { server.Hear(bytes, from); });
        world.AddTurn([this] { return RunTcp(); });
    }
    void MakeSlow(Address from, Address to) {
        const PathQuality& slow = Slow();
        for (const auto& [here, there] : {std::pair{from, to}, std::pair{from == kSender ? kServer : to, from}}) {
            world.AddFault<CBottleneck>(here, there, slow.bytesPerMs, 1000U);
            world.AddFault<CRandomLoss>(here, there, slow.lossPermille);
            world.AddFault<CDelaySpread>(here, there, slow.oneWayMs, slow.oneWayMs);
        }
    }
    static PathQuality Slow() {
        const SlowRow& row = GetParam().row;
        return {row.kbit / 8, row.roundTripMs / 2, row.lossPermille};
    }
    bool RunTcp() {
        for (; m_nKnown < net.clients.size(); ++m_nKnown) {
            CFakeTcp& client = *net.clients[m_nKnown];
            const bool sends = client.dialledHost == "127.0.0.2";
            client.counts = true;
            client.remoteIP = sends ? kServerOfSender.ip : kServer.ip;
            CNode& node = sends ? static_cast<CNode&>(sender) : *receiver;
            paths.emplace_back(world, net, node, client, server, listener,
                               sends == GetParam().slowSender ? Slow() : PathQuality());
        }
        bool any = false;
        for (CTcpPath& path : paths) any = path.Run() || any;
        return any;
    }

    void BeginTransfer() {
        ASSERT_TRUE(world.RunUntil([&] { return sender.Link().IsTaken(); }, [] { return uint64_t{20000}; }));
        receiver.emplace(world, net, GetParam().tcp);
    }

    static constexpr size_t kBytes = 16 * kBlockSize;
    CWorld world{1};
    CFakeNet net;
    CServerNode server{world, net};
    CFakeTcpServer& listener = net.TcpServer();
    std::list<CTcpPath> paths;
    CSendNode sender{world, net, GetParam().tcp, kBytes};
    std::optional<CReceiveNode> receiver;

private:
    size_t m_nKnown = 0;
};

TEST_P(CSlowPath, TheFileArrivesAndNoLinkIsMadeAnew) {
    BeginTransfer();
    world.RunUntil([&] { return receiver->engine.Over(); }, [] { return uint64_t{3600000}; });
    EXPECT_EQ(receiver->engine.State(), ReceiveState::Done) << receiver->engine.Problem();
    EXPECT_EQ(receiver->engine.Progress().heldBytes, kBytes);
    EXPECT_EQ(sender.Link().Remakes(), 0);
    EXPECT_EQ(receiver->Link().Remakes(), 0);
}

std::vector<SlowCase> Cases() {
    std::vector<SlowCase> cases;
    for (const SlowRow& row : kRows)
        for (const bool tcp : {false, true})
            for (const bool slowSender : {false, true}) cases.push_back({row, tcp, slowSender});
    return cases;
}

std::string NameOf(const testing::TestParamInfo<SlowCase>& info) {
    std::string name = std::string(info.param.row.name) + (info.param.tcp ? " TCP" : " UDP") +
                       (info.param.slowSender ? " sender" : " receiver");
    std::string plain;
    for (const char c : name)
        if (std::isalnum(static_cast<unsigned char>(c))) plain += c;
    return plain;
}

INSTANTIATE_TEST_SUITE_P(Rows, CSlowPath, testing::ValuesIn(Cases()), NameOf);

using CDeadPath = CSlowPath;

TEST_P(CDeadPath, TheLinkIsMadeAnewAndTheRestArrives) {
    BeginTransfer();
    const auto within = [this](uint64_t milliseconds, const std::function<bool()>& done) {
        const uint64_t until = world.Elapsed() + milliseconds;
        return world.RunUntil(done, [until] { return until; });
    };
    ASSERT_TRUE(within(60000, [&] { return receiver->engine.Progress().heldBytes >= 2 * kBlockSize; }));
    const Address self = GetParam().slowSender ? kSender : kReceiver;
    const Address far = GetParam().slowSender ? kServerOfSender : kServer;
    const CLink& link = GetParam().slowSender ? static_cast<const CLink&>(sender.Link()) : receiver->Link();
    const uint64_t cut = world.Elapsed();
    world.AddFault<COutage>(self, far, cut, cut + 20000);
    world.AddFault<COutage>(kServer, self, cut, cut + 20000);
    EXPECT_TRUE(within(GetParam().slowSender ? 15000 : 5000, [&] { return link.Remakes() > 0 || !link.IsUp(); }));
    EXPECT_TRUE(within(300000, [&] { return receiver->engine.Over(); }));
    EXPECT_EQ(receiver->engine.State(), ReceiveState::Done) << receiver->engine.Problem();
}

INSTANTIATE_TEST_SUITE_P(Udp, CDeadPath,
                         testing::Values(SlowCase{{"170 kbit/s", 170, 40, 0}, false, false},
                                         SlowCase{{"170 kbit/s", 170, 40, 0}, false, true}),
                         NameOf);

}  // namespace
}  // namespace sim
