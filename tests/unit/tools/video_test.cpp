// H.264 byte streams to video frames.
#include "h264_stream.h"
#include "tools/lumo/media/video_publisher.h"

#include <random>

using namespace h264_stream;

namespace {

TEST(AnnexB, EveryPictureIsAUnitWithWhatStandsBeforeIt) {
    const std::string sei = "\0\0\1\x06sei"s, endOfSequence = "\0\0\1\x0a"s;
    const struct {
        const char* what;
        std::vector<std::string> units;
        const char* keys;
    } rows[] = {
        {"delimiters", {kAud + kSps + kPps + Idr("a"), kAud + Delta("b"), kAud + sei + Delta("c")}, "K--"},
        {"none", {kSps + kPps + sei + Idr("a"), Delta("b"), sei + Delta("c"), kSps + kPps + Idr("d")}, "K--K"},
        {"slices", {kSps + kPps + Idr("a") + "\0\0\1\x65\x4b"s, Delta("b") + More("c") + More("d"), Delta("e")}, "K--"},
        {"partitions", {Idr("a"), "\0\0\1\x42\xffp\0\0\1\x43q\0\0\1\x44r"s, Delta("d")}, "K--"},
        {"no IDR first", {Delta("a"), kSps + Idr("b")}, "-K"},
        {"trailing zeros", {Idr("a") + "\0\0\0"s, "\0"s + Delta("b"), Delta("c") + "\0\0"s}, "K--"},
        {"leading zeros", {"\0\0\0\0"s + Idr("a"), Delta("b")}, "K-"},
        {"end of sequence", {Idr("a") + endOfSequence, kSps + Idr("b")}, "KK"},
        {"empty NAL units", {Idr("a") + "\0\0\1\0\0\1"s, Delta("b")}, "K-"},
        {"filler, auxiliary", {Idr("a") + "\0\0\1\x0c\xff\0\0\1\x13\x80"s, Delta("b")}, "K-"},
        {"one slice of one byte", {"\0\0\1\x65"s}, "K"},
    };
    for (const auto& row : rows) {
        std::string bytes;
        for (const std::string& unit : row.units) bytes += unit;
        for (const size_t piece : {size_t{1}, size_t{3}, bytes.size()}) {
            const Stream read = Read(bytes, piece);
            EXPECT_EQ(read.units, row.units) << row.what << ' ' << piece;
            EXPECT_EQ(read.keys, row.keys) << row.what;
            EXPECT_EQ(read.problem, "") << row.what;
        }
    }
}

TEST(AnnexB, WhatIsNoStreamOrTooLargeIsSaidAloud) {
    constexpr size_t kMost = CAnnexBReader::kMaxUnit;
    const std::string key = kSps + kPps + Idr("a");
    const struct {
        std::string bytes;
        size_t units;
        const char* problem;
    } rows[] = {
        {"", 0, "no H.264 picture"},
        {"\0\0\1"s, 0, "no H.264 picture"},
        {"\0\0\1\0\0\1\0\0\1"s, 0, "no H.264 picture"},  // units of 0 bytes
        {kAud + kSps + kPps, 0, "no H.264 picture"},
        {"\0\0\0\x18"s + "ftypmp42 and so on", 0, "does not begin with a start code"},
        {key + Delta("b") + "\0\0\1\xe5"s + "c", 1, "damaged at byte 30"},
        {key + Delta(std::string(kMost - 5, 'x')) + Delta("c"), 3, ""},
        {key + Delta(std::string(kMost - 4, 'x')) + Delta("c"), 1, "more than 4194304 bytes"},
        {key + Delta(std::string(8 * 1024 * 1024, 'x')), 1, "more than 4194304 bytes"},
        {std::string(8 * 1024 * 1024, '\0'), 0, "more than 4194304 bytes"},
    };
    for (const auto& row : rows) {
        const Stream read = Read(row.bytes, 65536);
        EXPECT_EQ(read.units.size(), row.units) << row.problem;
        EXPECT_NE(read.problem.find(row.problem), std::string::npos) << read.problem;
        EXPECT_EQ(read.problem.empty(), *row.problem == '\0') << read.problem;
    }
}

TEST(AnnexB, TheSampleComesOutByteForByteAndDamageDoesNoHarm) {
    const std::string bytes = Moving();
    const Stream whole = Read(bytes, 65536);
    EXPECT_EQ(whole.units.size(), 250U);
    EXPECT_EQ(std::count(whole.keys.begin(), whole.keys.end(), 'K'), 5);
    EXPECT_EQ(whole.Whole(), bytes);
    EXPECT_EQ(Read(bytes, 1009).units, whole.units);
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        std::string damaged = bytes.substr(0, 20000);
        for (int i = 0; i < 20; ++i) damaged[random() % damaged.size()] = static_cast<char>(random() % 3);
        const Stream read = Read(damaged, 1 + random() % 5000);
        EXPECT_EQ(damaged.compare(0, read.Whole().size(), read.Whole()), 0) << round;
    }
}

/// A publisher on a file, and the frames that have come out of it.
class VideoPublishing : public ::testing::Test {
protected:
    /// `pattern`: K for an IDR picture with parameter sets, k for one without, - for any other, named by its place.
    static std::string Made(const std::string& pattern) {
        std::string bytes;
        for (size_t i = 0; i < pattern.size(); ++i) {
            const std::string name = std::to_string(100 + i);
            if (pattern[i] == 'K') bytes += kAud + kSps + kPps;
            bytes += pattern[i] == '-' ? Delta(name) : Idr(name);
        }
        return bytes;
    }
    void Open(const std::string& bytes, bool indexed, bool loop = false) {
        m_bytes = bytes;
        m_loop = loop;
        if (indexed) publisher.SetIndex(IndexOf(bytes), loop);
    }
    /// Sends that many frames, fewer at the end; their places in the stream: "0 1 2".
    std::string Play(size_t count) {
        frames.clear();
        while (frames.size() < count) {
            const CVideoPublisher::State state = publisher.Fetch(now);
            if (state == CVideoPublisher::State::Ready) {
                now = std::max(now, publisher.DueMs());
                publisher.Send(now);
            } else if (state == CVideoPublisher::State::NeedMore) {
                const size_t length = std::min<size_t>(7, m_bytes.size() - m_at);
                if (length == 0) publisher.Finish();
                publisher.Feed(m_bytes.data() + m_at, length);
                m_at += length;
            } else if (state == CVideoPublisher::State::GoOn) {
                m_at = publisher.GoOnAt();
            } else if (state == CVideoPublisher::State::End && m_loop) {
                m_at = 0;
                publisher.Rewind();
            } else {
                break;
            }
        }
        std::string places;
        for (const std::string& frame : frames)
            places += (places.empty() ? "" : " ") + std::to_string(std::stoi(frame.substr(frame.size() - 3)) - 100);
        return places;
    }
    std::vector<std::string> frames;
    uint64_t now = 5000;
    std::string numbered;  ///< what a sender over TCP writes over the number of a frame
    CVideoPublisher publisher{[this](std::string& frame) {
        frame.replace(1, numbered.size(), numbered);
        frames.push_back(frame);
    }};

private:
    std::string m_bytes;
    size_t m_at = 0;
    bool m_loop = false;
};

TEST_F(VideoPublishing, EachUnitLeavesInItsTimeBehindItsHead) {
    Open(Made("--K--k-"), false);
    publisher.SetRate(10);
    EXPECT_EQ(Play(100), "2 3 4 5 6") << "what comes before the first IDR picture helps nobody";
    EXPECT_EQ(now, 5400U);
    EXPECT_EQ(frames[0], "\1\0\0"s + kAud + kSps + kPps + Idr("102"));
    EXPECT_EQ(frames[1], "\0\0\1"s + Delta("103"));
    EXPECT_EQ(frames[3], "\1\0\3"s + kSps + kPps + Idr("105")) << "parameter sets for those who come later";
    EXPECT_EQ(publisher.KeyFrames(), 2U);
    frames.clear();
    publisher.SayGoodbye();
    EXPECT_EQ(frames[0], "\0\0\5\0\0\0\1\x0b"s);
}

TEST_F(VideoPublishing, GoesOnFromANumberThatWasWrittenIntoAFrame) {
    Open(Made("K---"), false);
    numbered = "\xff\xfe";
    EXPECT_EQ(Play(2), "0 1");
    numbered.clear();
    Play(2);
    EXPECT_EQ(frames[0].substr(0, 3), "\0\xff\xff"s);
    EXPECT_EQ(frames[1].substr(0, 3), "\0\0\0"s);
}

TEST_F(VideoPublishing, RequestsGoOnFromTheNearestKeyOfAFile) {
    Open(Made("K-----K-------K---"), true);
    EXPECT_EQ(Play(3), "0 1 2");
    now += CVideoPublisher::kMergeMs;
    publisher.RequestKeyFrame();
    EXPECT_EQ(Play(3), "6 7 8") << "3 is as far from 0: ahead then";
    publisher.RequestKeyFrame();
    publisher.RequestKeyFrame();
    EXPECT_EQ(Play(3), "9 10 11") << "too soon after a key frame";
    now += CVideoPublisher::kMergeMs;
    EXPECT_EQ(Play(9), "14 15 16 17") << "two requests are one";
    publisher.RequestKeyFrame();
    now += CVideoPublisher::kMergeMs;
    EXPECT_EQ(Play(2), "14 15") << "none ahead";
    EXPECT_EQ(publisher.Requests(), 4U);
}

TEST_F(VideoPublishing, ThoseWhoJoinOneByOneDoNotHoldItBack) {
    Open(Made("K-------K-------"), true, true);
    publisher.SetRate(5);
    std::string places;
    for (int i = 0; i < 5; ++i) {
        places += Play(2) + ", ";
        publisher.RequestKeyFrame();
    }
    EXPECT_EQ(places, "0 1, 0 1, 8 9, 8 9, 0 1, ");
}

TEST_F(VideoPublishing, AnInputThatComesWhenItComesIsNotSpedUpForLong) {
    Open(Made("K---------------"), false);
    publisher.RequestKeyFrame();
    EXPECT_EQ(Play(2), "0 1") << "without an index the request waits for the next one";
    now += 60000;
    EXPECT_EQ(Play(1), "2");
    const uint64_t late = now;
    Play(13);
    EXPECT_EQ(late, 65040U);
    EXPECT_EQ(now, late) << "less than a second behind";
    EXPECT_GE(publisher.DueMs(), late - CVideoPublisher::kLateMs);
}

}  // namespace
