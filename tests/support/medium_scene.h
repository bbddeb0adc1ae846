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

class CMediumScene {
public:
    static constexpr uint32_t kChannelID = CMediumApp::kChannelID;
    static constexpr uint32_t kSinkID = 600, kSourceID = 500;  // as the server numbers them
    static inline const CMcuAddress kServer{{10, 0, 0}, 7000};

    explicit CMediumScene(const CTestMedium& medium) : m_medium(medium) {}

    const CMediumRow& Row() const { return m_medium.row; }
    std::string Say(uint8_t command, std::initializer_list<uint32_t> fields, const std::string& rest = "") const {
        return Datagram(Row(), command, fields, rest);
    }
    std::string Request(uint32_t receiver, uint32_t channelID = kChannelID) const {
        const std::string user = Row().sink.namesUser ? session_wire::U32(CMediumApp::kUserID) : "";
        return Say(Row().sink.connect, {receiver, channelID}, user);
    }
    /// What a frame travels as, behind its envelope.
    std::string Framed(const std::string& frame, uint16_t sequence = 0) const {
        return Row().session ? session_wire::Data(sequence, frame) : frame;
    }
    /// From a server, to one of the ways that this host dials.
    void FromServer(const std::string& bytes) { host.Deliver(bytes, kServer.ips[0], kServer.port); }
    /// The number at that place of what was sent first.
    uint32_t SentID(size_t offset) { return session_wire::ReadU32(host.TakeSent().at(0).bytes, offset); }
    /// The sink's ID; 0 when nobody answered.
    uint32_t ConnectSink(uint32_t receiver, uint32_t channelID = kChannelID, uint32_t ip = CTestHost::kPeerIP) {
        host.TakeSent();
        host.Deliver(Request(receiver, channelID), ip);
        const auto sent = host.TakeSent();
        return sent.empty() ? 0 : session_wire::ReadU32(sent[0].bytes, 6);
    }
    /// One that has said where it is, too: in audio and video it has started.
    uint32_t ValidatedSink(uint32_t receiver, uint32_t channelID = kChannelID, uint32_t ip = CTestHost::kPeerIP) {
        const uint32_t sink = ConnectSink(receiver, channelID, ip);
        host.Deliver(Say(Row().sink.keepAlive, {sink}), ip);
        host.TakeSent();
        return sink;
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
    void ExpectSentToServer(const std::string& bytes, size_t times) {
        ExpectSent(bytes, times, kServer.ips[0], kServer.port);
    }
    static size_t Links() {
        size_t count = 0;
        for (LumoLinkStatistics link; GetLinkStatistics(static_cast<unsigned long>(count), link);) ++count;
        return count;
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
    static void Arrive(CFakeTcp& client, const std::string& frame) {
        EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size())));
    }

    CTestHost host;

private:
    const CTestMedium& m_medium;

public:
    std::unique_ptr<CMediumApp> app = m_medium.make(kChannelID);
};

/// For what all media share.
class MediumScene : public testing::TestWithParam<CTestMedium>, protected CMediumScene {
protected:
    MediumScene() : CMediumScene(GetParam()) {}
};
