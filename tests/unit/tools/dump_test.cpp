// Captures in words: link layers, datagrams of the command table, runs that the kernel cuts later, TCP streams.
#include "support/capture.h"
#include "tools/lumo/dump/datagram_text.h"
#include "tools/lumo/dump/packet.h"
#include "tools/lumo/dump/tcp_streams.h"
#include "tools/lumo/transfer/messages.h"

#include <pcap/dlt.h>

#include <gtest/gtest.h>

#include <random>

using namespace lumo;
using capture::U32;
using capture::Wire;

namespace {

const uint8_t* Bytes(const std::string& text) { return reinterpret_cast<const uint8_t*>(text.data()); }
std::string Describe(const std::string& datagram) {
    const std::vector<uint8_t> exact(datagram.begin(), datagram.end());
    return DescribeDatagram(exact.data(), exact.size());
}

Parsed ParseExact(int link, const std::string& frame, CapturedPacket& packet, std::vector<uint8_t>& memory) {
    memory.assign(frame.begin(), frame.end());
    return ParsePacket(link, memory.data(), memory.size(), packet);
}

TEST(DumpPacket, EveryLinkLayerAndEveryTruncation) {
    const std::pair<int, std::string> rows[] = {{DLT_EN10MB, std::string(12, 'm') + Hex("0800")},
                                                {DLT_EN10MB, std::string(12, 'm') + Hex("8100 0005 0800")},
                                                {DLT_EN10MB, std::string(12, 'm') + Hex("88A8 0005 8100 0006 0800")},
                                                {DLT_LINUX_SLL, std::string(14, 'm') + Hex("0800")},
                                                {DLT_LINUX_SLL2, Hex("0800") + std::string(18, 'm')},
                                                {DLT_NULL, Hex("02000000")},
                                                {DLT_LOOP, Hex("00000002")},
                                                {DLT_RAW, ""}};
    std::vector<uint8_t> memory;
    CapturedPacket packet;
    for (const auto& [type, header] : rows) {
        EXPECT_TRUE(KnowsLinkType(type));
        for (const bool tcp : {false, true}) {
            const std::string frame =
                header + (tcp ? capture::Tcp(99, 0x18, "payload") : capture::Udp("payload")) + "padding";
            ASSERT_EQ(ParseExact(type, frame, packet, memory), Parsed::Packet) << type;
            EXPECT_EQ(packet.transport, tcp ? Transport::Tcp : Transport::Udp);
            EXPECT_EQ(packet.from.Text() + " " + packet.to.Text(), "10.0.0.1:40000 10.0.0.2:7000");
            EXPECT_EQ(std::string(packet.payload, packet.payload + packet.length), "payload") << "without the padding";
            EXPECT_EQ(packet.tcpSequence, tcp ? 99U : 0U);
            for (size_t length = 0; length < frame.size() - 7; ++length) {
                if (ParseExact(type, frame.substr(0, length), packet, memory) != Parsed::Packet) continue;
                EXPECT_TRUE(packet.length < 7 && packet.fullLength == 7) << "a cut packet is not whole";
            }
        }
    }
    const std::string ipv6 = Hex("60") + std::string(60, 0);
    const std::tuple<int, std::string, Parsed> others[] = {
        {DLT_RAW, capture::Ip(1, "an echo request"), Parsed::Other},
        {DLT_RAW, capture::Ip(17, "a fragment", 0x2000), Parsed::Fragment},
        {DLT_RAW, capture::Ip(17, "a fragment", 0x0010), Parsed::Fragment},
        {DLT_EN10MB, std::string(12, 'm') + Hex("86DD") + ipv6, Parsed::Other},
        {DLT_RAW, ipv6, Parsed::Other}};
    for (const auto& [type, frame, parsed] : others) EXPECT_EQ(ParseExact(type, frame, packet, memory), parsed);
    EXPECT_FALSE(KnowsLinkType(DLT_IEEE802_11));
}

TEST(DumpDatagram, Words) {
    const std::pair<const char*, const char*> rows[] = {
        {"06 39 00000007 00000008", "UDP_FILE_SINK_CONNECT receiver 7 channel 8"},
        {"06 39 00000007 00000008 0A000001 00000000 0A000003",
         "UDP_FILE_SINK_CONNECT receiver 7 channel 8 relay 10.0.0.1 or 0.0.0.0 or 10.0.0.3"},
        {"06 3E 00000007 0005 21 F8 0000000000000000",
         "UDP_FILE_SINK_FRAME_ACK sink 7: ack seq 5 and all before, window 31"},
        {"06 3E 00000007 0005 01 80 0000000000000000", "UDP_FILE_SINK_FRAME_ACK sink 7: ack seq 5 alone, window 16"},
        {"06 3E 00000007 0005 00 04 0000000000000000 0102",
         "UDP_FILE_SINK_FRAME_ACK sink 7: data seq 5, 2 bytes, a frame begins"},
        {"06 3E 00000007 0005 80 04 0000000000000000", "UDP_FILE_SINK_FRAME_ACK sink 7: session packet of version 2"},
        {"06 3E 00000007 0005 02 04 0000000000000000", "UDP_FILE_SINK_FRAME_ACK sink 7: session command 2 seq 5"},
        {"06 3E 00000007 0005", "UDP_FILE_SINK_FRAME_ACK sink 7: too short for a session packet"},
        {"06 45 00000007 00", ""},
        {"05 2B 00000007 00000008 0A000001 00000000 00000000 1B58",
         "UDP_DESKTOP_SINK_CONNECT receiver 7 channel 8 relay 10.0.0.1 or 0.0.0.0 or 0.0.0.0 port 7000"},
        {"00 02 00000007 00000008 616263", "UDP_AUDIO_SINK_FRAME receiver 7 sink 8: frame of 3 bytes"},
        {"00 02 00000007 00000008 F5 8000000000000001 00000000000000000000000000000000",
         "UDP_AUDIO_SINK_FRAME receiver 7 sink 8: frame of 25 bytes, sealed: key ID 8000000000000001, counter 5"},
        {"00 02 00000007 00000008 F5 8000000000000001 000000000000000000000000000000",
         "UDP_AUDIO_SINK_FRAME receiver 7 sink 8: frame of 24 bytes"},
        {"06 3E 00000007 0005 00 04 0000000000000000 F8 80ABCDEF00000001 63 00000000000000000000000000000000",
         "UDP_FILE_SINK_FRAME_ACK sink 7: data seq 5, 26 bytes, a frame begins, sealed: key ID 80abcdef00000001, "
         "counter 99"},
        {"04 29 00000007 0005 00 04 0000000000000000 03000000 09000000 01000000 FF",
         "UDP_WB_CLIENT_FRAME server-session 7: data seq 5, 13 bytes, a frame begins, WB_CMD_OBJECT_DATA object 9 tag "
         "1"},
        {"02 05000000", "UDP_P2P user 5"},
        {"03 05000000", "UDP_P2P_ACK user 5"},
        {"03 0500000000", ""},
        {"07", "UDP_STUN asks for its address"},
        {"07 7F000001 1B58", "UDP_STUN your address is 127.0.0.1:7000"},
        {"07 7F000001", ""},
        {"08 39 00000007 00000008", ""},
        {"", ""},
    };
    for (const auto& [text, words] : rows) {
        const std::string bytes = Hex(text);
        EXPECT_EQ(Describe(bytes), words) << text;
        for (size_t length = 0; length < bytes.size(); ++length) Describe(bytes.substr(0, length));  // reads no further
    }

    const std::string bye = Encode({7, ReceiverBye{9, ByeReason::Done}}),
                      offer = Encode({7, Offer{0, 0, 5, {}, "a\x1b[2Jb"}});
    EXPECT_EQ(Describe(Hex("06 3E 00000001") + session_wire::Data(1, bye)),
              "UDP_FILE_SINK_FRAME_ACK sink 1: data seq 1, 25 bytes, a whole frame [transfer 7: goodbye of receiver 9, "
              "done]");
    EXPECT_EQ(DescribeFrame(Bytes(offer), offer.size()).find('\x1b'), std::string::npos);
}

TEST(DumpDatagram, WhoSealedAFrameOfATcpConnection) {
    const std::string sealed = Hex("F5 8000000000000001 00000000000000000000000000000000"), video = "\1\2\3" + sealed;
    constexpr uint32_t kAudio = 2, kVideo = 8, kBoard = 9;
    const std::string words = ", sealed: key ID 8000000000000001, counter 5";
    const struct {
        const std::string& frame;
        std::optional<uint32_t> service;
        std::string words;
    } rows[] = {{sealed, std::nullopt, words},
                {sealed, kAudio, words},
                {sealed, kVideo, ""},
                {sealed, kBoard, ", whiteboard command 33013 object 0 tag 1"},
                {video, kVideo, words},
                {video, std::nullopt, ""},
                {video, kAudio, ""}};
    for (const auto& row : rows)
        EXPECT_EQ(DescribeFrame(Bytes(row.frame), row.frame.size(), row.service),
                  "frame of " + std::to_string(row.frame.size()) + " bytes" + row.words);
}

TEST(DumpDatagram, ValidationMessages) {
    const struct {
        uint32_t type;
        const char *payload, *words;
    } rows[] = {{12, "0000004D", "12 (file sender), channel 77"},
                {13, "0000004D 0A000001 00000000 00000000",
                 "13 (file receiver), channel 77, relay 10.0.0.1 or 0.0.0.0 or 0.0.0.0"},
                {3, "0000004D 00000005", "3 (audio receiver), channel 77, sink 5"},
                {100, "00000009", "100 (signalling), user 9"},
                {55, "FF", "55 (unknown service), 1 bytes"},
                {12, "", "12 (file sender)"}};
    for (const auto& row : rows) {
        const std::string payload = Hex(row.payload);
        EXPECT_EQ(DescribeValidation(row.type, Bytes(payload), payload.size()),
                  std::string("validation: type ") + row.words);
    }
}

TEST(DumpDatagram, RunsAreCutWhereTheKernelWill) {
    const std::string full = Hex("06 42 00000001") + session_wire::Packet(1, 0, 4, std::string(1040, 'x'));
    const std::string last = Hex("06 42 00000001") + session_wire::Packet(2, 0, 2, std::string(16, 'x'));
    const std::string ack = Hex("06 3E 00000001") + session_wire::Ack(3);
    const std::string connect = Hex("06 3A 00000001 00000002");
    const std::string taken = Hex("00 13 00000001 00000002 00000000"), question = Hex("00 16 00000001");
    const std::pair<std::string, std::vector<size_t>> rows[] = {
        {full, {full.size()}},
        {full + full + last, {full.size(), full.size(), last.size()}},
        {last, {last.size()}},
        {ack + ack + ack, {18, 18, 18}},
        {connect + connect, {10, 10}},
        {taken + question, {14, 6}},
        {full + ack, {full.size(), ack.size()}},
        {connect + ack, {28}},
        {full + std::string(500, 0), {full.size() + 500}},
        {"x", {1}},
    };
    for (const auto& [bytes, lengths] : rows) EXPECT_EQ(SplitRun(Bytes(bytes), bytes.size()), lengths) << bytes.size();
}

/// One direction of a connection, shown as lines.
struct StreamTest {
    std::vector<std::string> lines;
    CTcpStreams streams{[this](const Endpoint&, const Endpoint&, const std::string& text) { lines.push_back(text); }};

    void Add(uint32_t sequence, const std::string& payload, bool syn = false, size_t cut = 0, uint32_t host = 1) {
        const size_t length = payload.size();
        streams.Add({Transport::Tcp, {host, 2}, {3, 4}, Bytes(payload), length - cut, length, sequence, syn, false});
    }
};

const std::string kSealedVideo = Hex("000000 F5 8000000000000001 00000000000000000000000000000000");

const std::string& Conversation() {
    static const std::string bytes = Wire(1, U32(8) + U32(4) + U32(77)) + Wire(0, kSealedVideo) + Wire(0, "hello") +
                                     Wire(0, std::string(1, 0)) + Wire(0, std::string(3000, 'b')) + Wire(1, "nonsense");
    return bytes;
}
const std::vector<std::string> kLines = {"validation: type 8 (video receiver), channel 77",
                                         "frame of 28 bytes, sealed: key ID 8000000000000001, counter 5",
                                         "frame of 5 bytes",
                                         "control byte 0",
                                         "frame of 3000 bytes",
                                         "validation message that makes no sense"};

TEST(DumpStreams, AnyCutAndAnyOrderGiveTheSameMessages) {
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        const uint32_t start = round % 2 == 0 ? 1000 : UINT32_MAX - 20;  // the sequence wraps
        std::vector<std::pair<uint32_t, std::string>> segments;
        for (size_t at = 0; at < Conversation().size();) {
            const size_t length = 1 + random() % (round < 20 ? 3 : 900);
            segments.emplace_back(start + 1 + static_cast<uint32_t>(at), Conversation().substr(at, length));
            at += length;
        }
        for (size_t i = 0; i + 4 < segments.size(); i += 4) std::shuffle(&segments[i], &segments[i + 4], random);
        StreamTest test;
        test.Add(start, "", true);
        for (size_t i = 0; i < segments.size(); ++i) {
            test.Add(segments[i].first, segments[i].second);
            if (random() % 3 == 0) test.Add(segments[i].first, segments[i].second);  // sent again
        }
        ASSERT_EQ(test.lines, kLines) << "round " << round;
        EXPECT_EQ(test.streams.Gaps(), 0U);
    }
}

TEST(DumpStreams, GapsAndStrangersDoNotStopIt) {
    StreamTest gap, midway, cut, foreign;
    gap.Add(10, "", true);
    gap.Add(11, Wire(0, "one"));
    uint32_t at = 5000;
    for (size_t i = 0; i <= CTcpStreams::kMaxEarlySegments; ++i) {
        gap.Add(at, Wire(0, "more"));
        at += static_cast<uint32_t>(Wire(0, "more").size());
    }
    EXPECT_EQ(gap.lines.size(), 2 + CTcpStreams::kMaxEarlySegments);
    EXPECT_EQ(gap.streams.Gaps(), 1U);
    midway.Add(77, "rest of something" + Wire(0, "lost with it"));  // the capture begins inside a connection
    midway.Add(77 + 17 + 17, Wire(0, "found"));
    EXPECT_EQ(midway.lines, (std::vector<std::string>{"frame of 5 bytes"}));
    cut.Add(1, Wire(0, std::string(500, 'x')), false, 400);  // the capture kept the first bytes of each packet only
    cut.Add(1 + 505, Wire(0, "whole"));
    EXPECT_EQ(cut.lines, (std::vector<std::string>{"frame of 5 bytes"}));
    foreign.Add(1, "", true);
    foreign.Add(2, "GET / HTTP/1.1\r\nHost: example\r\n\r\n");
    EXPECT_TRUE(foreign.lines.empty());
}

TEST(DumpStreams, HostileCapturesCostBoundedMemory) {
    std::mt19937 random(12);
    StreamTest test;
    for (int i = 0; i < 20000; ++i) {
        std::string payload = random() % 2 == 0 ? Conversation().substr(random() % 100, 1 + random() % 60) : "x";
        if (random() % 50 == 0) payload = U32(net::kMaxBody) + Hex("00") + std::string(1000, 'x');
        const bool syn = random() % 100 == 0;
        test.Add(static_cast<uint32_t>(random() % 5000), payload, syn, random() % 2,
                 static_cast<uint32_t>(random() % 1600));
    }
    EXPECT_LE(test.streams.Count(), CTcpStreams::kMaxStreams);
}

}  // namespace
