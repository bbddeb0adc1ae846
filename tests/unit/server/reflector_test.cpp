// What askers hear of their own address, on both ports.
#include "server/signalling/reflector.h"

#include "server_host.h"

#include <gtest/gtest.h>

namespace {

constexpr CEndpointAddress kAlice{0x0a000001, 1001};
constexpr CEndpointAddress kStranger{0x0b000001, 0xfffe};

TEST(Reflector, TellsThoseWhoMayAskTheirAddress) {
    CServerOptions options = CServerHost::LoopbackOptions();
    ASSERT_TRUE(CCidr::Parse("10.0.0.0/8", options.allow));
    CServerHost host(options);
    CFakeUdp& server = *host.net.udps[0];
    CReflector second(options.allow);
    ASSERT_TRUE(second.Open(options.listenIP, 0));
    CFakeUdp& own = *host.net.udps[1];
    for (CFakeUdp* endpoint : {&server, &own}) {
        endpoint->Deliver(Hex("07"), kAlice.ip, kAlice.port);
        const auto said = endpoint->TakeSent();
        ASSERT_EQ(said.size(), 1U);
        EXPECT_EQ(said[0].ip, kAlice.ip);
        EXPECT_EQ(said[0].port, kAlice.port);
        EXPECT_EQ(ToHex(said[0].bytes), "070a00000103e9");
        endpoint->Deliver(said[0].bytes, kAlice.ip, kAlice.port);
        for (const char* other : {"0700", "07 0a000001 03e9 00", "08", "02"})
            endpoint->Deliver(Hex(other), kAlice.ip, kAlice.port);
        endpoint->Deliver(Hex("07"), kStranger.ip, kStranger.port);
        EXPECT_TRUE(endpoint->TakeSent().empty()) << "an answer, something else, and one who may not ask";
    }
    own.Deliver(CServerHost::SourceConnect(77, 5), kAlice.ip, kAlice.port);
    EXPECT_TRUE(own.TakeSent().empty() && server.TakeSent().empty()) << "nothing else lives there";
}

TEST(Reflector, EverybodyMayAskUnlessToldOtherwise) {
    CFakeNet net;
    const CCidrList everybody;
    CReflector reflector(everybody);
    net.refuseUdp = true;
    EXPECT_FALSE(reflector.Open(0, 7001));
    net.refuseUdp = false;
    ASSERT_TRUE(reflector.Open(0, 7001));
    net.Udp().Deliver(Hex("07"), kStranger.ip, kStranger.port);
    EXPECT_EQ(ToHex(net.Udp().TakeSent().at(0).bytes), "070b000001fffe");
}

}  // namespace
