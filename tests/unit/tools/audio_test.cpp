// Opus in Ogg to audio frames and back, through a network that loses, delays and repeats.
#include "opened_medium.h"
#include "tools/lumo/media/audio_publish_medium.h"
#include "tools/lumo/media/audio_publisher.h"
#include "tools/lumo/media/audio_recorder.h"
#include "tools/lumo/media/opus_packet.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <random>

using namespace lumo;

namespace {

std::string Sample() {
    std::ifstream file(LUMO_SOURCE_DIR "/assets/sample.opus", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Stream {
    std::vector<std::string> packets;
    std::string head;
    uint64_t lastGranule = 0;
};

/// Packets of an Ogg stream, fed in pieces of that size.
Stream Read(const std::string& bytes, size_t piece) {
    Stream stream;
    COggOpusReader reader;
    std::string packet;
    size_t at = 0;
    for (;;) {
        const auto result = reader.Next(packet);
        if (result == COggOpusReader::Result::Packet) {
            stream.packets.push_back(packet);
        } else if (result == COggOpusReader::Result::NeedMore && at < bytes.size()) {
            const size_t length = std::min(piece, bytes.size() - at);
            reader.Feed(bytes.data() + at, length);
            at += length;
        } else if (result == COggOpusReader::Result::NeedMore) {
            reader.Finish();
        } else {
            EXPECT_EQ(result, COggOpusReader::Result::End) << reader.Problem();
            stream.head = reader.Head();
            return stream;
        }
    }
}

/// Everything that a publisher sends of the sample, with when it is due.
std::vector<std::pair<uint64_t, std::string>> Published(const std::string& bytes, std::string* problem = nullptr) {
    std::vector<std::pair<uint64_t, std::string>> frames;
    uint64_t now = 0;
    CAudioPublisher publisher([&](const std::string& frame) { frames.emplace_back(now, frame); });
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
    AudioRecording() : file(std::tmpfile()), writer(file), recorder(&writer) {}
    ~AudioRecording() override { std::fclose(file); }
    void Arrive(const std::string& frame, uint64_t ms) {
        EXPECT_TRUE(recorder.OnFrame(frame.data(), frame.size(), ms * 1000));
        recorder.Tick(ms * 1000);
    }
    std::string Written() {
        recorder.Finish();
        EXPECT_TRUE(writer.Good());
        std::string bytes(static_cast<size_t>(std::ftell(file)), '\0');
        std::rewind(file);
        EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), file), bytes.size());
        return bytes;
    }
    std::FILE* file;
    COggOpusWriter writer;
    CAudioRecorder recorder;
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
    const std::string bytes = Sample();
    const Stream whole = Read(bytes, bytes.size());
    EXPECT_EQ(whole.packets.size(), 1039U);
    EXPECT_EQ(Read(bytes, 1).packets, whole.packets);
    EXPECT_EQ(Read(bytes, 1009).packets, whole.packets);
    for (const std::string& foreign :
         {std::string("not Ogg at all"), std::string(), bytes.substr(0, 40), bytes.substr(0, 1000)}) {
        std::string problem;
        Published(foreign, &problem);
        EXPECT_NE(problem, "") << foreign.size();
    }
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {  // damaged streams give packets or a problem, nothing worse
        std::string damaged = bytes.substr(0, 4000);
        for (int i = 0; i < 10; ++i) damaged[random() % damaged.size()] = static_cast<char>(random());
        std::string problem;
        EXPECT_LT(Published(damaged, &problem).size(), 400U);
    }
}

TEST(OggOpus, APacketOverTheFrameLimitIsAnErrorSaidAloud) {
    std::FILE* file = std::tmpfile();
    COggOpusWriter writer(file);
    writer.Begin("OpusHead" + std::string("\1\1\x38\1\x80\xbb\0\0\0\0\0", 11), "OpusTags" + std::string(8, '\0'));
    writer.Write("\x08" + std::string(1046, 'x'), 960);
    writer.End();
    std::string bytes(static_cast<size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    ASSERT_EQ(std::fread(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::fclose(file);
    std::string problem;
    Published(bytes, &problem);
    EXPECT_NE(problem.find("1047 bytes does not fit"), std::string::npos) << problem;
}

TEST(AudioPublishing, WhatComesLateLeavesAtItsPaceAndNotAtOnce) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const CFileDescriptor from(ends[0]), into(ends[1]);
    const std::string bytes = Sample(), path = "/dev/fd/" + std::to_string(ends[0]);
    COpenedMedium<CAudioPublishMedium> opened({path});
    CAudioPublishMedium& medium = opened.medium;
    medium.Turn(1000);
    EXPECT_GE(medium.WaitFd(), 0) << "waits for bytes";
    const auto feed = [&](size_t from, size_t to) {
        ASSERT_EQ(write(ends[1], bytes.data() + from, to - from), static_cast<ssize_t>(to - from));
    };
    feed(0, 4171);  // the heads and a page of a second
    EXPECT_EQ(medium.Turn(5000), 20U);
    EXPECT_EQ(medium.Details()["packets"], 1);
    for (uint64_t now = 5020; now <= 5980; now += 20) medium.Turn(now);
    EXPECT_EQ(medium.Details()["packets"], 50);
    feed(4171, 7568);
    EXPECT_EQ(medium.Turn(10000), 20U);
    EXPECT_EQ(medium.Details()["packets"], 56) << "100 ms are made up for";
    EXPECT_EQ(medium.Details()["heard"], false);
}

TEST_F(AudioRecording, WithoutLossTheSamePacketsComeOutAtTheSamePlace) {
    const std::string bytes = Sample();
    for (const auto& [ms, frame] : Published(bytes)) Arrive(frame, ms + 3);
    EXPECT_TRUE(recorder.Ended());
    const Stream before = Read(bytes, bytes.size()), after = Read(Written(), 4096);
    EXPECT_EQ(after.packets, before.packets);
    EXPECT_EQ(after.head, before.head);
    const AudioReport report = recorder.Report();
    EXPECT_EQ(report.packets, before.packets.size());
    EXPECT_EQ(report.lost + report.late, 0U);
    EXPECT_NEAR(report.delayP50Ms, 3, 0.01);
    EXPECT_LT(report.jitterMs, 1);
}

TEST_F(AudioRecording, TwoSecondsBeforeTheHeadsAreKept) {
    const std::string bytes = Sample();
    const auto frames = Published(bytes);
    for (size_t i = 2; i < 105; ++i) Arrive(frames[i].second, frames[i].first);  // from behind the first heads
    const Stream before = Read(bytes, bytes.size()), after = Read(Written(), 4096);
    EXPECT_EQ(after.packets, std::vector<std::string>(before.packets.begin(), before.packets.begin() + 101));
}

TEST_F(AudioRecording, OvertakenPacketsAreWaitedForAndLostOnesConcealed) {
    const std::string bytes = Sample();
    const auto frames = Published(bytes);
    size_t lost = 0;
    for (size_t i = 0; i + 1 < frames.size(); ++i) {
        AudioFrame frame;
        ASSERT_TRUE(Decode(frames[i].second.data(), frames[i].second.size(), frame));
        if (!frame.IsControl() && frame.sequence % 100 == 50) {
            ++lost;
        } else if (!frame.IsControl() && frame.sequence % 100 == 70) {
            Arrive(frames[i + 1].second, frames[i].first + 25);  // overtakes it
            Arrive(frames[i].second, frames[i].first + 30);
            Arrive(frames[i].second, frames[i].first + 35);  // and once more
            ++i;
        } else {
            Arrive(frames[i].second, frames[i].first + 3);
        }
    }
    const Stream before = Read(bytes, bytes.size()), after = Read(Written(), 4096);
    ASSERT_EQ(after.packets.size(), before.packets.size());
    for (size_t i = 0; i < after.packets.size(); ++i)
        EXPECT_EQ(after.packets[i], i % 100 == 50 ? LostOpusPacket(before.packets[i - 1]) : before.packets[i]) << i;
    EXPECT_EQ(recorder.Report().lost, lost);
    EXPECT_NEAR(recorder.Report().lostPercent, 100.0 * static_cast<double>(lost) / 1039, 1e-9);
    EXPECT_EQ(recorder.Report().late, 10U);
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
    EXPECT_EQ(Read(Written(), 4096).packets.size(), 6U + 100U + 8U + 1U);
}

}  // namespace
