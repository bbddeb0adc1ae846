// A program that the application starts in a call must not keep its connections and ports alive.
#include "platform/lumobase/log_writer.h"
#include "support/scratch.h"
#include "tcp_support.h"
#include "udp_peer.h"

#include <unistd.h>
#include <cstdio>

using namespace tcp_test;

namespace {

// The descriptors that a program started now finds open.
std::string SeenByAChild() {
    std::FILE* child = popen("for fd in /proc/self/fd/*; do [ -e $fd ] && echo ${fd##*/} $(readlink $fd); done", "r");
    std::string seen;
    for (char piece[256]; child && fgets(piece, sizeof piece, child);)
        if (atoi(piece) > STDERR_FILENO) seen += piece;
    if (child) pclose(child);
    return seen;
}

}  // namespace

TEST(ChildDescriptors, NothingIsInherited) {
    const std::string before = SeenByAChild();  // what this program was started with
    const CScratch folder;
    std::string problem;
    const auto log = CLogWriter::Open((folder / "log").string(), "test", problem);
    ASSERT_TRUE(log) << problem;
    CUdpPeer native;
    SetUdpFeatures({true, true, true, false});
    CUdpPeer portable;
    SetUdpFeatures({});
    CServer server;
    CClient dialled, proxied;
    ASSERT_TRUE(dialled.Meet(server.m_usPort));
    const CRawPeer unvalidated = CRawPeer::Dial(server.m_usPort);
    CRawListener proxy;
    ASSERT_TRUE(proxied.Dial(9, ProxyType::HttpConnect, proxy.Port()));
    const CRawPeer far = proxy.Accept();
    far.ReadUntil("\r\n\r\n");
    far.Send("HTTP/1.1 200 OK\r\n\r\n" + kWelcome);
    ASSERT_TRUE(proxied.m_events.WaitFor("answer 8 welcome"));
    ASSERT_TRUE(Eventually([] { return !ThreadLives("lumo-dial"); }));
    EXPECT_EQ(SeenByAChild(), before);
}
