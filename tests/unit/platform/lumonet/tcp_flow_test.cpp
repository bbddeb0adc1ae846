#include "platform/lumobase/memory_budget.h"
#include "platform/lumonet/tcp_limits.h"
#include "support/stay.h"
#include "support/virtual_clock.h"
#include "tcp_support.h"
#include "udp_peer.h"

#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <thread>

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

// A listener, and a far side that has validated there.
struct Raw {
    explicit Raw(const std::string& more = "", int receiveBuffer = 0)
        : peer(CRawPeer::Dial(server.m_usPort, kHello + more, receiveBuffer)), session(server.Session(0)) {
        EXPECT_TRUE(session);
    }
    ITcpSession* Net() const { return session->Net(); }

    CServer server;
    CRawPeer peer;
    CSession* session;
};

void ExpectAStalledQueueCleared(void (*clear)(ITcpSession&)) {
    Raw stalled;
    const std::string frame(1 << 20, 'x');
    for (int i = 0; i < 64; ++i) stalled.session->Send(frame);  // more than the kernel's buffers hold
    ExpectService(stalled.server, 1);
    const unsigned long waiting = stalled.Net()->GetSendQueueSize();
    EXPECT_GT(waiting, 1u);
    EXPECT_EQ(stalled.Net()->GetSendQueueBytes(), waiting * frame.size());
    clear(*stalled.Net());
    EXPECT_TRUE(Eventually([&] { return stalled.Net()->GetSendQueueSize() <= 1; }));
    stalled.session->Send("after the clearing");
    stalled.Net()->CloseWhenSent();
    stalled.session->Send("too late");
    // What arrives is whole: the answer, the frames that had begun to leave, and the last one.
    const std::string last = Framed(0, "after the clearing"), framed = Framed(0, frame);
    const std::string got = stalled.peer.ReadAll();
    ASSERT_GE(got.size(), kWelcome.size() + last.size());
    EXPECT_EQ((got.size() - kWelcome.size() - last.size()) % framed.size(), 0u);
    EXPECT_LT(got.size(), 64 * framed.size());
    EXPECT_EQ(got.substr(0, kWelcome.size()), kWelcome);
    EXPECT_EQ(got.substr(got.size() - last.size()), last);
}

}  // namespace

TEST(TcpFlow, AStalledReaderStopsNobodyAndItsQueueCanBeCleared) {
    ExpectAStalledQueueCleared([](ITcpSession& session) { session.ClearSendQueue(); });
    // Where memory is short, the queue of whoever keeps its place goes as well.
    ExpectAStalledQueueCleared([](ITcpSession& session) {
        session.SetKeepsPlace();
        const uint64_t limit = SendBudget().Limit();
        SendBudget().SetLimit(1 << 20);
        EXPECT_FALSE(SendBudget().Add(1));
        SendBudget().Relieve();
        SendBudget().SetLimit(limit);
    });
}

// Where frames age, whoever reads again finds what its own kernel took and one write more, and nothing else that is
// old.
TEST(TcpFlow, AReaderThatStalledHearsNothingOldButWhatItsKernelHolds) {
    CVirtualClock clock;
    Raw reader("", 8192);  // by itself the kernel takes more and more
    reader.Net()->SetMaxAge(1000);
    const std::string old(1000, 'o'), fresh(1000, 'f'), control(1, '\1');
    for (int i = 0; i < 1000; ++i) {
        reader.session->Send(old);
        if (i % 50 == 0) Eventually([&, n = 0]() mutable { return reader.Net()->GetSendQueueSize() == 0 || ++n > 20; });
    }
    reader.session->Send(control);
    int taken = 0;
    ASSERT_EQ(ioctl(reader.peer.Fd(), FIONREAD, &taken), 0);
    clock.Advance(1001);
    for (int i = 0; i < 5; ++i) reader.session->Send(fresh);
    EXPECT_LE(reader.Net()->GetSendQueueSize(), 7u) << "one that has begun, the control byte, and what is fresh";
    const size_t heard = 1000 - reader.Net()->GetAgedFrames();
    EXPECT_LE(heard * Framed(0, old).size(), static_cast<size_t>(taken) + 2 * Framed(0, old).size());
    reader.Net()->CloseWhenSent();
    std::string expected = kWelcome;
    for (size_t i = 0; i < heard; ++i) expected += Framed(0, old);
    expected += Framed(0, control);
    for (int i = 0; i < 5; ++i) expected += Framed(0, fresh);
    EXPECT_TRUE(reader.peer.ReadAll() == expected);
}

// The same where frames give way to newer ones.
TEST(TcpFlow, AReaderThatStalledHearsOnlyTheNewestBesidesWhatItsKernelHolds) {
    Raw reader("", 8192);
    const std::string old(1000, 'o'), fresh(1000, 'f');
    const auto send = [&](uint64_t key, const std::string& frame) {
        reader.Net()->SendNewest(key, frame.data(), static_cast<int>(frame.size()));
    };
    for (int i = 0; i < 1000; ++i) {
        send(1, old);
        if (i % 20 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    int taken = 0;
    ASSERT_EQ(ioctl(reader.peer.Fd(), FIONREAD, &taken), 0);
    send(1, fresh);
    send(2, fresh);
    reader.Net()->CloseWhenSent();
    const std::string got = reader.peer.ReadAll(), last = Framed(0, fresh) + Framed(0, fresh);
    EXPECT_LE(got.size(), static_cast<size_t>(taken) + 4 * Framed(0, old).size());
    EXPECT_EQ(got.substr(got.size() - last.size()), last);
}

TEST(TcpFlow, AFloodOfFramesOnOneConnectionStopsNobody) {
    Raw flood;
    std::string burst;
    for (int i = 0; i < 20'000; ++i) burst += Framed(0, "x");
    for (size_t round = 0; round < 3; ++round) {
        while (flood.peer.SendSome(burst) == burst.size()) {}
        ExpectService(flood.server, round + 1);
    }
}

TEST(TcpFlow, FramesBeforeTheNotifyObjectAreKeptInOrderAndBounded) {
    CServer server;
    server.m_onValidate = [](CServer& self, ITcpSession* session) { return self.Keep(session, false); };
    const CRawPeer peer = CRawPeer::Dial(server.m_usPort, kHello);
    CSession* session = server.Session(0);
    ASSERT_TRUE(session);
    std::string stream;
    std::vector<std::string> expected;
    for (int i = 0; stream.size() < 64u << 20; ++i) {
        const std::string frame = std::to_string(i) + std::string(static_cast<size_t>(i % 5) * 10'000, 'x');
        expected.push_back(FrameEvent(frame));
        stream += Framed(0, frame);
    }
    size_t sent = 0;
    for (int quiet = 0; quiet < 20; ++quiet) {  // a peer that sends on and on is held up
        if (const size_t more = peer.SendSome(stream.substr(sent, 1 << 20))) {
            sent += more;
            quiet = 0;
        } else {
            Eventually([n = 0]() mutable { return ++n > 5; });
        }
    }
    EXPECT_LT(sent, stream.size()) << "kernel buffers alone hold less";
    session->Net()->SetNotify(session);
    ASSERT_TRUE(peer.Send(stream.substr(sent)));
    EXPECT_EQ(session->m_events.Await(expected.size()), expected);
    // Detached, nothing is delivered; attached again, nothing is missing.
    session->Net()->SetNotify(nullptr);
    peer.Send(Framed(0, "while detached"));
    server.m_onValidate = nullptr;
    ExpectService(server, 1);
    EXPECT_EQ(session->m_events.All().size(), expected.size());
    session->Net()->SetNotify(session);
    EXPECT_TRUE(session->m_events.WaitFor("frame while detached"));
}

TEST(TcpFlow, NoEndCostsTheFarSideWhatHadLeft) {
    const std::function<void(Raw&)> ends[] = {
        [](Raw& raw) { raw.session->Release(); },
        [](Raw& raw) { raw.peer.Send(Framed(7, "")); },  // closed for what it sends
    };
    for (const auto& end : ends) {
        Raw raw;
        const int small = 4096;  // what it does not take waits in the sender's kernel
        setsockopt(raw.peer.Fd(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        const std::string frame(64 << 10, 'y');
        raw.session->Send(frame);
        EXPECT_TRUE(Eventually([&] { return raw.Net()->GetSendQueueSize() == 0; }));  // the kernel has it
        end(raw);
        std::string got = raw.peer.Read(1000);
        for (int i = 0; i < 10; ++i) {  // closed over, these would reset the connection
            raw.peer.Send(Framed(0, "unread"));
            got += raw.peer.Read(1000);
        }
        got += raw.peer.ReadAll();
        EXPECT_TRUE(got == kWelcome + Framed(0, frame)) << got.size();
    }
}

TEST(TcpFlow, WhatTheFarSideSaidLastArrivesThoughAWriteFails) {
    CRawListener listener;
    CClient client;
    CStay inside;
    client.m_onEvent = [&](const std::string& event) {
        if (event == "frame first") inside.Stay();
    };
    ASSERT_TRUE(client.Dial(listener.Port()));
    {
        const CRawPeer peer = listener.Accept();
        peer.Send(kWelcome + Framed(0, "first"));
        inside.WaitUntilInside();  // the TCP thread is held up
        peer.Send(Framed(0, "second") + Framed(0, "last"));
    }  // closed over the client's validation message: reset
    client.Send("nobody takes this");
    inside.LetGo();
    EXPECT_EQ(client.m_events.Await(6), (std::vector<std::string>{"connected", "answer 8 welcome", "frame first",
                                                                  "frame second", "frame last", "disconnected"}));
}

TEST(TcpFlow, CloseWhenSentLosesNothing) {
    Raw raw(Framed(0, "seen"));
    EXPECT_TRUE(raw.session->m_events.WaitForCount(1));
    std::string expected = kWelcome;
    const std::string frame(1 << 20, 'y');
    for (int i = 0; i < 16; ++i) {
        raw.session->Send(frame);
        expected += Framed(0, frame);
    }
    raw.Net()->CloseWhenSent();
    raw.peer.Send(Framed(0, "unread"));  // closing over it would reset the connection
    EXPECT_FALSE(raw.Net()->IsDisconnected());
    EXPECT_TRUE(raw.peer.ReadAll() == expected);
    raw.peer = CRawPeer();
    EXPECT_TRUE(Eventually([&] { return raw.Net()->IsDisconnected(); }));
    EXPECT_EQ(raw.session->m_events.All(), std::vector<std::string>{"frame seen"});
    // A far side that never closes is not waited for.
    CShortLimit limit(net::g_timeouts.linger, 50);
    Raw stays;
    stays.Net()->CloseWhenSent();
    EXPECT_TRUE(Eventually([&] { return stays.Net()->IsDisconnected(); }));
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
        EXPECT_TRUE(peers.size() <= net::kMaxUnvalidated || peers.front().IsClosed());
        peers.erase(peers.begin() + static_cast<std::ptrdiff_t>(peers.size() / 2), peers.end());
        ExpectService(server, descriptors > 200 ? 1 : 0);
    }
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST(TcpFlow, APortIsTakenOnceAndFreeAgainWhenReleased) {
    CUdpPeer picked;  // picks a port by itself, and so reserves the TCP port of the same number
    for (const uint16_t reserved : {uint16_t{0}, picked.Port()}) {
        CServer server;
        const uint16_t port = reserved ? reserved : server.m_usPort;
        server.Release();
        for (size_t i = 0; i < 20; ++i) {
            ASSERT_TRUE(server.Listen(port)) << "round " << i;
            EXPECT_EQ(CreateTcpServer(&server, port), nullptr);
            std::vector<CRawPeer> peers;  // accepted or waiting to be
            for (int n = 0; n < 5; ++n) peers.push_back(CRawPeer::Dial(port));
            CClient client;  // closed by the server, whose end of it lingers in the kernel
            ASSERT_TRUE(client.Meet(port));
            server.Session(i)->Net()->CloseWhenSent();
            ASSERT_TRUE(client.m_events.WaitFor("disconnected"));
            server.Release();
            for (const CRawPeer& peer : peers) EXPECT_TRUE(peer.IsClosed());
        }
    }
}
