#include "bench/harness/run.h"

#include "bench/harness/frames.h"
#include "bench/harness/video_frames.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace bench;

namespace {

RunSpec SpecOf(const char* driver) {
    RunSpec spec;
    spec.driver = driver;
    spec.frames = 50;
    spec.frameLen = 5000;
    spec.roundTrips = 200;
    return spec;
}

TEST(BenchGoodput, OverAPathCountsOnceItsRateCanHaveBeenFound) {
    RunSpec spec;
    spec.path = {100, 300};
    spec.seconds = 12;
    CGoodput goodput(spec);
    constexpr int64_t kSecond = 1000000000;
    for (const auto& [second, bytes] : {std::pair{1, 7U}, {2, 1000000U}, {4, 2000000U}})
        EXPECT_FALSE(goodput.Take(second * kSecond, bytes));
    EXPECT_TRUE(goodput.Take(14 * kSecond, 90000000));
    EXPECT_EQ(goodput.Result(), (Values{{"bytes", 93e6}, {"seconds", 13}, {"settled_MB/s", 9}}));
    spec.seconds = 2.5;
    EXPECT_EQ(CGoodput(spec).Result().count("settled_MB/s"), 0U) << "it ends before";
}

TEST(BenchRun, BringsTheNumbersOfBothProcesses) {
    RunSpec spec = SpecOf("good");
    EXPECT_EQ(bench::Run(spec, {}).values.count("delay_p50_us"), 0U) << "how long frames took is told where asked";
    spec.oneCore = spec.delays = true;
    const RunResult result = bench::Run(spec, {});
    ASSERT_TRUE(result.ok) << result.why;
    EXPECT_GE(result.values.at("delay_p50_us"), 0);
    EXPECT_LE(result.values.at("delay_p50_us"), result.values.at("delay_max_us"));
    EXPECT_DOUBLE_EQ(result.values.at("frames/s"), 49 / result.values.at("seconds"));
    EXPECT_EQ(result.values.at("bytes"), 49 * 5000);
    EXPECT_DOUBLE_EQ(result.values.at("MB/s"), 49 * 5000 / 1e6 / result.values.at("seconds"));
    EXPECT_DOUBLE_EQ(result.values.at("cpu_s"), result.values.at("sender_cpu_s") + result.values.at("receiver_cpu_s"));

    const RunResult ping = bench::Run(SpecOf("ping"), {});
    ASSERT_TRUE(ping.ok) << ping.why;
    EXPECT_EQ(ping.values.at("round_trips"), 200);
    EXPECT_LE(ping.values.at("p50_us"), ping.values.at("p99_us"));
}

TEST(BenchRun, TwoBesideEachOtherCountTheSameTime) {
    RunSpec spec = SpecOf("good");
    spec.frames = UINT32_MAX;
    spec.seconds = spec.pauseSeconds = 0.1;
    spec.beside = "good";
    const RunResult result = bench::Run(spec, {});
    ASSERT_TRUE(result.ok) << result.why;
    Values values = result.values;
    EXPECT_GT(values["shared_MB/s"], 0);
    EXPECT_DOUBLE_EQ(values["shared_ratio"], values["shared_MB/s"] / values["beside_MB/s"]);
    spec.besideFirst = true;
    spec.beside = "throwing";
    EXPECT_EQ(bench::Run(spec, {}).why, "on purpose");
}

TEST(BenchRun, SidesTellEachOtherStepsAndBothBringNumbers) {
    const RunResult result = bench::Run(SpecOf("steps"), {});
    ASSERT_TRUE(result.ok) << result.why;
    EXPECT_EQ(result.values.at("heard"), 1.5) << "what the finishing side says goes before";
    EXPECT_EQ(result.values.at("late"), 0);
    EXPECT_EQ(result.values.at("added"), 7);
    EXPECT_DOUBLE_EQ(result.values.at("cpu_us_per_datagram"), 1e6 * result.values.at("sender_cpu_s") / 1000);
}

TEST(BenchRun, WhateverGoesWrongIsAFailedRunThatSaysWhy) {
    const std::pair<const char*, const char*> rows[] = {
        {"doubling", "frame 1 is not what was sent"},
        {"crashing", "receiver left early, ended by signal 6"},
        {"throwing", "on purpose"},
        {"crashing late", "receiver ended by signal 6"},
        {"unknown", "no driver unknown"},
    };
    for (const auto& [driver, why] : rows) {
        const RunResult result = bench::Run(SpecOf(driver), {});
        EXPECT_FALSE(result.ok) << driver;
        EXPECT_NE(result.why.find(why), std::string::npos) << driver << ": " << result.why;
    }
}

TEST(BenchRun, ADeadlineEndsItsProcesses) {
    const std::filesystem::path file = std::filesystem::temp_directory_path() / ("hang." + std::to_string(getpid()));
    setenv("LUMO_BENCH_TEST_FILE", file.c_str(), 1);
    RunOptions options;
    options.deadlineSeconds = 5;
    const RunResult result = bench::Run(SpecOf("hanging"), options);
    EXPECT_EQ(result.why, "not done within 5 s");
    pid_t pid = 0;
    std::ifstream(file) >> pid;
    std::filesystem::remove(file);
    ASSERT_GT(pid, 0);
    EXPECT_NE(kill(pid, 0), 0) << "the hanging process is still there";
}

TEST(BenchFrames, OneWrongPacketOfAFrameIsSeen) {
    constexpr uint32_t kLen = 65536, kPacket = 1040;
    CFrameSource source(3, kLen);
    const auto next = [&source] {
        EXPECT_TRUE(source.Next());
        return std::string(source.Data(), static_cast<size_t>(source.Length()));
    };
    const std::string first = next(), second = next();
    EXPECT_FALSE(CFrameCheck(3, kLen).Take(second.data(), kLen)) << "the frames are numbered";
    EXPECT_FALSE(CFrameCheck(3, kLen).Take(first.data(), kLen - 1));
    for (size_t begin = 0; begin < kLen; begin += kPacket) {
        std::string mixed = first;  // one packet of it belongs to the other frame
        mixed.replace(begin, kPacket, second, begin, kPacket);
        EXPECT_FALSE(CFrameCheck(3, kLen).Take(mixed.data(), kLen)) << "byte " << begin;
    }
    CFrameCheck check(2, kLen);
    EXPECT_TRUE(check.Take(first.data(), kLen));
    EXPECT_FALSE(check.Done());
    EXPECT_TRUE(check.Take(second.data(), kLen));
    EXPECT_TRUE(check.Done());
    EXPECT_FALSE(check.Take(second.data(), kLen)) << "more than were sent";
}

TEST(BenchFrames, VideoKeepsItsPaceAndSaysWhichOfItsFramesStandAlone) {
    CVideoFrames frames = SmallVideoFrames();
    std::vector<uint32_t> keys;
    for (uint32_t number = 1; number <= 2 * kKeyEvery; ++number) {
        const int64_t before = NowNs();
        char* frame = frames.Next();
        const int length = frames.Length();
        const FrameStamp stamp = frames.Check(frame, length);
        EXPECT_EQ(stamp.number, number);
        EXPECT_GE(stamp.sentNs, before);
        if (frame[0] != 0) keys.push_back(number);
        EXPECT_EQ(length, frame[0] != 0 ? 40960 : 4096);
        frame[1] = 1;  // the library's
        EXPECT_NO_THROW(frames.Check(frame, length));
        for (const int cut : {length - 1, 5}) EXPECT_THROW(frames.Check(frame, cut), std::runtime_error);
        frame[0] = frame[0] != 0 ? 0 : 1;
        EXPECT_THROW(frames.Check(frame, length), std::runtime_error);
    }
    EXPECT_EQ(keys, (std::vector<uint32_t>{1, 1 + kKeyEvery}));

    CVideoFrames stream = StreamVideoFrames();
    const int64_t start = NowNs();
    uint32_t sent = 0;
    SendPaced(stream, 4, [&](const char*, int length) { sent += static_cast<uint32_t>(length); });
    EXPECT_GE(NowNs() - start, 3 * kVideoPaceNs);
    EXPECT_EQ(sent, 4 * 33333U);
}

}  // namespace
