// Video frames that came, and the H.264 byte stream that is written of them.
#include "h264_stream.h"
#include "support/scratch.h"
#include "tools/lumo/media/video_check.h"
#include "tools/lumo/media/video_frame.h"
#include "tools/lumo/media/video_recorder.h"

using namespace h264_stream;

namespace {

std::string Frame(uint16_t sequence, char kind, const std::string& run = "") {
    const std::string unit = kind == 'K' ? Idr(run) : Delta(run + std::to_string(sequence));
    return Encode({kind == 'K', sequence, unit});
}

class VideoRecording : public ::testing::Test {
protected:
    void Arrive(const std::string& frame, bool ours = true) {
        EXPECT_EQ(recorder.OnFrame(frame.data(), frame.size(), now), ours);
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
    for (const auto& [sequence, kind] : std::initializer_list<std::pair<uint16_t, char>>{
             {9, 'K'}, {10, '-'}, {13, '-'}, {14, '-'}, {16, 'K'}, {17, '-'}, {65535, 'K'}, {0, '-'}})
        Arrive(Frame(sequence, kind));
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
    for (const char* run : {"a", "b"}) {
        for (const auto& [sequence, kind] : std::initializer_list<std::pair<uint16_t, char>>{
                 {0, 'K'}, {0, 'K'}, {1, '-'}, {2, '-'}, {1, '-'}, {0, 'K'}, {2, '-'}, {3, '-'}})
            Arrive(Frame(sequence, kind, run));
    }
    std::string whole;
    for (const std::string run : {"a", "b"}) whole += Idr(run) + Delta(run + "1") + Delta(run + "2") + Delta(run + "3");
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

TEST(VideoCheck, OnlyWholeRunsOfWhatWasPublishedPass) {
    const std::vector<std::string> units = Read(Moving(), 65536).units;
    const CScratch scratch;
    const auto problem = [&](const std::vector<size_t>& run, const std::string& more = "") {
        std::string bytes;
        for (const size_t i : run) bytes += units[i];
        scratch.Put("out", bytes + more);
        const VideoVerdict verdict = CheckVideo(LUMO_SOURCE_DIR "/assets/sample.h264", scratch / "out");
        EXPECT_EQ(verdict.units, run.size() + (more.empty() ? 0 : 1));
        return verdict.problem;
    };
    EXPECT_EQ(problem({50, 51, 52, 0, 1, 2, 3}), "");
    for (const std::vector<size_t>& run : {std::vector<size_t>{}, {51, 52}, {50, 52}}) EXPECT_NE(problem(run), "");
    std::string damaged = units[1];
    damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 1);
    EXPECT_NE(problem({0}, damaged), "");
}

}  // namespace
