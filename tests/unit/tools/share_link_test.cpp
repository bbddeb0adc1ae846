// Links that people hand on, and what a receiver makes of frames that do not open.
#include "tools/lumo/net/share_link.h"
#include "tools/lumo/seal/stream_seal.h"
#include "tools/lumo/ui/qr_code.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

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

CSealSecret SecretOf(char first) {
    const std::string text = first + std::string(21, 'A');
    CSealSecret secret;
    EXPECT_EQ(secret.Parse(text.data(), static_cast<int>(text.size())), first != 0);
    return secret;
}

/// A frame of one sender comes to a receiver: what it opens as, nothing where it does not.
std::string Pass(CStreamSealer& sealer, CStreamOpener& opener, uint64_t now, const std::string& word = "word") {
    const char* data = word.data();
    int length = static_cast<int>(word.size());
    EXPECT_TRUE(sealer.Seal(data, length));
    std::string frame(data, static_cast<size_t>(length));
    char* opened = frame.data();
    size_t left = frame.size();
    return opener.Open(opened, left, now) ? std::string(opened, left) : "";
}

constexpr LumoSealStream kSound = {SEAL_AUDIO, SEAL_DOWN, 7};

TEST(SealVerdict, SaysWhyNothingOpens) {
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
        CStreamSealer sealer(SecretOf(row.sender), kSound, row.start), others(SecretOf('X'), kSound);
        CStreamOpener opener(SecretOf(row.receiver), kSound);
        EXPECT_EQ(opener.Verdict(99999), SealVerdict::NothingYet);
        EXPECT_EQ(opener.LastVerdict(), SealVerdict::NothingYet);
        const bool opens = row.verdict == SealVerdict::Opened;
        for (uint64_t now = 10000; now <= 12000; now += 1000) {
            EXPECT_FALSE(IsInVain(opener.Verdict(now - 1)));
            EXPECT_EQ(Pass(sealer, opener, now), opens ? "word" : "");
        }
        EXPECT_EQ(opener.Verdict(12000), row.verdict) << VerdictText(row.verdict);
        EXPECT_EQ(IsInVain(row.verdict), *VerdictText(row.verdict) != '\0');
        for (uint64_t now = 13000; opens && now < 20000; now += 1000) Pass(others, opener, now);
        EXPECT_EQ(opener.Verdict(20000), row.verdict) << "one that opens ends the test for good";
    }
}

// What few frames say counts only for who gives up anyway.
TEST(SealVerdict, ComesWhenFramesHaveKeptComing) {
    const struct {
        std::vector<uint64_t> arrivals;  // in tenths of a second
        uint64_t judged;                 // 0: never
    } rows[] = {{{1, 11, 21}, 21},     {{1, 9, 12}, 16},
                {{1, 12, 23}, 23},     {{1}, 0},
                {{1, 11}, 0},          {std::vector<uint64_t>(50, 1), 0},
                {{1, 1, 1, 10}, 0},    {{1, 1, 1, 40, 41, 80, 120}, 0},
                {{1, 50, 60, 70}, 70}, {{1, 25, 50}, 50}};
    for (const auto& [arrivals, judged] : rows) {
        CStreamSealer others(SecretOf('C'), kSound);
        CStreamOpener opener(SecretOf('B'), kSound);
        uint64_t first = 0;
        for (uint64_t now = 0; now < 200 && first == 0; ++now) {
            for (const uint64_t arrival : arrivals)
                if (arrival == now) Pass(others, opener, 100 * now);
            if (IsInVain(opener.Verdict(100 * now))) first = now;
        }
        EXPECT_EQ(first, judged) << arrivals.size() << " frames, the last at " << arrivals.back();
        EXPECT_EQ(opener.LastVerdict(), SealVerdict::WrongSecret);
    }
}

TEST(SealedVideo, IsNumberedOnWhereItGoesOnUnderAnotherKeyID) {
    constexpr LumoSealStream kFilm = {SEAL_VIDEO, SEAL_DOWN, 7};
    CStreamOpener opener(SecretOf('B'), kFilm);
    CStreamSealer first(SecretOf('B'), kFilm), second(SecretOf('B'), kFilm);
    const struct {
        CStreamSealer& sealer;
        char number;  // none: the frame is lost
    } rows[] = {{first, '\0'},  {first, '\1'}, {first, 'x'},  {first, '\3'},
                {second, '\4'}, {second, 'x'}, {second, '\6'}};
    for (const auto& [sealer, number] : rows) {
        CStreamOpener lost(SecretOf('B'), kFilm);
        const std::string frame = Pass(sealer, number == 'x' ? lost : opener, 1, "\1??picture");
        if (number == 'x') continue;
        EXPECT_EQ(frame, std::string({'\1', '\0', number}) + "picture");
    }
}

}  // namespace
