// The demo's helpers: what counts as sent again, what the proxy tunnels, what becomes of child processes.
#include "support/scratch.h"
#include "support/session_wire.h"
#include "tools/lumo/commands/commands.h"
#include "tools/lumo/demo/audio_demo.h"
#include "tools/lumo/demo/child_process.h"
#include "tools/lumo/demo/connect_proxy.h"
#include "tools/lumo/demo/demo_files.h"
#include "tools/lumo/demo/desktop_demo.h"
#include "tools/lumo/demo/file_demo.h"
#include "tools/lumo/demo/impair.h"
#include "tools/lumo/demo/sockets.h"
#include "tools/lumo/demo/video_demo.h"
#include "unit/tools/h264_stream.h"

#include <signal.h>
#include <sys/socket.h>

using namespace lumo;

namespace {

TEST(RepeatCounter, CountsPacketsThatPassAgainPerLinkAndDirection) {
    CRepeatCounter counter;
    const auto look = [&](uint64_t direction, const char* envelope, const std::string& packet) {
        const std::string datagram = Hex(envelope) + packet;
        counter.Look(direction, reinterpret_cast<const uint8_t*>(datagram.data()), datagram.size());
    };
    const char* const sink = "06 3D 00000001 00000002";
    for (int sequence : {65534, 65535, 0, 1}) look(0, sink, session_wire::Data(static_cast<uint16_t>(sequence), "x"));
    EXPECT_EQ(counter.Repeated(), 0U) << "the sequence wraps";
    look(0, sink, session_wire::Data(65535, "x"));
    look(0, sink, session_wire::Data(1, "x"));
    EXPECT_EQ(counter.Repeated(), 2U);
    look(1, sink, session_wire::Data(1, "x"));
    look(0, "06 3D 00000009 00000002", session_wire::Data(1, "x"));
    look(0, sink, session_wire::Ack(1));
    look(0, "06 3B 00000001", "");
    look(0, sink, std::string(5, 'x'));
    EXPECT_EQ(counter.Repeated(), 2U) << "other links, acknowledgements and keep-alives";
    EXPECT_EQ(counter.DataPackets(), 8U);
}

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
    uint64_t now = 1000;
    for (int i = 0; i < count; ++i) {
        const char byte = static_cast<char>(i);
        SendDatagram(client.Get(), {0x7F000001, path.Port()}, &byte, 1);
        while (path.Seen() <= static_cast<uint64_t>(i)) path.Turn(now, 1000, -1);
        if (options.delayMs > 0) take();
        EXPECT_TRUE(options.delayMs == 0 || arrived.empty()) << "before its time";
    }
    now += options.delayMs;
    path.Turn(now, 0, -1);
    take();
    EXPECT_EQ(arrived.size() + path.Lost(), static_cast<size_t>(count));
    return arrived;
}

TEST(ImpairedPath, LosesTheSameDatagramsForTheSameSeed) {
    EXPECT_EQ(ThroughPath({0, 0, 1}, 50).size(), 50U);
    EXPECT_EQ(ThroughPath({0, 40, 1}, 50).size(), 50U);
    EXPECT_TRUE(ThroughPath({1, 0, 1}, 20).empty());
    const std::vector<int> half = ThroughPath({0.5, 0, 7}, 100);
    EXPECT_EQ(half, ThroughPath({0.5, 0, 7}, 100));
    EXPECT_NE(half, ThroughPath({0.5, 0, 8}, 100));
    EXPECT_GT(half.size(), 30U);
    EXPECT_LT(half.size(), 70U);
}

TEST(ConnectProxy, TunnelsToLoopbackOnly) {
    const std::pair<const char*, bool> rows[] = {
        {"CONNECT 127.0.0.1:7000 HTTP/1.1\r\nHost: x\r\n\r\n", true},
        {"CONNECT 127.9.9.9:1 HTTP/1.0\r\n\r\n", true},
        {"CONNECT 10.0.0.1:7000 HTTP/1.1\r\n\r\n", false},
        {"CONNECT 127.0.0.1 HTTP/1.1\r\n\r\n", false},
        {"CONNECT 127.0.0.1:0 HTTP/1.1\r\n\r\n", false},
        {"CONNECT localhost:7000 HTTP/1.1\r\n\r\n", false},
        {"CONNECT 127.0.0.1:7000\r\n\r\n", false},
        {"GET http://127.0.0.1:7000/ HTTP/1.1\r\n\r\n", false},
        {"", false},
    };
    for (const auto& [head, valid] : rows) {
        Endpoint target;
        EXPECT_EQ(CConnectProxy::ParseRequest(head, target), valid) << head;
    }
}

TEST(HelperOptions, Shares) {
    const std::pair<const char*, double> rows[] = {{"2%", 0.02}, {"0.5", 0.5}, {"0", 0},   {"100%", 1}, {"101%", -1},
                                                   {"2", -1},    {"-1", -1},   {"", -1},   {"%", -1},   {"1.2.3", -1},
                                                   {"nan", -1},  {"1e9", -1},  {"2%%", -1}};
    for (const auto& [text, share] : rows) EXPECT_DOUBLE_EQ(ParseShare(text), share) << text;
}

TEST(ChildProcess, IsReapedHoweverStubbornOrForgotten) {
    CChildProcess stubborn;
    ASSERT_TRUE(stubborn.Start({"/bin/sh", "-c", "trap '' TERM; echo ready; while :; do read x; sleep 1; done"}));
    ASSERT_TRUE(stubborn.WaitForText("ready", 60000));
    EXPECT_FALSE(stubborn.WaitForText("never", 20));
    const pid_t pid = stubborn.Pid();
    stubborn.Stop(50);
    EXPECT_EQ(stubborn.ExitCode(), 128 + SIGKILL);
    EXPECT_NE(kill(pid, 0), 0) << "reaped";
    pid_t left = 0;
    {
        CChildProcess forgotten;
        ASSERT_TRUE(forgotten.Start({"/bin/sleep", "1000"}));
        left = forgotten.Pid();
    }
    EXPECT_NE(kill(left, 0), 0) << "nothing outlives its owner";
}

TEST(Demo, TheTableTellsWhatArrived) {
    std::list<FileRow> rows(2);
    rows.front().bytes = 48000000;
    rows.front().seconds = 1.5;
    rows.front().repeated = 3;
    rows.front().equal = true;
    rows.back().udp = false;
    const std::string table = FileTable(rows);
    for (const char* line :
         {" 48000000     1.50     32.0              3  equal\n", " 0     0.00      0.0              -  NOT EQUAL\n"})
        EXPECT_NE(table.find(line), std::string::npos) << table;
}

TEST(Demo, AStreamJoinedAnywhereIsComparedPacketByPacket) {
    const std::vector<std::string> source{"a", "b", "c", "d"};
    EXPECT_EQ(PacketsThatDiffer(source, {"c", "d", "a", "b", "c"}), 0U);
    EXPECT_EQ(PacketsThatDiffer(source, {"c", "?", "a"}), 1U);
    EXPECT_EQ(PacketsThatDiffer(source, {"c", "a", "b"}), 1U) << "one left out";
    EXPECT_EQ(PacketsThatDiffer({}, {"x"}), 1U);
}

TEST(Demo, WhatWasSeenMustBeWhatWasPublishedFromAKeyFrameOn) {
    const CScratch folder;
    CVideoDemo demo;
    ASSERT_FALSE(demo.Publish(folder / "").empty());
    const std::string sample = h264_stream::Moving();
    const VideoIndex index = h264_stream::IndexOf(sample);
    ASSERT_EQ(index.units, 250U);
    const auto judge = [&](const std::string& seen, bool lossy, uint64_t frames, uint64_t skipped) {
        StreamRow row;
        row.out = folder / "seen";
        row.lossy = lossy;
        EXPECT_TRUE(WriteFile(row.out, seen));
        demo.Judge({{"frames", frames}, {"key_frames", 4}, {"skipped", skipped}}, row);
        EXPECT_EQ(row.frames, frames);
        EXPECT_FALSE(row.delayMs) << "frames carry no time";
        return row.problem;
    };
    const std::string seen = sample.substr(index.keys[4].offset);
    EXPECT_EQ(judge(seen, false, 50, 5), "");
    EXPECT_NE(judge(seen, false, 50, 6), "") << "nothing was lost on that path";
    EXPECT_EQ(judge(seen, true, 50, 6), "");
    EXPECT_NE(judge(seen, true, 51, 0), "") << "one that is not in the recording";
    std::string broken = seen;
    broken[broken.size() / 2] ^= 1;
    for (const std::string& bad : {seen.substr(1), broken, std::string()})
        EXPECT_NE(judge(bad, true, bad.empty() ? 0 : 50, 0), "");
}

TEST(DesktopDemo, EveryPictureIsOneOfThePublishersAndWhatWasSkippedIsCounted) {
    const std::vector<std::string> published = {"a", "b", "c", "d"};
    const struct {
        std::vector<std::string> seen;
        size_t foreign, skipped;
    } rows[] = {{{}, 0, 0},
                {{"c", "d", "a", "b", "c"}, 0, 0},
                {{"a", "c", "b"}, 0, 3},
                {{"a", "a"}, 0, 3},
                {{"a", "x", "b", ""}, 2, 0}};
    for (const auto& row : rows) {
        const PictureCount count = CountPictures(published, row.seen);
        EXPECT_EQ(count.foreign, row.foreign) << row.seen.size();
        EXPECT_EQ(count.skipped, row.skipped) << row.seen.size();
    }
}

}  // namespace
