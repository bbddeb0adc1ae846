#include "support/fake_net.h"

#include <gtest/gtest.h>
#include <lumomedia/base.h>

#include <string>

namespace {

CCmdPacket Sample() {
    CCmdPacket packet;
    packet.PutAttrib("text", std::string("a\0b", 3));
    packet.PutAttribBL("flag", true);
    packet.PutAttribUS("port", 65535);
    packet.PutAttribUL("address", 0xfffffffful);
    packet.PutAttrib("", "no name");
    packet.SetFromUID(77);
    return packet;
}

TEST(CmdPacketTest, GivesBackWhatWasPutAndNothingElse) {
    CCmdPacket packet = Sample();
    EXPECT_EQ(packet.GetFromUID(), 77ul);
    for (const std::string name : {"absent", "text", "flag", "port", "address"}) {
        EXPECT_EQ(packet.GetAttrib(name), name == "text" ? std::string("a\0b", 3) : "") << name;
        EXPECT_EQ(packet.GetAttribBL(name), name == "flag") << name;
        EXPECT_EQ(packet.GetAttribUS(name), name == "port" ? 65535 : 0) << name;
        EXPECT_EQ(packet.GetAttribUL(name), name == "address" ? 0xfffffffful : 0ul) << name;
    }
    packet.PutAttribUS("text", 9);
    EXPECT_EQ(packet.GetAttrib("text"), "");
    EXPECT_EQ(packet.GetAttribUS("text"), 9);
}

TEST(CmdPacketTest, TheSerialisedFormIsFixed) {
    CCmdPacket packet;
    packet.PutAttribUL("d", static_cast<unsigned long>(0x1201020304ull));  // 32 bits of it
    packet.PutAttribUS("c", 0x0506);
    packet.PutAttribBL("b", true);
    packet.PutAttrib("a", "xyz");
    EXPECT_EQ(ToHex(packet.Serialize()), ToHex(Hex("01 0004  0001 61 01 0003 78797a  0001 62 02 01  "
                                                   "0001 63 03 0506  0001 64 04 01020304")));
    EXPECT_EQ(ToHex(CCmdPacket().Serialize()), "010000");
}

TEST(CmdPacketTest, RefusesEveryTruncationAndWhatIsHostile) {
    const struct {
        const char* why;
        const char* hex;
    } rows[] = {
        {"version", "02 0000"},
        {"fewer attributes than said", "01 0002 0001 61 02 01"},
        {"most attributes, none there", "01 ffff"},
        {"name longer than all", "01 0001 ffff 61 02 01"},
        {"text longer than all", "01 0001 0001 61 01 ffff 78"},
        {"type 0", "01 0001 0001 61 00"},
        {"type 5", "01 0001 0001 61 05 00"},
        {"boolean 2", "01 0001 0001 61 02 02"},
        {"name twice", "01 0002 0001 61 02 01 0001 61 02 01"},
        {"names out of order", "01 0002 0001 62 02 01 0001 61 02 01"},
        {"something behind", "01 0000 00"},
    };
    CCmdPacket packet = Sample();
    const std::string bytes = packet.Serialize();
    for (const auto& row : rows) EXPECT_FALSE(CCmdPacket::Parse(Hex(row.hex), packet)) << row.why;
    // A block of exactly that length: a read past it is caught by the sanitizers.
    for (size_t length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(CCmdPacket::Parse(std::string(bytes.data(), length), packet)) << length;
    EXPECT_EQ(packet.Serialize(), bytes) << "left as it was";
    EXPECT_EQ(packet.GetFromUID(), 77ul);
    packet.PutAttrib("before", "gone after");
    ASSERT_TRUE(CCmdPacket::Parse(bytes, packet));
    EXPECT_EQ(packet.Serialize(), bytes);
    EXPECT_EQ(packet.GetFromUID(), 0ul) << "whoever carries it knows the sender";
}

TEST(CmdPacketTest, SixtyFourKibibytesAreTheLimit) {
    const size_t overhead = 3 + 2 + 1 + 1 + 2;
    CCmdPacket parsed;
    for (const bool fits : {true, false}) {
        CCmdPacket packet;
        packet.PutAttrib("n", std::string(65536 - overhead + (fits ? 0 : 1), 'v'));
        const std::string bytes = packet.Serialize();
        EXPECT_EQ(bytes.size(), fits ? 65536u : 0u);
        EXPECT_EQ(CCmdPacket::Parse(bytes, parsed), fits);
    }
    CCmdPacket many;
    for (int i = 0; i < 20000; ++i) many.PutAttribBL(std::to_string(i), true);
    EXPECT_EQ(many.Serialize(), "");
}

}  // namespace
