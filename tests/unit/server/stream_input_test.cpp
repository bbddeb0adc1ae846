// What strangers send to the server of a medium that starts and stops: floods, wrong lengths, bytes that mean nothing.
#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"
#include "stream_host.h"
#include "video/local_mcu_video.h"
#include "video/video_sink.h"

#include <gtest/gtest.h>

#include <random>

using session_wire::Data;
using session_wire::U32;

namespace {

/// Sinks at one address.
template <class TTables>
size_t SinksAt(TTables& tables, uint32_t ip) {
    size_t count = 0;
    for (auto& sink : tables.sinks.Each()) count += sink.Info().ip == ip;
    return count;
}

struct MediumRow {
    const CMediumRow& medium;
    std::string frame;    // what its publisher sends behind the ID
    size_t leastOfIt;     // bytes of it that are one as well
    uint8_t first, last;  // codes
    size_t (*sinksAt)(uint32_t ip);
};
std::ostream& operator<<(std::ostream& out, const MediumRow& row) { return out << row.medium.name; }

const MediumRow kMedia[] = {
    {media::kAudio, "frame", 3, 0x00, 0x1a, [](uint32_t ip) { return SinksAt(GetLocalMCUAudio()->Tables(), ip); }},
    {media::kVideo, Data(0, "K"), 12 /* an empty packet */, 0x09, 0x24,
     [](uint32_t ip) { return SinksAt(GetLocalMCUVideo()->Tables(), ip); }},
};

class StreamInput : public testing::TestWithParam<MediumRow>, protected CStreamHost {
protected:
    StreamInput() : CStreamHost(GetParam().medium) {}

    /// All that a datagram can change.
    std::string State() {
        const CMediumStatus status = Status();
        std::string state = std::to_string(status.channels) + " " + std::to_string(status.sourcesUdp) + " " +
                            std::to_string(status.sinksUdp) + " " + std::to_string(status.traffic.framesIn) + " " +
                            std::to_string(host.lines.size());
        for (const CSentDatagram& one : host.net.Udp().TakeSent()) state += " " + ToHex(one.bytes);
        return state;
    }
};

TEST_P(StreamInput, FloodsOfRequestsStayWithinBounds) {
    Publish(kChannel, kAlice);
    const uint32_t bob = Listen(kChannel, 9, kBob);
    for (uint32_t i = 0; i < 20000; ++i) {
        const CEndpointAddress stranger{0x20000000 + i, 9};
        const std::string request = i % 2 ? Request(100 + i, kChannel) : Claim(1000 + i, i);
        host.clock.Advance(1);
        host.Deliver(request, stranger);
        size_t sent = 0;
        for (const CSentDatagram& one : host.net.Udp().TakeSent())
            if (one.ip == stranger.ip) sent += one.bytes.size() + 28;
        ASSERT_LE(sent, 3 * (request.size() + 28));
    }
    EXPECT_LE(Status().unvalidated, server::kMaxUnvalidated + server::kMaxClaims);
    constexpr uint32_t kOne = 0x30000000;
    for (uint32_t i = 0; i < 200; ++i) Connect(kChannel, 50000 + i, {kOne, static_cast<uint16_t>(i + 1)});
    EXPECT_EQ(GetParam().sinksAt(kOne), 64U);
    Say(m_sink.stop, bob, kBob);
    EXPECT_EQ(host.TakeCount(kBob, Code(m_sink.stopAck)), 1U) << "who is there is still served";
}

TEST_P(StreamInput, OnlyTheRightLengthsDoAnything) {
    const uint32_t source = Publish(kChannel, kAlice);
    Listen(kChannel, 9, kBob);
    host.Take(kAlice);
    const auto tryLengths = [&](const char* what, const std::string& datagram, size_t least, bool exact,
                                const CEndpointAddress& address) {
        SCOPED_TRACE(what);
        const std::string longest = datagram + std::string(13, 'x');  // one more is the other form of a request
        const std::string before = State();
        for (size_t length = 1; length <= longest.size(); ++length) {
            if (exact ? length == least : length >= least) continue;
            host.Deliver(longest.substr(0, length), address);
            ASSERT_EQ(State(), before) << length << " bytes";
        }
        host.Deliver(datagram, address);
        EXPECT_NE(State(), before) << "its own length";
    };
    const auto one = [&](uint8_t code, uint32_t id) { return Datagram(m_medium, code, {id}); };
    tryLengths("short request", Request(10, kChannel), 14, true, kCarol);
    // Of a channel that is not here, so that the short form that it begins with is nothing.
    const std::string request =
        Datagram(m_medium, m_sink.connect, {11, 78, kFar.ip, 0, 0}, U32(kFar.port).substr(2) + U32(1));
    tryLengths("long request", request, 28, true, kCarol);
    host.Deliver(Claim(79, 6), kCarol);
    const uint32_t claimed = host.LastID(kCarol, Code(m_source.connectAck), 6);
    host.Take(kCarol);
    tryLengths("claim", Claim(80, 7), 10, true, kCarol);
    tryLengths("claim's proof", one(m_source.stopAck, claimed), 6, true, kCarol);
    const std::string head = one(m_source.frame, source);
    tryLengths("frame", head + GetParam().frame, head.size() + GetParam().leastOfIt, false, kAlice);
    tryLengths("goodbye", one(m_source.disconnect, source), 6, true, kAlice);
}

TEST_P(StreamInput, AnyBytesAreTaken) {
    const MediumRow& medium = GetParam();
    const uint32_t source = Publish(kChannel, kAlice);
    const uint32_t sink = Listen(kChannel, 9, kBob);
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        std::string bytes(2 + random() % 64, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        bytes[0] = static_cast<char>(m_medium.kind);
        if (i % 4 != 0) bytes[1] = static_cast<char>(medium.first + random() % (medium.last - medium.first));
        if (bytes.size() > 6 && i % 3 == 0) bytes.replace(2, 4, U32(i % 6 == 0 ? source : sink));
        host.Deliver(bytes, i % 5 == 0   ? kAlice
                            : i % 5 == 1 ? kBob
                                         : CEndpointAddress{static_cast<uint32_t>(random()), 5});
        host.Validate(static_cast<uint32_t>(random() % 16), bytes);
        if (i % 100 == 0) host.Run(1100, 1100);
        host.net.Udp().TakeSent();
    }
    EXPECT_NE(Publish(kChannel + 1, kCarol), 0U);
    EXPECT_NE(Connect(kChannel + 1, 12, kBob), 0U);
}

INSTANTIATE_TEST_SUITE_P(Media, StreamInput, testing::ValuesIn(kMedia), testing::PrintToStringParamName());

}  // namespace
