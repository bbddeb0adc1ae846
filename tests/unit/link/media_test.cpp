// The one place where the table of media is compared with the bytes of the wire: other tests take their codes from it.
#include "link/media.h"

#include "support/fake_net.h"

#include <gtest/gtest.h>

namespace {

/// As they cross the wire, in hexadecimal: 00 where there is none.
struct GoldenRow {
    const CMediumRow& medium;
    const char* kind;
    const char* sink;    // connect, keep-alive or start, stop, each before its answer; frame, frame back, disconnect
    const char* source;  // the same
    const char* tcp;     // service of senders and of receivers; start, stop, key frame
};
const GoldenRow kGolden[] = {
    {media::kAudio, "00", "0001 0405 0607 0200 08", "1213 1415 1617 1900 18", "0203 000100"},
    {media::kVideo, "01", "090a 0b0c 0d0e 0f10 11", "1b1c 1d1e 1f20 2122 23", "0708 040506"},
    {media::kWhiteboard, "04", "2425 2728 0000 2a29 26", "0000 0000 0000 0000 00", "0909 000000"},
    {media::kDesktop, "05", "2b2c 2d2e 0000 2f30 31", "3233 3637 0000 3435 38", "0a0b 000000"},
    {media::kFile, "06", "393a 3b3c 0000 3d3e 3f", "4041 4445 0000 4243 46", "0c0d 000000"},
};

template <class TRow>
std::string Codes(const TRow& row) {
    std::string codes;
    for (const uint8_t code : {row.connect, row.connectAck, row.keepAlive, row.keepAliveAck, row.stop, row.stopAck,
                               row.frame, row.frameAck, row.disconnect})
        codes += static_cast<char>(code);
    return ToHex(codes);
}

TEST(Media, SayOnTheWireWhatOtherProgramsUnderstand) {
    for (const GoldenRow& golden : kGolden) {
        SCOPED_TRACE(golden.medium.name);
        const CTcpRow& tcp = golden.medium.tcp;
        EXPECT_EQ(ToHex(std::string(1, static_cast<char>(golden.medium.kind))), golden.kind);
        EXPECT_EQ(Codes(golden.medium.sink), ToHex(Hex(golden.sink)));
        EXPECT_EQ(Codes(golden.medium.source), ToHex(Hex(golden.source)));
        EXPECT_EQ(
            ToHex({static_cast<char>(tcp.sender), static_cast<char>(tcp.receiver), tcp.start, tcp.stop, tcp.keyFrame}),
            ToHex(Hex(golden.tcp)));
    }
}

}  // namespace
