// Opus in Ogg to audio frames and back, through a network that loses, delays and repeats; and inputs without an end.
#include "media_input.h"
#include "support/pipe.h"
#include "support/scratch.h"
#include "tools/lumo/demo/samples.h"
#include "tools/lumo/media/audio_publish_medium.h"
#include "tools/lumo/media/audio_publisher.h"
#include "tools/lumo/media/audio_recorder.h"
#include "tools/lumo/media/opus_packet.h"
#include "tools/lumo/media/video_publish_medium.h"

#include <nlohmann/json.hpp>

using namespace lumo;

namespace {

const std::string& Spoken() {
    static const std::string bytes(Sample("sample.opus"));
    return bytes;
}

using Packets = std::vector<std::string>;

/// Of an Ogg stream that is fed in pieces of that size; its head too.
Packets PacketsOf(const std::string& bytes, size_t piece = 4096, std::string* head = nullptr) {
    Packets packets;
    COggOpusReader reader;
    const auto take = [&packets](const std::string& packet) { packets.push_back(packet); };
    EXPECT_EQ(ReadInPieces<std::string>(reader, bytes, piece, take), "");
    if (head) *head = reader.Head();
    return packets;
}

const Packets& Whole() {
    static const Packets whole = PacketsOf(Spoken());
    return whole;
}

/// Everything that a publisher sends of the sample, with when it is due.
std::vector<std::pair<uint64_t, std::string>> Published(const std::string& bytes, std::string* problem = nullptr,
                                                        bool sealed = false) {
    std::vector<std::pair<uint64_t, std::string>> frames;
    uint64_t now = 0;
    CAudioPublisher publisher([&](const std::string& frame) { frames.emplace_back(now, frame); });
    publisher.SetSealed(sealed);
    publisher.Feed(bytes.data(), bytes.size());
    publisher.Finish();
    while (publisher.Fetch(now) == CAudioPublisher::State::Ready) {
        now = publisher.DueMs();
        publisher.Send(now, now * 1000);
    }
    if (problem) *problem = publisher.Problem();
    publisher.SayGoodbye(now * 1000);
    return frames;
}

class AudioRecording : public ::testing::Test {
protected:
    void Arrive(const std::string& frame, uint64_t ms) {
        EXPECT_TRUE(recorder.OnFrame(frame.data(), frame.size(), ms * 1000));
        recorder.Tick(ms * 1000);
    }
    std::string Written() {
        recorder.Finish();
        EXPECT_TRUE(writer.Good());
        return file.Content();
    }
    CUnnamedFile file;
    COggOpusWriter writer{file.Get()};
    CAudioRecorder recorder{&writer};
};

TEST(OpusPacket, TellsItsLengthOrThatItIsNone) {
    const std::pair<std::string, uint32_t> rows[] = {{"", 0},
                                                     {"\x0bxx", 0},                        // over 120 ms
                                                     {std::string("\x0b\x06x", 3), 5760},  // 6 frames of 20 ms
                                                     {std::string("\x0b", 1), 0},          // its count is missing
                                                     {"\x79x", 2 * 960}};
    for (const auto& [bytes, samples] : rows)
        EXPECT_EQ(OpusSamples(bytes.data(), bytes.size()), samples) << testing::PrintToString(bytes);
    EXPECT_EQ(LostOpusPacket("\xffzz"), "\xfc") << "one frame of the same length";
}

TEST(AudioFrames, EveryLengthIsChecked) {
    AudioFrame frame;
    const std::string whole = Encode({7, 960, 5, "p"});
    ASSERT_EQ(whole.size(), 21U);
    EXPECT_TRUE(Decode(whole.data(), whole.size(), frame));
    EXPECT_EQ(frame.body, "p");
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(Decode(whole.data(), length, frame)) << length;
    const std::string end = Encode({7, AudioFrame::kNoPosition, 5, ""}),
                      large = Encode({7, 1, 5, std::string(1047, 'x')});
    EXPECT_TRUE(Decode(end.data(), end.size(), frame) && frame.IsControl());
    EXPECT_FALSE(Decode(large.data(), large.size(), frame));
}

TEST(OggOpus, ComesInPiecesOfAnySizeAndRefusesWhatItIsNot) {
    EXPECT_EQ(Whole().size(), 1039U);
    for (const size_t piece : {1U, 1009U}) EXPECT_EQ(PacketsOf(Spoken(), piece), Whole()) << piece;
    std::string problem;
    for (const std::string& foreign :
         {std::string("not Ogg at all"), std::string(), Spoken().substr(0, 40), Spoken().substr(0, 1000)}) {
        Published(foreign, &problem);
        EXPECT_NE(problem, "") << foreign.size();
    }
    CUnnamedFile file;
    COggOpusWriter writer(file.Get());
    writer.Begin("OpusHead" + std::string("\1\1\x38\1\x80\xbb\0\0\0\0\0", 11), "OpusTags" + std::string(8, '\0'));
    writer.Write("\x08" + std::string(1046, 'x'), 960);
    writer.End();
    Published(file.Content(), &problem);
    EXPECT_NE(problem.find("1047 bytes does not fit a frame, which takes 1046:"), std::string::npos) << problem;
    Published(file.Content(), &problem, true);
    EXPECT_NE(problem.find("a sealed frame, which takes 1013 (with --plain 1046)"), std::string::npos) << problem;
}

TEST(AudioPublishing, WhatComesLateLeavesAtItsPaceAndNotAtOnce) {
    const CPipe pipe;
    COpenedMedium<CAudioPublishMedium> opened({"/dev/fd/" + std::to_string(pipe.read.Get())});
    CAudioPublishMedium& medium = opened.medium;
    medium.Turn(1000);
    EXPECT_GE(medium.WaitFd(), 0) << "waits for bytes";
    pipe.Write(Spoken().substr(0, 4171));  // the heads and a page of a second
    EXPECT_EQ(medium.Turn(5000), 20U);
    EXPECT_EQ(medium.Details()["packets"], 1);
    for (uint64_t now = 5020; now <= 5980; now += 20) medium.Turn(now);
    EXPECT_EQ(medium.Details()["packets"], 50);
    pipe.Write(Spoken().substr(4171, 7568 - 4171));
    EXPECT_EQ(medium.Turn(10000), 20U);
    EXPECT_EQ(medium.Details()["packets"], 56) << "100 ms are made up for";
    EXPECT_EQ(medium.Details()["heard"], false);
}

TEST_F(AudioRecording, TwoSecondsBeforeTheHeadsAreKept) {
    const auto frames = Published(Spoken());
    for (size_t i = 2; i < 105; ++i) Arrive(frames[i].second, frames[i].first);  // from behind the first heads
    EXPECT_EQ(PacketsOf(Written()), Packets(Whole().begin(), Whole().begin() + 101));
}

TEST_F(AudioRecording, OvertakenPacketsAreWaitedForAndLostOnesConcealed) {
    const auto frames = Published(Spoken());
    size_t lost = 0;
    for (size_t i = 0; i < frames.size(); ++i) {
        AudioFrame frame;
        ASSERT_TRUE(Decode(frames[i].second.data(), frames[i].second.size(), frame));
        const uint32_t place = frame.IsControl() ? 0 : frame.sequence % 100;
        if (place == 50) {
            ++lost;
        } else if (place == 70) {
            Arrive(frames[i + 1].second, frames[i].first + 25);                                   // overtakes it
            for (const uint64_t ms : {30U, 35U}) Arrive(frames[i].second, frames[i].first + ms);  // and once more
            ++i;
        } else {
            Arrive(frames[i].second, frames[i].first + 3);
        }
        if (i == 40) {
            EXPECT_LT(recorder.Report().jitterMs, 1) << "all have come on time";
        }
    }
    EXPECT_TRUE(recorder.Ended());
    std::string head, sampleHead;
    const Packets after = PacketsOf(Written(), 4096, &head);
    PacketsOf(Spoken(), 4096, &sampleHead);
    EXPECT_EQ(head, sampleHead);
    ASSERT_EQ(after.size(), Whole().size());
    for (size_t i = 0; i < after.size(); ++i)
        EXPECT_EQ(after[i], i % 100 == 50 ? LostOpusPacket(Whole()[i - 1]) : Whole()[i]) << i;
    const AudioReport report = recorder.Report();
    EXPECT_EQ(report.packets + report.lost, 1039U);
    EXPECT_EQ(report.lost, lost);
    EXPECT_NEAR(report.lostPercent, 100.0 * static_cast<double>(lost) / 1039, 1e-9);
    EXPECT_EQ(report.late, 10U);
    EXPECT_NEAR(report.delayP50Ms, 3, 0.01);
}

TEST_F(AudioRecording, SequencesWrapAndPublishersBeginAnew) {
    const std::string head = Encode({0, AudioFrame::kNoPosition, 0, "OpusHead" + std::string(11, '\1')});
    const std::string tags = Encode({0, AudioFrame::kNoPosition, 0, "OpusTags" + std::string(8, '\0')});
    Arrive(head, 0);
    Arrive(tags, 0);
    const auto arrive = [&](uint32_t sequence) {
        Arrive(Encode({sequence, uint64_t{sequence + 3U} * 960, 0, "\x08x"}), 1);  // the first one's position is 960
    };
    for (const uint32_t sequence : {0xfffffffeU, 0U, 0xffffffffU, 1U}) arrive(sequence);
    EXPECT_EQ(recorder.Report().lost, 0U);
    for (const uint32_t sequence : {900000U, 900001U}) arrive(sequence);
    EXPECT_EQ(recorder.Report().lost, 0U) << "another stream, not a gap";
    for (uint32_t i = 0; i < 100; ++i) arrive(900010 + i);  // more than are held back
    EXPECT_EQ(recorder.Report().lost, 8U);
    Arrive(Encode({900040, 960, 900000, "\x08x"}), 901);
    EXPECT_EQ(recorder.Report().late, 1U);
    Arrive(Encode({900050, 960, 1000001, "\x08x"}), 1001);
    EXPECT_EQ(recorder.Report().late, 1U) << "sent a second after all that follow it: another stream again";
    EXPECT_EQ(PacketsOf(Written()).size(), 6U + 100U + 8U + 1U);
}

TEST(StreamInput, AnEndlessOneWithoutPaceLetsOthersHaveTheirTurn) {
    COpenedMedium<CVideoPublishMedium> video({LUMO_SOURCE_DIR "/assets/sample.h264", "--loop", "--fps", "0"});
    const auto frames = [&video] { return video.medium.Details()["frames"].get<uint64_t>(); };
    EXPECT_EQ(video.medium.Turn(1000), 0U);
    EXPECT_LT(frames(), 250U) << "one round of it";
    for (int turn = 0; turn < 1000 && frames() < 600; ++turn) EXPECT_EQ(video.medium.Turn(1001), 0U);
    EXPECT_GE(frames(), 600U);
    EXPECT_FALSE(video.medium.Over());
}

}  // namespace
