#include "platform/lumonet/tcp_framing.h"
#include "support/virtual_clock.h"
#include "tcp_support.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

using namespace tcp_test;

namespace {

// A frame goes to and fro while others misbehave.
void ExpectService(CServer& server, size_t session) {
    CClient client;
    ASSERT_TRUE(client.Meet(server.m_usPort));
    client.Send("ping");
    ASSERT_TRUE(server.Session(session) && server.Session(session)->m_events.WaitFor("frame ping"));
    server.Session(session)->Send("pong");
    EXPECT_TRUE(client.m_events.WaitFor("frame pong"));
}

}  // namespace

TEST(TcpFlow, AStalledReaderStopsNobodyAndItsQueueCanBeCleared) {
    CServer server;
    CRawPeer stalled = CRawPeer::Dial(server.m_usPort, kHello);
    CSession* session = server.Session(0);
    ASSERT_TRUE(session);
    const std::string frame(1 << 20, 'x');
    for (int i = 0; i < 64; ++i) session->Send(frame);  // more than the kernel's buffers hold
    ExpectService(server, 1);
    const unsigned long waiting = session->m_pNet->GetSendQueueSize();
    EXPECT_GT(waiting, 1u);
    EXPECT_EQ(session->m_pNet->GetSendQueueBytes(), waiting * frame.size());
    session->m_pNet->ClearSendQueue();
    EXPECT_TRUE(Eventually([&] { return session->m_pNet->GetSendQueueSize() <= 1; }));
    session->Send("after the clearing");
    session->m_pNet->CloseWhenSent();
    session->Send("too late");
    // What arrives is whole: the answer, the frames that had begun to leave, and the last one.
    const std::string last = Framed(0, "after the clearing");
    const std::string got = stalled.ReadAll();
    const std::string framed = Framed(0, frame);
    ASSERT_GE(got.size(), kWelcome.size() + last.size());
    EXPECT_EQ((got.size() - kWelcome.size() - last.size()) % framed.size(), 0u);
    EXPECT_LT(got.size(), 64 * framed.size());
    EXPECT_EQ(got.substr(0, kWelcome.size()), kWelcome);
    EXPECT_EQ(got.substr(got.size() - last.size()), last);
}

// Fifty frames a second for ten seconds. Whoever reads again finds what its own kernel took and one write more, then
// nothing that waited for longer than a second.
TEST(TcpFlow, WhereFramesAgeAReaderThatStalledHearsNothingOldButWhatItsKernelHolds) {
    CVirtualClock clock;
    CServer server;
    CRawPeer reader = CRawPeer::Dial(server.m_usPort, kHello, 8192);  // by itself the kernel takes more and more
    CSession* session = server.Session(0);
    ASSERT_TRUE(session);
    session->m_pNet->SetMaxAge(1000);
    const std::string control(1, '\1');
    const auto empty = [&, n = 0]() mutable { return session->m_pNet->GetSendQueueSize() == 0 || ++n > 20; };
    bool full = false;
    for (int i = 0; i < 500; ++i, clock.Advance(20)) {
        std::string frame = std::to_string(clock.Now());
        frame.resize(1000, 'x');
        session->Send(frame);
        if (i == 400) session->Send(control);
        if (!full) Eventually(empty);
        full = session->m_pNet->GetSendQueueSize() > 0;
    }
    EXPECT_LE(session->m_pNet->GetSendQueueSize(), 53u);
    int taken = 0;
    ASSERT_EQ(ioctl(reader.Fd(), FIONREAD, &taken), 0);
    session->m_pNet->CloseWhenSent();
    const std::string got = reader.ReadAll();
    CTcpDecoder decoder;
    decoder.SetMaxBody(net::kMaxBody);
    decoder.Feed(got.data(), got.size());
    CTcpMessage message;
    size_t old = 0, fresh = 0, controls = 0;
    while (decoder.Next(message) == CTcpDecoder::Result::Message) {
        const std::string body(message.data, message.length);
        controls += body == control;
        if (message.kind != TcpKind::Frame || body == control) continue;
        const bool isOld = clock.Now() - std::stoul(body) > 1200;
        EXPECT_FALSE(isOld && fresh > 0);
        (isOld ? old : fresh) += body.size() + net::kHeaderLen;
    }
    EXPECT_EQ(controls, 1u) << "never dropped";
    EXPECT_GE(fresh, 48 * 1005u);
    EXPECT_GT(session->m_pNet->GetAgedFrames(), 300u);
    EXPECT_EQ(session->m_pNet->GetAgedFrames(), 500 - (old + fresh) / 1005);
    EXPECT_LE(old, static_cast<size_t>(taken) + 2 * 1005);
}

TEST(TcpFlow, PeersThatHaveOnlyBegunStopNobody) {
    CServer server;
    std::vector<CRawPeer> peers;
    for (size_t cut = 0; cut < kHello.size(); ++cut)
        peers.push_back(CRawPeer::Dial(server.m_usPort, kHello.substr(0, cut)));
    ExpectService(server, 0);
    // Each goes on where it stopped, one byte at a time.
    for (size_t cut = 0; cut < kHello.size(); ++cut) {
        for (size_t at = cut; at < kHello.size(); ++at) peers[cut].Send(kHello.substr(at, 1));
        EXPECT_TRUE(server.m_events.WaitForCount(cut + 2));
    }
    EXPECT_EQ(server.m_events.Count("validate 7 hello"), kHello.size() + 1);
}

TEST(TcpFlow, AFloodOfFramesOnOneConnectionStopsNobody) {
    CServer server;
    CRawPeer flood = CRawPeer::Dial(server.m_usPort, kHello);
    ASSERT_TRUE(server.Session(0));
    std::string burst;
    for (int i = 0; i < 20'000; ++i) burst += Framed(0, "x");
    for (size_t round = 0; round < 3; ++round) {
        while (flood.SendSome(burst) == burst.size()) {}
        ExpectService(server, round + 1);
    }
}

TEST(TcpFlow, FramesBeforeTheNotifyObjectAreKeptInOrderAndBounded) {
    CServer server;
    server.m_onValidate = [&](CServer& self, ITcpSession* session) { return self.Keep(session, false); };
    CRawPeer peer = CRawPeer::Dial(server.m_usPort, kHello);
    CSession* session = server.Session(0);
    ASSERT_TRUE(session);
    // A peer that sends on and on is held up: the session takes no more than its quota.
    std::string stream;
    std::vector<std::string> expected;
    for (int i = 0; stream.size() < 64u << 20; ++i) {
        const std::string frame = std::to_string(i) + std::string(static_cast<size_t>(i % 5) * 10'000, 'x');
        expected.push_back(FrameEvent(frame.data(), frame.size()));
        stream += Framed(0, frame);
    }
    size_t sent = 0, before = 1;
    for (int quiet = 0; quiet < 20; quiet = sent == before ? quiet + 1 : 0) {
        before = sent;
        sent += peer.SendSome(stream.substr(sent, 1 << 20));
        if (sent == before) Eventually([n = 0]() mutable { return ++n > 5; });
    }
    EXPECT_LT(sent, stream.size()) << "kernel buffers alone hold less";
    session->m_pNet->SetNotify(session);
    ASSERT_TRUE(peer.Send(stream.substr(sent)));
    EXPECT_EQ(session->m_events.Await(expected.size()), expected);
    // Detached, nothing is delivered; attached again, nothing is missing.
    session->m_pNet->SetNotify(nullptr);
    peer.Send(Framed(0, "while detached"));
    server.m_onValidate = nullptr;
    ExpectService(server, 1);
    EXPECT_EQ(session->m_events.All().size(), expected.size());
    session->m_pNet->SetNotify(session);
    EXPECT_TRUE(session->m_events.WaitFor("frame while detached"));
}

TEST(TcpFlow, NoEndCostsTheFarSideWhatHadLeft) {
    const struct {
        const char* what;
        std::function<void(CSession&, CRawPeer&)> end;
    } rows[] = {
        {"released", [](CSession& session, CRawPeer&) { session.Release(); }},
        {"closed for what the far side sends", [](CSession&, CRawPeer& peer) { peer.Send(Framed(7, "")); }},
    };
    CServer server;
    size_t n = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CRawPeer peer = CRawPeer::Dial(server.m_usPort, kHello);
        CSession* session = server.Session(n++);
        ASSERT_TRUE(session);
        const int small = 4096;  // what it does not take waits in the sender's kernel
        setsockopt(peer.Fd(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        const std::string frame(64 << 10, 'y');
        session->Send(frame);
        EXPECT_TRUE(Eventually([&] { return session->m_pNet->GetSendQueueSize() == 0; }));  // the kernel has it
        row.end(*session, peer);
        std::string got = peer.Read(1000);
        for (int i = 0; i < 10; ++i) {  // closed over, these would reset the connection
            peer.Send(Framed(0, "unread"));
            got += peer.Read(1000);
        }
        got += peer.ReadAll();
        EXPECT_TRUE(got == kWelcome + Framed(0, frame)) << got.size();
    }
}

TEST(TcpFlow, WhatTheFarSideSaidLastArrivesThoughAWriteFails) {
    CRawListener listener;
    CClient client;
    CEvents inside, goOn;
    client.m_onFrame = [&] {
        inside.Add("inside");
        goOn.WaitForCount(1);
    };
    ASSERT_TRUE(client.Dial(listener.Port()));
    {
        CRawPeer peer = listener.Accept();
        peer.Send(kWelcome + Framed(0, "first"));
        ASSERT_TRUE(inside.WaitForCount(1));  // the TCP thread is held up
        peer.Send(Framed(0, "second") + Framed(0, "last"));
    }  // closed over the client's validation message: reset
    client.Send("nobody takes this");
    goOn.Add("go on");
    ASSERT_TRUE(client.m_events.WaitFor("disconnected"));
    EXPECT_EQ(client.m_events.All(), (std::vector<std::string>{"connected", "answer 8 welcome", "frame first",
                                                               "frame second", "frame last", "disconnected"}));
}

TEST(TcpFlow, CloseWhenSentLosesNothing) {
    CServer server;
    CRawPeer peer = CRawPeer::Dial(server.m_usPort, kHello + Framed(0, "seen"));
    CSession* session = server.Session(0);
    ASSERT_TRUE(session && session->m_events.WaitForCount(1));
    std::string expected = kWelcome;
    const std::string frame(1 << 20, 'y');
    for (int i = 0; i < 16; ++i) {
        session->Send(frame);
        expected += Framed(0, frame);
    }
    session->m_pNet->CloseWhenSent();
    peer.Send(Framed(0, "unread"));  // closing over it would reset the connection
    EXPECT_FALSE(session->m_pNet->IsDisconnected());
    EXPECT_TRUE(peer.ReadAll() == expected);
    peer = CRawPeer(-1);
    EXPECT_TRUE(Eventually([&] { return session->m_pNet->IsDisconnected(); }));
    EXPECT_EQ(session->m_events.All(), std::vector<std::string>{"frame seen"});
    // A far side that never closes is not waited for.
    CShortLimit limit(net::g_timeouts.linger, 50);
    CRawPeer stays = CRawPeer::Dial(server.m_usPort, kHello);
    ASSERT_TRUE(server.Session(1));
    server.Session(1)->m_pNet->CloseWhenSent();
    EXPECT_TRUE(Eventually([&] { return server.Session(1)->m_pNet->IsDisconnected(); }));
}

TEST(TcpFlow, AFloodOfConnectionsIsBoundedAndOutlasted) {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    CServer server;
    for (const rlim_t descriptors : {rlim_t{200}, rlim_t{4096}}) {  // the process's own limit, then the listener's
        rlimit flooded = before;
        flooded.rlim_cur = std::min(descriptors, before.rlim_max);
        setrlimit(RLIMIT_NOFILE, &flooded);
        std::vector<CRawPeer> peers;
        while (peers.size() < net::kMaxUnvalidated + 200) {
            CRawPeer peer = CRawPeer::Dial(server.m_usPort);
            if (!peer) break;
            peers.push_back(std::move(peer));
        }
        if (peers.size() > net::kMaxUnvalidated) {
            EXPECT_TRUE(peers.front().IsClosed());
        }
        peers.erase(peers.begin() + static_cast<std::ptrdiff_t>(peers.size() / 2), peers.end());
        ExpectService(server, descriptors > 200 ? 1 : 0);
    }
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST(TcpFlow, APortIsTakenOnceAndFreeAgainWhenReleased) {
    CUdpPeer picked;  // picks a port by itself, and so reserves the TCP port of the same number
    for (const uint16_t reserved : {uint16_t{0}, picked.Port()}) {
        CServer server;
        if (reserved != 0) {
            server.Release();
            server.m_usPort = reserved;
            server.m_pNet = CreateTcpServerAt(&server, {kLoopback, reserved, nullptr});
        }
        const uint16_t port = server.m_usPort;
        EXPECT_EQ(CreateTcpServer(&server, port), nullptr);
        for (size_t i = 0; i < 20; ++i) {
            std::vector<CRawPeer> peers;  // accepted or waiting to be
            for (int n = 0; n < 5; ++n) peers.push_back(CRawPeer::Dial(port));
            CClient client;  // closed by the server, whose end of it lingers in the kernel
            ASSERT_TRUE(client.Meet(port));
            server.Session(i)->m_pNet->CloseWhenSent();
            ASSERT_TRUE(client.m_events.WaitFor("disconnected"));
            server.Release();
            for (CRawPeer& peer : peers) EXPECT_TRUE(peer.IsClosed());
            server.m_pNet = CreateTcpServer(&server, port);
            ASSERT_NE(server.m_pNet, nullptr) << "round " << i;
        }
        ExpectService(server, 20);
    }
}
