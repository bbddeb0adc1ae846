// How far back what a board has said may be lost when its link breaks.
#include "tools/lumo/board/board_link.h"

#include <gtest/gtest.h>

using namespace lumo;

namespace {

class CFakeLink final : public CBoardLink, private IWBSessionClient {
public:
    CFakeLink(CInbox& inbox, bool tcp) : CBoardLink(inbox, Times()), m_bTcp(tcp) {}
    ~CFakeLink() override { Close(); }
    void Look(uint64_t now, unsigned long queued) {
        m_nQueued = queued;
        Poll(now);
        LookForLife(now);
    }

private:
    IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) override {
        notify.OnWBSessionClientNotifyConnected(0);
        return this;
    }
    std::vector<LumoLinkStatistics> Links() const override {
        LumoLinkStatistics own{}, other{};
        own.ulQueuedFrames = m_nQueued;
        return m_bTcp ? std::vector<LumoLinkStatistics>() : std::vector<LumoLinkStatistics>{own, other};
    }
    bool IsTcp() const override { return m_bTcp; }
    void ReleaseConnections() override {}
    bool IsDisconnected() override { return false; }

    const bool m_bTcp;
    unsigned long m_nQueued = 0;
};

TEST(BoardLink, WhatIsQueuedIsUnsureHoweverOldItIs) {
    CWake wake;
    CInbox inbox(wake, 0, 0);
    CFakeLink udp(inbox, false), tcp(inbox, true);
    udp.Look(1000, 3);
    ASSERT_FALSE(udp.IsTaken());
    udp.Look(1050, 3);
    ASSERT_TRUE(udp.IsTaken());
    EXPECT_GE(udp.UnsureMs(1050), 1050U) << "all of it: nothing has left yet";
    udp.Look(2000, 0);
    const uint64_t idle = udp.UnsureMs(2000);
    for (uint64_t now = 2050; now <= 8000; now += 50) udp.Look(now, 1);
    EXPECT_EQ(udp.UnsureMs(8000), idle + 6000);
    udp.Look(8050, 0);
    EXPECT_EQ(udp.UnsureMs(8050), idle);
    tcp.Look(1000, 3);
    tcp.Look(1050, 3);
    EXPECT_GT(tcp.UnsureMs(1050), idle) << "its queue is not seen, and it may be silent for longer";
}

}  // namespace
