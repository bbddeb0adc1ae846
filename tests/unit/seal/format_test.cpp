#include "seal/header.h"
#include "seal/key_maker.h"
#include "seal_scene.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace {

using nlohmann::json;

std::string Hex(const void* data, size_t length) {
    std::string hex;
    for (size_t i = 0; i < length; ++i) {
        const unsigned byte = static_cast<const unsigned char*>(data)[i];
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}
std::string Hex(const std::string& bytes) { return Hex(bytes.data(), bytes.size()); }

std::string FromHex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoul(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

const unsigned char* Bytes(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }
unsigned char* Bytes(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

json Vectors() { return json::parse(std::ifstream(LUMO_SOURCE_DIR "/tests/data/sframe_vectors.json")); }

TEST(SealFormat, HeadersAreThoseOfTheVectors) {
    const json rows = Vectors()["headers"];
    ASSERT_EQ(rows.size(), 289U);
    for (const json& row : rows) {
        const auto keyID = row[0].get<uint64_t>();
        const auto counter = row[1].get<uint64_t>();
        const std::string expected = FromHex(row[2]);
        unsigned char header[seal::kHeaderMost];
        EXPECT_EQ(Hex(header, static_cast<size_t>(seal::WriteHeader(keyID, counter, header))), row[2]);

        seal::Header read{};
        const auto length = static_cast<int>(expected.size());
        ASSERT_TRUE(seal::ReadHeader(Bytes(expected + "more"), length + 4, read)) << row;
        EXPECT_EQ(read.keyID, keyID);
        EXPECT_EQ(read.counter, counter);
        EXPECT_EQ(read.length, length);
        for (int cut = 0; cut < length; ++cut) EXPECT_FALSE(seal::ReadHeader(Bytes(expected), cut, read)) << row;
    }
}

TEST(SealFormat, AValueInMoreBytesThanItNeedsIsNoHeader) {
    seal::Header read{};
    for (const char* hex : {"8007", "0807", "9000ff", "0900ff", "f0000000000000010000", "0f00ffffffffffffff"}) {
        const std::string header = FromHex(hex);
        EXPECT_FALSE(seal::ReadHeader(Bytes(header), static_cast<int>(header.size()), read)) << hex;
    }
}

TEST(SealFormat, FramesAreThoseOfTheVectors) {
    const json rows = Vectors()["frames"];
    ASSERT_EQ(rows.size(), 2U);
    for (const json& row : rows) {
        const auto suite = static_cast<SealSuite>(row["cipher_suite"].get<int>());
        const auto keyID = row["kid"].get<uint64_t>();
        const auto counter = row["ctr"].get<uint64_t>();
        const std::string base = FromHex(row["base_key"]), plain = FromHex(row["pt"]), sealed = FromHex(row["ct"]);
        std::string out(seal::kHeaderMost, '\0');
        out.resize(static_cast<size_t>(seal::WriteHeader(keyID, counter, Bytes(out))));
        const size_t header = out.size();
        const std::string authenticated = out + FromHex(row["metadata"]);
        ASSERT_EQ(Hex(authenticated), row["aad"]);
        out.resize(header + plain.size() + seal::kTagLength);

        seal::CHkdf hkdf(suite);
        seal::CFrameKey sealing, opening;
        ASSERT_TRUE(sealing.Set(suite, seal::CFrameKey::Use::Seal, keyID, Bytes(base), base.size(), hkdf));
        ASSERT_TRUE(opening.Set(suite, seal::CFrameKey::Use::Open, keyID, Bytes(base), base.size(), hkdf));
        const auto length = static_cast<int>(plain.size());
        ASSERT_TRUE(sealing.Begin(counter, Bytes(authenticated), static_cast<int>(authenticated.size())));
        ASSERT_TRUE(sealing.Pass(plain.data(), length, &out[header]));
        ASSERT_TRUE(sealing.FinishSeal(Bytes(out) + header + plain.size()));
        EXPECT_EQ(Hex(out), row["ct"]);

        ASSERT_TRUE(opening.Begin(counter, Bytes(authenticated), static_cast<int>(authenticated.size())));
        ASSERT_TRUE(opening.Pass(&sealed[header], length, &out[header]));
        EXPECT_TRUE(opening.FinishOpen(Bytes(sealed) + header + plain.size()));
        EXPECT_EQ(out.substr(header, plain.size()), plain);
    }
}

// Computed apart from this code: how a base key is made of a secret, and where the clear bytes of a video stand.
TEST(SealFormat, WhatIsSealedIsTheSameForEver) {
    struct Row {
        LumoSealStream stream;
        SealSuite suite;
        uint64_t counter;
        std::string frame;
        const char* base;
        const char* sealed;
    };
    const Row rows[] = {{{SEAL_VIDEO, SEAL_DOWN, 0xdeadbeef},
                         SEAL_AES_128_GCM_SHA256_128,
                         300,
                         std::string("\1\0\0picture", 10),
                         "456a8fa48d8af10425b742c30decb3e5806f83a58ff23ea05c2a2fce36b0b087",
                         "010000f98000000100000002012cab1803902b03cf7fad6d530c7fbf6ebf31b39017672750"},
                        {{SEAL_FILE, SEAL_UP, 7},
                         SEAL_AES_256_GCM_SHA512_128,
                         5,
                         "status",
                         "3193891c9234b9edf4b8953c5df9bc7cbc181feb6af0488ff747b5ff27213c28",
                         "f58000000100000002923e06717de5e8f2c0d5eb912a2f7a0dc3110b0505be"}};
    for (const Row& row : rows) {
        constexpr uint64_t keyID = 0x8000000100000002;
        CKeyMaker maker(Secret(), row.stream, row.suite, seal::CFrameKey::Use::Seal);
        seal::Wiped<32> base;
        ASSERT_TRUE(maker.MakeBase(keyID, base));
        EXPECT_EQ(Hex(base.data(), base.size()), row.base);

        CSealer sealer(Secret(), row.stream, row.suite, 1);
        CSealerState::Seem(sealer, keyID);
        CSealerState::Seem(sealer, row.counter, 0);
        const std::string sealed = Sealed(sealer, row.frame);
        EXPECT_EQ(Hex(sealed), row.sealed);
        COpener opener(Secret(), row.stream, row.suite, true);
        EXPECT_EQ(Open(opener, sealed).frame, row.frame);

        uint64_t readID = 0, readCounter = 0;
        EXPECT_TRUE(
            ReadSealedFrame(row.stream.medium, sealed.data(), static_cast<int>(sealed.size()), readID, readCounter));
        EXPECT_EQ(readID, keyID);
        EXPECT_EQ(readCounter, row.counter);
    }
}

TEST(SealSecret, HasOneTextAndNothingElseIsOne) {
    const std::string good[] = {"AAECAwQFBgcICQoLDA0ODw", "8PHy8_T19vf4-fr7_P3-_w", "_____________________w"};
    for (const std::string& text : good) {
        CSealSecret secret;
        ASSERT_TRUE(secret.Parse(text.data(), static_cast<int>(text.size())));
        char again[kSealSecretLength + 1];
        secret.GetText(again);
        EXPECT_EQ(again, text);
    }
    const std::string bad[] = {"",
                               "AAECAwQFBgcICQoLDA0OD",
                               "AAECAwQFBgcICQoLDA0ODwA",
                               "AAECAwQFBgcICQoLDA0ODx",
                               "AAECAwQFBgcICQoLDA0ODz",
                               "AAECAwQFBgcICQoLDA0OD+",
                               "8PHy8/T19vf4+fr7/P3+/w",
                               "AAECAwQFBgcICQoLDA0O==",
                               " AECAwQFBgcICQoLDA0ODw",
                               "AAECAwQFBgcICQoLDA0ODw==",
                               std::string("AAECAwQFBgcICQoLDA0OD\0", 22),
                               "AAECAwQFBgcICQoLDA0OD\xff"};
    for (const std::string& text : bad) {
        CSealSecret secret = Secret();
        EXPECT_FALSE(secret.Parse(text.data(), static_cast<int>(text.size()))) << text;
        EXPECT_FALSE(secret.IsSet()) << text;
        CSealer sealer(secret, kFile);
        EXPECT_EQ(Sealed(sealer, "frame"), "") << text;
    }
    CSealSecret drawn, other;
    ASSERT_TRUE(drawn.Draw() && other.Draw());
    char one[kSealSecretLength + 1], two[kSealSecretLength + 1];
    drawn.GetText(one);
    other.GetText(two);
    EXPECT_STRNE(one, two);
    EXPECT_TRUE(other.Parse(one, kSealSecretLength));
    CSealSecret::Wipe(one, sizeof one);
    EXPECT_EQ(std::string(one, sizeof one), std::string(sizeof one, '\0'));
}

// What is wiped lies in storage that the test still owns.
TEST(SealSecret, IsWipedWhenItGoes) {
    alignas(CSealSecret) unsigned char storage[sizeof(CSealSecret)];
    const auto* secret = new (storage) CSealSecret(Secret());
    const std::string bytes("\0\1\2\3\4\5\6\7\x8\x9\xa\xb\xc\xd\xe\xf", 16);
    const auto* volatile seen = reinterpret_cast<const char*>(storage);
    ASSERT_NE(std::string(seen, sizeof storage).find(bytes), std::string::npos);
    secret->~CSealSecret();
    EXPECT_EQ(std::string(seen, sizeof storage).find(bytes), std::string::npos);
}

TEST(SealFormat, NothingIsLeftInTheErrorsOfTheCryptographicLibrary) {
    CSealer sealer(Secret(), kFile);
    std::string sealed = Sealed(sealer, "frame");
    sealed.back() = static_cast<char>(sealed.back() ^ 1);
    COpener opener(Secret(), kFile);
    EXPECT_EQ(Open(opener, sealed).outcome, SEAL_WRONG);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
