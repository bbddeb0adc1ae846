// The demo's helpers: what a path loses, what the proxy tunnels, what becomes of child processes, what is good.
#include "support/scratch.h"
#include "tools/lumo/demo/audio_demo.h"
#include "tools/lumo/demo/child_process.h"
#include "tools/lumo/demo/connect_proxy.h"
#include "tools/lumo/demo/demo_files.h"
#include "tools/lumo/demo/desktop_demo.h"
#include "tools/lumo/demo/impair.h"
#include "tools/lumo/demo/sockets.h"
#include "tools/lumo/demo/video_demo.h"
#include "unit/tools/media_input.h"

#include <signal.h>
#include <sys/socket.h>
#include <nlohmann/json.hpp>

using namespace lumo;

namespace {

/// Passes `count` datagrams through a path and gives back which ones arrive.
std::vector<int> ThroughPath(const ImpairOptions& options, int count) {
    std::string problem;
    const CFileDescriptor target = OpenSocket(SOCK_DGRAM, {0x7F000001, 0}, problem);
    const CFileDescriptor client = OpenSocket(SOCK_DGRAM, {0x7F000001, 0}, problem);
    CImpairedPath path(LocalEndpoint(target.Get()), options);
    EXPECT_TRUE(path.Open({0x7F000001, 0}, problem)) << problem;
    std::vector<int> arrived;
    const auto take = [&] {
        char buffer[16];
        for (Endpoint from; ReceiveDatagram(target.Get(), from, buffer, sizeof buffer) > 0;)
            arrived.push_back(buffer[0]);
    };
    for (int i = 0; i < count; ++i) {
        const char byte = static_cast<char>(i);
        SendDatagram(client.Get(), {0x7F000001, path.Port()}, &byte, 1);
        while (path.Seen() <= static_cast<uint64_t>(i)) path.Turn(1000, 1000, -1);
        if (options.delayMs > 0) take();
    }
    EXPECT_TRUE(arrived.empty()) << "before its time";
    path.Turn(1000 + options.delayMs, 0, -1);
    take();
    EXPECT_EQ(arrived.size() + path.Lost(), static_cast<size_t>(count));
    return arrived;
}

TEST(ImpairedPath, DelaysAndLosesTheSameDatagramsForTheSameSeed) {
    EXPECT_EQ(ThroughPath({0, 0, 1}, 50).size(), 50U);
    EXPECT_EQ(ThroughPath({0, 40, 1}, 50).size(), 50U);
    EXPECT_TRUE(ThroughPath({1, 0, 1}, 20).empty());
    const std::vector<int> half = ThroughPath({0.5, 0, 7}, 100);
    EXPECT_EQ(half, ThroughPath({0.5, 0, 7}, 100));
    EXPECT_NE(half, ThroughPath({0.5, 0, 8}, 100));
    EXPECT_NEAR(static_cast<double>(half.size()), 50, 20);
}

TEST(ConnectProxy, TunnelsToLoopbackOnly) {
    Endpoint target;
    for (const char* head :
         {"CONNECT 127.0.0.1:7000 HTTP/1.1\r\nHost: x\r\n\r\n", "CONNECT 127.9.9.9:1 HTTP/1.0\r\n\r\n"})
        EXPECT_TRUE(CConnectProxy::ParseRequest(head, target)) << head;
    for (const char* head : {"CONNECT 10.0.0.1:7000 HTTP/1.1\r\n\r\n", "CONNECT 127.0.0.1 HTTP/1.1\r\n\r\n",
                             "CONNECT 127.0.0.1:0 HTTP/1.1\r\n\r\n", "CONNECT localhost:7000 HTTP/1.1\r\n\r\n",
                             "CONNECT 127.0.0.1:7000\r\n\r\n", "GET http://127.0.0.1:7000/ HTTP/1.1\r\n\r\n", ""})
        EXPECT_FALSE(CConnectProxy::ParseRequest(head, target)) << head;
}

TEST(ChildProcess, IsReapedHoweverStubborn) {
    CChildProcess process;
    ASSERT_TRUE(process.Start({"/bin/sh", "-c", "trap '' TERM; echo ready; while :; do read x; sleep 1; done"}));
    ASSERT_TRUE(process.WaitForText("ready", 60000));
    const pid_t pid = process.Pid();
    process.Stop(50);
    EXPECT_EQ(process.ExitCode(), 128 + SIGKILL);
    EXPECT_NE(kill(pid, 0), 0);
}

TEST(Demo, AStreamJoinedAnywhereIsComparedPieceByPiece) {
    using Pieces = std::vector<std::string>;
    const Pieces source{"a", "b", "c", "d"};
    const struct {
        Pieces seen;
        size_t differ;            // packets of audio
        size_t foreign, skipped;  // pictures
    } rows[] = {{{}, 0, 0, 0},
                {{"c", "d", "a", "b", "c"}, 0, 0, 0},
                {{"c", "?", "a"}, 1, 1, 1},
                {{"c", "a", "b"}, 1, 0, 1},
                {{"a", "a"}, 1, 0, 3}};
    for (const auto& row : rows) {
        const PictureCount count = CountPictures(source, row.seen);
        EXPECT_EQ(PacketsThatDiffer(source, row.seen), row.differ) << row.seen.size();
        EXPECT_EQ(count.foreign, row.foreign) << row.seen.size();
        EXPECT_EQ(count.skipped, row.skipped) << row.seen.size();
    }
    EXPECT_EQ(PacketsThatDiffer({}, {"x"}), 1U);
}

TEST(Demo, WhatWasSeenMustBeWholeUnitsOfTheVideoFromAKeyFrameOn) {
    const CScratch folder;
    CVideoDemo demo;
    ASSERT_FALSE(demo.Publish(folder / "").empty());
    const std::vector<std::string> units = h264_stream::Read(h264_stream::Moving(), 65536).units;
    const struct {
        const char* what;
        size_t first;         // unit; the 50th of 250 is a key frame
        std::string instead;  // of the tenth that follows
        bool lossy;
        uint64_t told, skipped;
        bool good;
    } rows[] = {{"past the end and from the beginning", 200, units[210], false, 60, 6, true},
                {"too many skipped", 200, units[210], false, 60, 7, false},
                {"on a path that loses", 200, units[210], true, 60, 7, true},
                {"told of one more", 200, units[210], true, 61, 0, false},
                {"not from a key frame on", 201, units[211], true, 60, 0, false},
                {"one left out", 200, "", true, 59, 0, false},
                {"one damaged", 200, units[210] + "x", true, 60, 0, false}};
    for (const auto& row : rows) {
        StreamRow judged;
        judged.out = folder / "seen";
        judged.lossy = row.lossy;
        std::string seen;
        for (size_t i = 0; i < 60; ++i) seen += i == 10 ? row.instead : units[(row.first + i) % units.size()];
        EXPECT_TRUE(WriteFile(judged.out, seen));
        demo.Judge({{"frames", row.told}, {"key_frames", 4}, {"skipped", row.skipped}}, judged);
        EXPECT_EQ(judged.problem.empty(), row.good) << row.what << judged.problem;
    }
}

}  // namespace
