// A host with an application of one medium, and the wire of that medium.
#pragma once

#include "lumomedia/statistics.h"
#include "support/medium_app.h"
#include "support/medium_wire.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

class MediumScene : public testing::TestWithParam<CTestMedium> {
protected:
    static constexpr uint32_t kChannelID = CMediumApp::kChannelID;
    static constexpr uint32_t kSinkID = 600;

    const CMediumRow& Row() const { return GetParam().row; }
    std::string Say(uint8_t command, std::initializer_list<uint32_t> fields, const std::string& rest = "") const {
        return Datagram(Row(), command, fields, rest);
    }
    std::string Request(uint32_t receiver, uint32_t channelID = kChannelID) const {
        const std::string user = Row().sink.namesUser ? session_wire::U32(CMediumApp::kUserID) : "";
        return Say(Row().sink.connect, {receiver, channelID}, user);
    }
    /// What a frame travels as, behind its envelope.
    std::string Framed(const std::string& frame) const { return Row().session ? session_wire::Data(0, frame) : frame; }
    /// The sink's ID; 0 when nobody answered.
    uint32_t ConnectSink(uint32_t receiver, uint32_t channelID = kChannelID) {
        host.TakeSent();
        host.Deliver(Request(receiver, channelID));
        const auto sent = host.TakeSent();
        return sent.empty() ? 0 : session_wire::ReadU32(sent[0].bytes, 6);
    }
    void ExpectSent(const std::string& bytes, size_t times, uint32_t ip = CTestHost::kPeerIP,
                    uint16_t port = CTestHost::kPeerPort) {
        const auto sent = host.TakeSent();
        EXPECT_EQ(sent.size(), times) << ToHex(bytes);
        for (const CSentDatagram& one : sent) {
            EXPECT_EQ(ToHex(one.bytes), ToHex(bytes));
            EXPECT_EQ(one.ip, ip);
            EXPECT_EQ(one.port, port);
        }
    }
    /// Signs of life that the links have heard.
    static uint64_t Signs() {
        uint64_t signs = 0;
        LumoLinkStatistics link;
        for (unsigned long i = 0; GetLinkStatistics(i, link); ++i) signs += link.ullSignsOfLife;
        return signs;
    }
    bool Serve(wire::TcpType type, const std::string& payload) {
        return host.net.TcpServer().Validate(&host.net.NewSession(), static_cast<uint32_t>(type), payload);
    }
    static bool Answer(CFakeTcp& client, wire::TcpType type, const std::string& payload) {
        return client.clientNotify->OnTcpClientNotifyValidate(static_cast<unsigned long>(type), payload.data(),
                                                              static_cast<int>(payload.size()));
    }

    CTestHost host;
    std::unique_ptr<CMediumApp> app = GetParam().make(kChannelID);
};
