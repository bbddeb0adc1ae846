// H.264 byte streams to video frames, and back.
#include "media_input.h"
#include "support/scratch.h"
#include "tools/lumo/media/video_frame.h"
#include "tools/lumo/media/video_publisher.h"
#include "tools/lumo/media/video_recorder.h"

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
    /// `pattern`: K for an IDR picture with parameter sets, k for one without, - for any other. They are a, b, c...
    void Open(const std::string& pattern, bool indexed, bool loop = false) {
        for (const char kind : pattern) {
            const std::string name(1, static_cast<char>('a' + m_nUnits++));
            if (kind == 'K') m_bytes += kAud + kSps + kPps;
            m_bytes += kind == '-' ? Delta(name) : Idr(name);
        }
        m_loop = loop;
        if (indexed) publisher.SetIndex(IndexOf(m_bytes), loop);
    }
    /// Sends that many frames, fewer at the end; their names.
    std::string Play(size_t count) {
        using State = CVideoPublisher::State;
        frames.clear();
        while (frames.size() < count) {
            const State state = publisher.Fetch(now);
            if (state == State::Ready) {
                publisher.Send(now = std::max(now, publisher.DueMs()));
            } else if (state == State::NeedMore) {
                Feed();
            } else if (state == State::GoOn) {
                m_at = publisher.GoOnAt();
            } else if (state == State::End && m_loop) {
                m_at = 0;
                publisher.Rewind();
            } else {
                break;
            }
        }
        std::string names;
        for (const std::string& frame : frames) names += frame.back();
        return names;
    }
    std::vector<std::string> frames;
    uint64_t now = 5000;
    std::string numbered;  ///< what a sender over TCP writes over the number of a frame
    CVideoPublisher publisher{[this](std::string& frame) {
        frame.replace(1, numbered.size(), numbered);
        frames.push_back(frame);
    }};

private:
    void Feed() {
        const size_t length = std::min<size_t>(7, m_bytes.size() - m_at);
        if (length == 0) publisher.Finish();
        publisher.Feed(m_bytes.data() + m_at, length);
        m_at += length;
    }
    std::string m_bytes;
    int m_nUnits = 0;
    size_t m_at = 0;
    bool m_loop = false;
};

TEST_F(VideoPublishing, EachUnitLeavesInItsTimeBehindItsHead) {
    Open("--K--k-", false);
    publisher.SetRate(10);
    EXPECT_EQ(Play(100), "cdefg") << "what comes before the first IDR picture helps nobody";
    EXPECT_EQ(now, 5400U);
    EXPECT_EQ(frames[0], "\1\0\0"s + kAud + kSps + kPps + Idr("c"));
    EXPECT_EQ(frames[1], "\0\0\1"s + Delta("d"));
    EXPECT_EQ(frames[3], "\1\0\3"s + kSps + kPps + Idr("f")) << "parameter sets for those who come later";
    EXPECT_EQ(publisher.KeyFrames(), 2U);
    frames.clear();
    publisher.SayGoodbye();
    EXPECT_EQ(frames[0], "\0\0\5\0\0\0\1\x0b"s);
}

TEST_F(VideoPublishing, GoesOnFromANumberThatWasWrittenIntoAFrame) {
    Open("K---", false);
    numbered = "\xff\xfe";
    EXPECT_EQ(Play(2), "ab");
    numbered.clear();
    EXPECT_EQ(Play(2), "cd");
    EXPECT_EQ(frames[0].substr(0, 3), "\0\xff\xff"s);
    EXPECT_EQ(frames[1].substr(0, 3), "\0\0\0"s);
}

TEST_F(VideoPublishing, RequestsGoOnFromTheNearestKeyOfAFile) {
    Open("K-----K-------K---", true);
    EXPECT_EQ(Play(3), "abc");
    now += CVideoPublisher::kMergeMs;
    publisher.RequestKeyFrame();
    EXPECT_EQ(Play(3), "ghi") << "d is as far from a: ahead then";
    publisher.RequestKeyFrame();
    publisher.RequestKeyFrame();
    EXPECT_EQ(Play(3), "jkl") << "too soon after a key frame";
    now += CVideoPublisher::kMergeMs;
    EXPECT_EQ(Play(9), "opqr") << "two requests are one";
    publisher.RequestKeyFrame();
    now += CVideoPublisher::kMergeMs;
    EXPECT_EQ(Play(2), "op") << "none ahead";
    EXPECT_EQ(publisher.Requests(), 4U);
}

TEST_F(VideoPublishing, ThoseWhoJoinOneByOneDoNotHoldItBack) {
    Open("K-------K-------", true, true);
    publisher.SetRate(5);
    std::string names;
    for (int i = 0; i < 5; ++i) {
        names += Play(2) + " ";
        publisher.RequestKeyFrame();
    }
    EXPECT_EQ(names, "ab ab ij ij ab ");
}

TEST_F(VideoPublishing, AnInputThatComesWhenItComesIsNotSpedUpForLong) {
    Open("K---------------", false);
    publisher.RequestKeyFrame();
    EXPECT_EQ(Play(2), "ab") << "without an index the request waits for the next one";
    now += 60000;
    EXPECT_EQ(Play(1), "c");
    const uint64_t late = now;
    Play(13);
    EXPECT_EQ(late, 65040U);
    EXPECT_EQ(now, late) << "less than a second behind";
    EXPECT_GE(publisher.DueMs(), late - CVideoPublisher::kLateMs);
}

std::string Frame(uint16_t sequence, char kind, const std::string& run = "") {
    const std::string unit = kind == 'K' ? Idr(run) : Delta(run + std::to_string(sequence));
    return Encode({kind == 'K', sequence, unit});
}

class VideoRecording : public ::testing::Test {
protected:
    void Arrive(const std::string& frame, bool ours = true) {
        EXPECT_EQ(recorder.OnFrame(frame.data(), frame.size(), now), ours);
    }
    void ArriveAll(const std::vector<std::pair<uint16_t, char>>& frames, const std::string& run = "") {
        for (const auto& [sequence, kind] : frames) Arrive(Frame(sequence, kind, run));
    }
    CUnnamedFile file;
    CVideoRecorder recorder{file.Get()};
    uint64_t now = 1000;
};

TEST_F(VideoRecording, NothingIsWrittenThatDoesNotDecode) {
    Arrive(Frame(7, '-'));
    EXPECT_FALSE(recorder.KeyFrameDue(now)) << "one may be on its way";
    now += CVideoRecorder::kPatienceMs;
    EXPECT_TRUE(recorder.KeyFrameDue(now));
    EXPECT_FALSE(recorder.KeyFrameDue(now + 900));
    EXPECT_TRUE(recorder.KeyFrameDue(now + 1000));
    ArriveAll({{9, 'K'}, {10, '-'}, {13, '-'}, {14, '-'}, {16, 'K'}, {17, '-'}, {65535, 'K'}, {0, '-'}});
    EXPECT_FALSE(recorder.KeyFrameDue(now + 5000));
    EXPECT_EQ(file.Content(), Idr("") + Delta("10") + Idr("") + Delta("17") + Idr("") + Delta("0"));
    const VideoReport& report = recorder.Report();
    EXPECT_EQ(report.frames, 6U);
    EXPECT_EQ(report.keyFrames, 3U);
    EXPECT_EQ(report.skipped, 5U) << "the jump to 65535 is another publisher";
    EXPECT_EQ(report.useless, 3U);
    EXPECT_EQ(report.requests, 2U);
}

TEST_F(VideoRecording, TwoWaysOverlapAndPublishersBeginAnew) {
    std::string whole;
    for (const std::string run : {"a", "b"}) {
        ArriveAll({{0, 'K'}, {0, 'K'}, {1, '-'}, {2, '-'}, {1, '-'}, {0, 'K'}, {2, '-'}, {3, '-'}}, run);
        whole += Idr(run) + Delta(run + "1") + Delta(run + "2") + Delta(run + "3");
    }
    EXPECT_EQ(file.Content(), whole);
    EXPECT_EQ(recorder.Report().useless, 0U);
    EXPECT_FALSE(recorder.Ended());
    Arrive(EncodeVideoEnd(8));
    EXPECT_TRUE(recorder.Ended());
}

TEST_F(VideoRecording, ForeignFramesAreRefusedAndOddOnesTaken) {
    for (const std::string& frame : {""s, "\1"s, "\1\0\0"s, "\1\0\0text"s, "\1\0\0\0\0\1\x65"s.substr(0, 5),
                                     "\1\0\0\0\0\1\x65"s + std::string(CAnnexBReader::kMaxUnit, 'x')})
        Arrive(frame, false);
    const std::string unit = "\0\0\0"s + kSps + kPps + Idr("a");
    Arrive(Encode({true, 0, unit}));
    Arrive("\1\0\1\0\0\1\x65"s);
    EXPECT_EQ(file.Content(), unit + "\0\0\1\x65"s) << "zeros before the first start code do no harm";
}

}  // namespace
