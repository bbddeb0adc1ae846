#include <gtest/gtest.h>
#include <lumomedia/base.h>

#include <string>

namespace {

std::string Bytes(std::initializer_list<int> values) {
    std::string bytes;
    for (const int value : values) bytes.push_back(static_cast<char>(value));
    return bytes;
}

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
    if (sizeof(unsigned long) > 4) {
        packet.PutAttribUL("long", static_cast<unsigned long>(0x1200000005ull));
        EXPECT_EQ(packet.GetAttribUL("long"), 5ul);
    }
}

TEST(CmdPacketTest, TheSerialisedFormIsFixed) {
    CCmdPacket packet;
    packet.PutAttribUL("d", 0x01020304);
    packet.PutAttribUS("c", 0x0506);
    packet.PutAttribBL("b", true);
    packet.PutAttrib("a", "xyz");
    EXPECT_EQ(packet.Serialize(), Bytes({1, 0, 4,                            //
                                         0, 1, 'a', 1, 0, 3, 'x', 'y', 'z',  //
                                         0, 1, 'b', 2, 1,                    //
                                         0, 1, 'c', 3, 5, 6,                 //
                                         0, 1, 'd', 4, 1, 2, 3,   4}));
    EXPECT_EQ(CCmdPacket().Serialize(), Bytes({1, 0, 0}));
}

TEST(CmdPacketTest, ARoundTripKeepsAllButTheSender) {
    const std::string bytes = Sample().Serialize();
    CCmdPacket packet;
    packet.PutAttrib("before", "gone after");
    packet.SetFromUID(5);
    ASSERT_TRUE(CCmdPacket::Parse(bytes, packet));
    EXPECT_EQ(packet.Serialize(), bytes);
    EXPECT_EQ(packet.GetAttrib("before"), "");
    EXPECT_EQ(packet.GetFromUID(), 0ul);
}

TEST(CmdPacketTest, RefusesEveryTruncationAndAnythingBehind) {
    const std::string bytes = Sample().Serialize();
    CCmdPacket packet = Sample();
    for (size_t length = 0; length < bytes.size(); ++length) {
        // A block of exactly that length: a read past it is caught by the sanitizers.
        EXPECT_FALSE(CCmdPacket::Parse(std::string(bytes.data(), length), packet)) << length;
    }
    EXPECT_FALSE(CCmdPacket::Parse(bytes + '\0', packet));
    EXPECT_EQ(packet.Serialize(), bytes) << "left as it was";
    EXPECT_EQ(packet.GetFromUID(), 77ul);
}

TEST(CmdPacketTest, RefusesHostileForms) {
    const struct {
        const char* why;
        std::string bytes;
    } rows[] = {
        {"version", Bytes({2, 0, 0})},
        {"fewer attributes than said", Bytes({1, 0, 2, 0, 1, 'a', 2, 1})},
        {"most attributes, none there", Bytes({1, 255, 255})},
        {"name longer than all", Bytes({1, 0, 1, 255, 255, 'a', 2, 1})},
        {"text longer than all", Bytes({1, 0, 1, 0, 1, 'a', 1, 255, 255, 'x'})},
        {"type 0", Bytes({1, 0, 1, 0, 1, 'a', 0})},
        {"type 5", Bytes({1, 0, 1, 0, 1, 'a', 5, 0})},
        {"boolean 2", Bytes({1, 0, 1, 0, 1, 'a', 2, 2})},
        {"name twice", Bytes({1, 0, 2, 0, 1, 'a', 2, 1, 0, 1, 'a', 2, 1})},
        {"names out of order", Bytes({1, 0, 2, 0, 1, 'b', 2, 1, 0, 1, 'a', 2, 1})},
    };
    for (const auto& row : rows) {
        CCmdPacket packet;
        EXPECT_FALSE(CCmdPacket::Parse(row.bytes, packet)) << row.why;
        EXPECT_EQ(packet.Serialize(), CCmdPacket().Serialize()) << row.why;
    }
}

TEST(CmdPacketTest, SixtyFourKibibytesAreTheLimit) {
    const size_t overhead = 3 + 2 + 1 + 1 + 2;
    for (const bool fits : {true, false}) {
        CCmdPacket packet;
        packet.PutAttrib("n", std::string(65536 - overhead + (fits ? 0 : 1), 'v'));
        const std::string bytes = packet.Serialize();
        EXPECT_EQ(bytes.size(), fits ? 65536u : 0u);
        CCmdPacket parsed;
        EXPECT_EQ(CCmdPacket::Parse(bytes, parsed), fits);
    }
    CCmdPacket many;
    for (int i = 0; i < 20000; ++i) many.PutAttribBL(std::to_string(i), true);
    EXPECT_EQ(many.Serialize(), "");
    EXPECT_FALSE(CCmdPacket::Parse(Bytes({1, 0, 0}) + std::string(65536, 'x'), many));
}

}  // namespace
