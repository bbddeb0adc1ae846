// A moving sample between real processes.
#include "e2e/transfer_fixture.h"
#include "support/pipe.h"

#include "tools/lumo/media/video_check.h"

#include <fcntl.h>

#include <cstdlib>
#include <fstream>

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;

namespace {

using Words = std::vector<std::string>;

const std::string kSample = LUMO_SOURCE_DIR "/assets/sample.h264";

class VideoStreams : public CTransferTest {
protected:
    void Publish(CChildProcess& child, const std::string& mcu, const Words& more, int input = -1) {
        Words words{"publish", "video", input >= 0 ? "-" : kSample, "--mcu", mcu, "--channel", "77", "--json"};
        words.insert(words.end(), more.begin(), more.end());
        Run(child, words, input);
    }
    void Subscribe(CChildProcess& child, const std::string& mcu, const std::string& out, const Words& more) {
        Words words{"subscribe", "video", "77", "--mcu", mcu, "--json", "-o", Path(out)};
        words.insert(words.end(), more.begin(), more.end());
        Run(child, words);
    }
    /// What was written is a run of the sample from a key frame on, and decodes as the sample does.
    uint64_t WholeUnits(const std::string& out) {
        const lumo::VideoVerdict verdict = lumo::CheckVideo(kSample, Path(out));
        EXPECT_EQ(verdict.problem, "") << out;
        EXPECT_TRUE(verdict.decoded || std::getenv("LUMO_REQUIRE_ALL") == nullptr) << "ffmpeg is not installed";
        return verdict.units;
    }
};

TEST_F(VideoStreams, LateJoinersSeeWholePicturesByEveryPath) {
    CChildProcess relay, near, impair, publisher, subscribers[5];
    StartRelay(relay);
    StartRelay(near, "127.0.0.2");
    Run(impair, {"impair", "--to", Mcu(), "--loss", "2%", "--seed", "7"});
    ASSERT_TRUE(impair.WaitForText("\"port\"", kDeadlineMs)) << impair.Errors();
    const std::string lossy = "127.0.0.1:" + std::to_string(LastEvent(impair)["port"].get<int>());
    Publish(publisher, lossy, {"--loop"});
    ASSERT_TRUE(publisher.WaitForText("\"frames\":", kDeadlineMs)) << publisher.Errors();
    const struct {
        std::string mcu;
        Words words;
    } rows[] = {{lossy, {"--path", "relay"}},
                {Mcu(), {"--path", "relay"}},
                {Mcu(), {"--path", "relay", "--tcp"}},
                {Mcu(), {"--near", "127.0.0.2"}},
                {Mcu(), {"--near", "127.0.0.2", "--tcp"}}};
    for (size_t i = 0; i < std::size(rows); ++i) {
        Words words{"--seconds", "3"};
        words.insert(words.end(), rows[i].words.begin(), rows[i].words.end());
        Subscribe(subscribers[i], rows[i].mcu, std::to_string(i), words);
    }
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(ExitOf(subscribers[i]), 0) << i << subscribers[i].Output() << subscribers[i].Errors();
        const nlohmann::json end = LastEvent(subscribers[i]);
        EXPECT_GT(end["key_frames"], 0) << i << end;
        EXPECT_EQ(WholeUnits(std::to_string(i)), end["frames"].get<uint64_t>()) << i;
    }
    publisher.Signal(SIGINT);
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    EXPECT_GT(LastEvent(publisher)["key_requests"], 0);
}

TEST_F(VideoStreams, AWatcherGoesDirectlyWhileThatIsPossible) {
    CChildProcess relay, publisher, subscriber;
    StartRelay(relay);
    Publish(publisher, Mcu(), {"--loop", "--peers"});
    Subscribe(subscriber, Mcu(), "out", {});
    ASSERT_TRUE(subscriber.WaitForText("\"path\":\"direct ", kDeadlineMs)) << subscriber.Output();
    const auto frames = [&] { return LastEvent(subscriber).value("frames", uint64_t{0}); };
    while (subscriber.Running() && frames() < 30) subscriber.Listen(kDeadlineMs);
    publisher.Signal(SIGINT);
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    EXPECT_EQ(ExitOf(subscriber), 0) << subscriber.Errors();
    EXPECT_GE(WholeUnits("out"), 30U);
}

TEST_F(VideoStreams, TheGoodbyeWaitsForTheSlowestLink) {
    CChildProcess relay, publisher, relayed, direct;
    StartRelay(relay);
    CPipe camera;
    Publish(publisher, Mcu(), {"--fps", "0", "--peers"}, camera.read.Get());
    Subscribe(relayed, Mcu(), "relayed", {"--path", "relay", "--wait", "10"});
    Subscribe(direct, Mcu(), "direct", {"--path", "p2p", "--wait", "10"});
    const std::string all = Content(kSample), tail = all.substr(all.size() - 1000);
    const auto frames = [](const CChildProcess& one) { return LastEvent(one).value("frames", uint64_t{0}); };
    for (CChildProcess* const one : {&relayed, &direct})
        ASSERT_TRUE(one->WaitForText("\"frames\":", kDeadlineMs)) << one->Errors();
    for (int round = 0; round < 200 && (frames(relayed) == 0 || frames(direct) == 0); ++round) {
        camera.Write(all);
        CChildProcess::ListenAny({&publisher, &relayed, &direct}, 100);
    }
    ASSERT_TRUE(frames(relayed) > 0 && frames(direct) > 0) << direct.Output() << direct.Errors();
    for (CChildProcess* const one : {&relayed, &direct}) one->Signal(SIGSTOP);
    camera.Write(all);
    camera.write.Reset();
    EXPECT_FALSE(publisher.WaitForEnd(200)) << "the relay has all of it, and who watches directly has not";
    for (CChildProcess* const one : {&relayed, &direct}) {
        one->Signal(SIGCONT);
        EXPECT_EQ(ExitOf(*one), 0) << one->Output() << one->Errors();
    }
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    for (const char* const out : {"relayed", "direct"}) {
        const std::string seen = Content(Path(out));
        EXPECT_TRUE(seen.size() > tail.size() && seen.substr(seen.size() - tail.size()) == tail)
            << out << " lacks the end";
    }
}

TEST_F(VideoStreams, AnInputThatIsNoFileEndsWithItsLastPicture) {
    CChildProcess relay, publisher, subscriber;
    StartRelay(relay);
    Subscribe(subscriber, Mcu(), "out", {"--path", "relay", "--tcp"});
    std::FILE* input = popen(("cat " + kSample).c_str(), "re");
    ASSERT_NE(input, nullptr);
    Publish(publisher, Mcu(), {"--fps", "60"}, fileno(input));
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    pclose(input);
    EXPECT_EQ(LastEvent(publisher)["frames"], 250);
    EXPECT_EQ(ExitOf(subscriber), 0) << subscriber.Output() << subscriber.Errors();
    EXPECT_GT(WholeUnits("out"), 49U);
    const std::string all = Content(kSample), seen = Content(Path("out"));
    EXPECT_EQ(all.substr(all.size() - std::min(all.size(), seen.size())), seen) << "the end of it";
}

TEST_F(VideoStreams, WhatCannotBePublishedIsSaidAloud) {
    CChildProcess relay, nobody;
    StartRelay(relay);
    const std::string key = Content(kSample).substr(0, 2000);
    const struct {
        std::string bytes;
        const char* problem;
    } rows[] = {
        {"", "no H.264 picture"},
        {"text", "start code"},
        {std::string("\0\0\1\x41\x9a", 5), "no IDR picture"},
        {key + std::string("\0\0\1\x41\x9a", 5) + std::string(8 * 1024 * 1024, 'x'), "more than 4194304 bytes"}};
    for (const auto& row : rows) {
        CChildProcess file, input;
        std::ofstream(Path("in"), std::ios::binary) << row.bytes;
        Run(file, {"publish", "video", Path("in"), "--mcu", Mcu()});
        EXPECT_EQ(ExitOf(file), 1) << row.problem << file.Output();
        EXPECT_NE(file.Errors().find(row.problem), std::string::npos) << file.Errors();
        std::FILE* pipe = popen(("cat " + Path("in")).c_str(), "re");
        Run(input, {"publish", "video", "-", "--mcu", Mcu()}, fileno(pipe));
        EXPECT_EQ(ExitOf(input), 1) << row.problem << input.Output();
        EXPECT_NE(input.Errors().find(row.problem), std::string::npos) << input.Errors();
        pclose(pipe);
    }
    Run(nobody, {"subscribe", "video", "5", "--mcu", Mcu(), "--wait", "0.5", "--path", "relay"});
    EXPECT_EQ(ExitOf(nobody), 3) << nobody.Errors();
}

}  // namespace
