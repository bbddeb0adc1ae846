#include "bench/harness/run.h"

#include "bench/harness/frames.h"

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

TEST(BenchRun, BringsTheNumbersOfBothProcesses) {
    RunSpec spec = SpecOf("good");
    spec.oneCore = true;
    const RunResult result = bench::Run(spec, {});
    ASSERT_TRUE(result.ok) << result.why;
    EXPECT_EQ(result.values.at("bytes"), 49 * 5000);
    EXPECT_DOUBLE_EQ(result.values.at("MB/s"), 49 * 5000 / 1e6 / result.values.at("seconds"));
    EXPECT_DOUBLE_EQ(result.values.at("cpu_s"), result.values.at("sender_cpu_s") + result.values.at("receiver_cpu_s"));

    const RunResult ping = bench::Run(SpecOf("ping"), {});
    ASSERT_TRUE(ping.ok) << ping.why;
    EXPECT_EQ(ping.values.at("round_trips"), 200);
    EXPECT_LE(ping.values.at("p50_us"), ping.values.at("p99_us"));
}

TEST(BenchRun, WhateverGoesWrongIsAFailedRunThatSaysWhy) {
    const struct {
        const char* driver;
        const char* why;
    } rows[] = {
        {"doubling", "frame 1 is not what was sent"},
        {"crashing", "receiver left early, ended by signal 6"},
        {"throwing", "on purpose"},
        {"crashing late", "receiver ended by signal 6"},
        {"unknown", "no driver unknown"},
    };
    for (const auto& row : rows) {
        const RunResult result = bench::Run(SpecOf(row.driver), {});
        EXPECT_FALSE(result.ok) << row.driver;
        EXPECT_NE(result.why.find(row.why), std::string::npos) << row.driver << ": " << result.why;
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

TEST(BenchFrames, OneWrongByteInAnyPacketOfAFrameIsSeen) {
    constexpr uint32_t kLen = 65536;
    CFrameSource source(3, kLen);
    ASSERT_TRUE(source.Next());
    const std::vector<char> first(source.Data(), source.Data() + source.Length());
    ASSERT_TRUE(source.Next());
    const std::vector<char> second(source.Data(), source.Data() + source.Length());

    EXPECT_FALSE(CFrameCheck(3, kLen).Take(second.data(), kLen)) << "the frames are numbered";
    EXPECT_FALSE(CFrameCheck(3, kLen).Take(first.data(), kLen - 1));
    constexpr size_t kPacket = 1040;
    for (size_t packet = 0; packet * kPacket < kLen; ++packet) {
        std::vector<char> mixed = first;  // one packet of it belongs to the other frame
        const size_t begin = packet * kPacket;
        const size_t end = std::min<size_t>(begin + kPacket, kLen);
        std::copy(second.begin() + static_cast<long>(begin), second.begin() + static_cast<long>(end),
                  mixed.begin() + static_cast<long>(begin));
        EXPECT_FALSE(CFrameCheck(3, kLen).Take(mixed.data(), kLen)) << "packet " << packet;
    }
    CFrameCheck check(2, kLen);
    EXPECT_TRUE(check.Take(first.data(), kLen));
    EXPECT_FALSE(check.Done());
    EXPECT_TRUE(check.Take(second.data(), kLen));
    EXPECT_TRUE(check.Done());
    EXPECT_FALSE(check.Take(second.data(), kLen)) << "more than were sent";
}

}  // namespace
