// Links that people hand on, and what a receiver makes of frames that do not open.
#include "tools/lumo/net/share_link.h"
#include "tools/lumo/seal/stream_seal.h"
#include "tools/lumo/ui/qr_code.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace lumo;

namespace {

TEST(ShareLink, WhatIsMeant) {
    const struct {
        const char *text, *host;
        uint16_t port;
        LinkMedium medium;
        uint32_t channel;
        bool sealed;
    } rows[] = {
        {"lumo://relay.example/file/3735928559#AAECAwQFBgcICQoLDA0ODw", "relay.example", 7000, LinkMedium::File,
         3735928559, true},
        {"lumo://10.0.0.1:7001/audio/1", "10.0.0.1", 7001, LinkMedium::Audio, 1, false},
        {"lumo://[2001:db8::1]/video/4294967295", "2001:db8::1", 7000, LinkMedium::Video, 4294967295, false},
        {"lumo://[fe80::1%eth0]:65535/desktop/7#AAECAwQFBgcICQoLDA0ODw", "fe80::1%eth0", 65535, LinkMedium::Desktop, 7,
         true},
        {"lumo://h/board/21", "h", 7000, LinkMedium::Board, 21, false},
    };
    for (const auto& row : rows) {
        ShareLink link;
        std::string problem;
        ASSERT_TRUE(ParseShareLink(row.text, link, problem)) << row.text << ": " << problem;
        EXPECT_EQ(link.mcu.host, row.host);
        EXPECT_EQ(link.mcu.port, row.port);
        EXPECT_EQ(link.medium, row.medium);
        EXPECT_EQ(link.channel, row.channel);
        EXPECT_EQ(link.secret.IsSet(), row.sealed);
        EXPECT_EQ(SecretText(link), row.text);
        EXPECT_EQ(PublicText(link), std::string(row.text).substr(0, std::string(row.text).find('#')));
    }
}

TEST(ShareLink, FaultsAreNamedAndSecretsAreNot) {
    const struct {
        const char *text, *word;
    } rows[] = {
        {"", "lumo://"},
        {"http://h/file/1", "lumo://"},
        {"LUMO://h/file/1", "lumo://"},
        {" lumo://h/file/1", "lumo://"},
        {"lumo://h", "form"},
        {"lumo://h/file", "form"},
        {"lumo://h#/file/1", "form"},
        {"lumo:///file/1", "no host"},
        {"lumo://me@h/file/1", "host"},
        {"lumo://-h/file/1", "host"},
        {"lumo://h h/file/1", "host"},
        {"lumo://[::1/file/1", "]"},
        {"lumo://[::1]x/file/1", "host"},
        {"lumo://::1/file/1", "brackets"},
        {"lumo://h:/file/1", "port"},
        {"lumo://h:0/file/1", "port"},
        {"lumo://h:07000/file/1", "port"},
        {"lumo://h:65536/file/1", "port"},
        {"lumo://h/files/1", "medium"},
        {"lumo://h/File/1", "medium"},
        {"lumo://h/file/0", "channel"},
        {"lumo://h/file/01", "channel"},
        {"lumo://h/file/4294967296", "channel"},
        {"lumo://h/file/1/", "channel"},
        {"lumo://h/file/1?x", "channel"},
        {"lumo://h/file/1#", "no secret"},
        {"lumo://h/file/1#AAECAwQFBgcICQoLDA0OD", "no secret"},
        {"lumo://h/file/1#AAECAwQFBgcICQoLDA0ODw ", "no secret"},
        {"lumo://h/file/1#AAECAwQFBgcICQoLDA0ODx", "no secret"},
        {"lumo://h/board/1#AAECAwQFBgcICQoLDA0ODw", "board"},
    };
    for (const auto& row : rows) {
        ShareLink link;
        std::string problem;
        EXPECT_FALSE(ParseShareLink(row.text, link, problem)) << row.text;
        EXPECT_NE(problem.find(row.word), std::string::npos) << row.text << ": " << problem;
        EXPECT_EQ(problem.find("AAECAw"), std::string::npos) << problem;
        EXPECT_FALSE(link.secret.IsSet());
    }
}

TEST(ShareLink, ACodeIsDrawnWhereItFits) {
    const std::string link = "lumo://relay.example/file/3735928559#AAECAwQFBgcICQoLDA0ODw";
    EXPECT_EQ(QrPicture(link, 40, false), "");
    const std::string picture = QrPicture(link, 41, false);
    EXPECT_EQ(std::count(picture.begin(), picture.end(), '\n'), 21);
    EXPECT_EQ(picture.find('\n'), 41 * std::string("\u2588").size()) << "a light border";
}

/// A sender with a secret of its own choice, or none, and a receiver with another.
class VerdictTest : public testing::Test {
protected:
    static constexpr LumoSealStream kStream = {SEAL_AUDIO, SEAL_DOWN, 7};

    static CSealSecret Secret(char first) {
        const std::string text = first + std::string(21, 'A');
        CSealSecret secret;
        EXPECT_EQ(secret.Parse(text.data(), static_cast<int>(text.size())), first != 0);
        return secret;
    }
    /// Frames of one sender, a second apart from 10 s on, three of them.
    static SealVerdict After(CStreamOpener& opener, CStreamSealer& sealer) {
        SealVerdict verdict = SealVerdict::NothingYet;
        for (uint64_t now = 10000; now <= 12000; now += 1000) {
            EXPECT_FALSE(IsInVain(opener.Verdict(now - 1)));
            const std::string word = "word";
            const char* data = word.data();
            int length = static_cast<int>(word.size());
            EXPECT_TRUE(sealer.Seal(data, length));
            std::string frame(data, static_cast<size_t>(length));
            char* opened = frame.data();
            size_t left = frame.size();
            const bool taken = opener.Open(opened, left, now);
            EXPECT_TRUE(!taken || std::string(opened, left) == word);
            verdict = opener.Verdict(now);
        }
        return verdict;
    }
};

TEST_F(VerdictTest, SaysWhyNothingOpens) {
    const unsigned long today = CSealer::StartNow(), longAgo = today - 2 * 24 * 60;
    const struct {
        char sender, receiver;
        unsigned long start;
        SealVerdict verdict;
    } rows[] = {
        {'B', 'B', today, SealVerdict::Opened},       {0, 0, 0, SealVerdict::Opened},
        {'B', 'C', today, SealVerdict::WrongSecret},  {0, 'B', 0, SealVerdict::SenderIsPlain},
        {'B', 0, today, SealVerdict::SenderIsSealed}, {'B', 'B', longAgo, SealVerdict::ClockDiffers},
    };
    for (const auto& row : rows) {
        CStreamSealer sealer(Secret(row.sender), kStream, row.start);
        CStreamOpener opener(Secret(row.receiver), kStream);
        EXPECT_EQ(opener.Verdict(99999), SealVerdict::NothingYet);
        const SealVerdict verdict = After(opener, sealer);
        EXPECT_EQ(verdict, row.verdict) << VerdictText(verdict);
        EXPECT_EQ(IsInVain(verdict), *VerdictText(verdict) != '\0');
    }
}

TEST_F(VerdictTest, OneOpenedFrameEndsTheTestForGood) {
    CStreamSealer ours(Secret('B'), kStream), others(Secret('C'), kStream);
    CStreamOpener opener(Secret('B'), kStream);
    ASSERT_EQ(After(opener, ours), SealVerdict::Opened);
    EXPECT_EQ(After(opener, others), SealVerdict::Opened);
    EXPECT_EQ(opener.Verdict(UINT64_MAX), SealVerdict::Opened);
}

}  // namespace
