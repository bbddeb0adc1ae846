// Which of two ways serves a receiver, and when the other takes over.
#include "tools/lumo/net/path_switch.h"
#include "support/fake_net.h"

#include <gtest/gtest.h>

namespace {

using namespace lumo;

/// A way that the test takes, feeds and lets fall silent.
class CFakeWay final : public CLink {
public:
    CFakeWay(CInbox& inbox, const LinkTimes& times) : CLink(inbox, times) {}
    ~CFakeWay() override { Close(); }

    void Take() { Accept(0x7f000001); }
    void Bring(const std::string& frame) { Inbox().Push(frame.data(), static_cast<int>(frame.size())); }

private:
    bool Create() override { return true; }
    bool IsDisconnected() override { return false; }
    void Release() override {}
};

class PathSwitch : public ::testing::Test, private IPathLinks {
protected:
    static constexpr uint64_t kLingerMs = 1000;

    PathSwitch() {
        host.Poll(now);
        net.Udp().Deliver(Hex("07 01020304 abcd"), 0x7f000001, 7000);
        Pass(1);
        net.LastClient().clientNotify->OnTcpClientNotifyConnected();
        net.LastClient().clientNotify->OnTcpClientNotifyValidate(100, "\0\0\0\x15", 4);
    }

    /// For so long, with a frame of the publisher every 100 ms by `way`; what becomes of the path meanwhile.
    PathEvent Pass(uint64_t milliseconds, CFakeWay* way = nullptr) {
        PathEvent last = PathEvent::None;
        for (const uint64_t end = now + milliseconds; now < end; ++now) {
            if (way && now % 100 == 0) way->Bring("frame");
            for (std::string frame; paths.Pop(frame);) paths.OnSignOfLife(now);
            if (const PathEvent event = paths.Poll(now); event != PathEvent::None) last = event;
        }
        return last;
    }

    CFakeNet net;
    uint64_t now = 1000;
    CFakeWay *direct = nullptr, *relay = nullptr;
    CPeerHost host{Options()};
    CPathSwitch paths{PathChoice::Auto, Route(), Rules(), *this, host};

private:
    static PeerOptions Options() {
        PeerOptions options;
        options.peers = true;
        options.userID = 21;
        options.mcu = Route().mcu;
        return options;
    }
    static RelayRoute Route() {
        RelayRoute route;
        route.mcu = {"127.0.0.1", 7000, {0x7f000001}};
        route.channel = 77;
        return route;
    }
    static PathRules Rules() { return {100, 1000, LinkTimes(), kLingerMs}; }
    std::unique_ptr<CLink> MakeRelayLink(const RelayRoute&, CInbox& inbox, const LinkTimes& times) override {
        return Make(relay, inbox, times);
    }
    std::unique_ptr<CLink> MakeDirectLink(const RelayRoute&, bool, CInbox& inbox, const LinkTimes& times) override {
        return Make(direct, inbox, times);
    }
    static std::unique_ptr<CLink> Make(CFakeWay*& way, CInbox& inbox, const LinkTimes& times) {
        auto made = std::make_unique<CFakeWay>(inbox, times);
        way = made.get();
        return made;
    }
};

TEST_F(PathSwitch, TheRelayServesAtOnceAndAgainWhileNothingComesDirectly) {
    relay->Take();
    EXPECT_EQ(Pass(1), PathEvent::Changed);
    EXPECT_EQ(paths.PathText(), "relay 127.0.0.1:7000");
    EXPECT_EQ(Pass(500, relay), PathEvent::None);
    ASSERT_TRUE(host.Ready() && direct->IsUp());

    direct->Take();
    EXPECT_EQ(Pass(500, relay), PathEvent::None) << "nothing has come directly";
    direct->Bring("beacon");
    std::string frame;
    ASSERT_TRUE(paths.Pop(frame));
    EXPECT_FALSE(paths.CameByTheOneInUse());
    paths.OnSignOfLife(now);
    EXPECT_EQ(Pass(1), PathEvent::Changed);
    EXPECT_EQ(paths.PathText().find("direct"), 0U);
    EXPECT_EQ(Pass(kLingerMs / 2, direct), PathEvent::None);
    relay->Bring("on its way");
    ASSERT_TRUE(relay->IsUp() && paths.Pop(frame));
    EXPECT_EQ(frame, "on its way");
    Pass(kLingerMs, direct);
    EXPECT_FALSE(relay->IsUp());

    EXPECT_EQ(Pass(LinkTimes().silence - 200), PathEvent::None);
    EXPECT_FALSE(relay->IsUp()) << "a short silence";
    Pass(1000);
    ASSERT_TRUE(relay->IsUp());
    relay->Take();
    EXPECT_EQ(Pass(1), PathEvent::Changed);
    EXPECT_EQ(paths.PathText(), "relay 127.0.0.1:7000");
}

}  // namespace
