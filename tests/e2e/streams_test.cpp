// Live streams between real processes, and loads of every medium. What the demo shows is not shown again here.
#include "e2e/relay_test.h"
#include "support/pipe.h"
#include "tools/lumo/demo/samples.h"

#include <csignal>
#include <cstdlib>
#include <functional>

namespace e2e {
namespace {

class Streams : public CRelayTest {
protected:
    Streams() { folder.Put("spoken", std::string(lumo::Sample("sample.opus"))); }
};

TEST_F(Streams, WhatWasHeardDecodesToItsLength) {
    constexpr uint64_t kPacketSamples = 960, kPreSkip = 312;  // of the sample
    constexpr int kNotThere = 127;
    StartRelay();
    Process& publisher = Client("publish audio spoken --plain --channel 77 --loop --peers");
    ASSERT_TRUE(Says(publisher, "\"ready\""));
    const Json end = End(Client("subscribe audio 77 --seconds 2 -o heard"));
    EXPECT_GT(end["packets"], 50) << end;
    publisher.Signal(SIGINT);
    End(publisher);
    Process& decoder = Start({"/usr/bin/env"}, "ffmpeg", "-nostdin -v error -i heard -ac 1 -ar 48000 -f s16le pcm");
    ASSERT_TRUE(decoder.WaitForEnd(kDeadlineMs));
    if (decoder.ExitCode() == kNotThere && !std::getenv("LUMO_REQUIRE_ALL")) GTEST_SKIP() << "there is no ffmpeg";
    EXPECT_EQ(decoder.Errors(), "");
    const uint64_t published = end["packets"].get<uint64_t>() + end["lost"].get<uint64_t>();
    EXPECT_EQ(folder.Get("pcm").size() / sizeof(int16_t), published * kPacketSamples - kPreSkip) << end;
}

TEST_F(Streams, AListenerGoesDirectlyWhileThatIsPossible) {
    StartRelay();
    Process& publisher = Client("publish audio spoken --plain --channel 77 --loop --peers");
    Process& listener = Client("subscribe audio 77");
    ASSERT_TRUE(Says(listener, "\"path\":\"direct "));
    publisher.Signal(SIGKILL);
    Process& plain = Client("publish audio spoken --plain --channel 77 --loop");
    while (listener.Running() && PathOf(LastEvent(listener)).find("relay ") != 0) listener.Listen(kDeadlineMs);
    ASSERT_TRUE(WaitFor(listener, "packets", 1));  // the next progress
    ASSERT_TRUE(WaitFor(listener, "packets", Told(listener, "packets") + 1));
    plain.Signal(SIGINT);
    EXPECT_EQ(PathOf(End(listener)).find("relay "), 0U);
}

TEST_F(Streams, KeyFramesAreAskedForAndTheGoodbyeWaitsForTheSlowestLink) {
    StartRelay();
    CPipe camera;
    Process& publisher = Client("publish video - --plain --channel 77 --fps 0 --peers", camera.read.Get());
    const std::string all(lumo::Sample("sample.h264")), tail = all.substr(all.size() - 1000);
    const auto play = [&](const std::function<bool()>& done, const std::string* film = nullptr) {
        for (int round = 0; round < 200 && !done(); ++round) {
            camera.Write(film ? *film : all);
            publisher.Listen(100);
        }
        return done();
    };
    camera.Write(all);
    Process& relayed = Client("subscribe video 77 --path relay --wait 10 -o relayed");
    // Whoever comes between two key frames asks for one.
    ASSERT_TRUE(play([&] { return Told(publisher, "key_requests") > 0; }, &tail));
    const auto watches = [](Process& subscriber) {
        subscriber.Listen(0);
        return Told(subscriber, "frames") > 0;
    };
    ASSERT_TRUE(play([&] { return watches(relayed); }));
    Process& direct = Client("subscribe video 77 --path p2p --wait 10 -o direct");
    ASSERT_TRUE(play([&] { return watches(direct); }));
    for (Process* const one : {&relayed, &direct}) one->Signal(SIGSTOP);
    camera.Write(all);
    camera.write.Reset();
    EXPECT_FALSE(publisher.WaitForEnd(200))
        << "the relay has all of it, and who watches directly has not; " << publisher.Output() << publisher.Errors();
    for (Process* const one : {&relayed, &direct}) {
        one->Signal(SIGCONT);
        End(*one);
    }
    End(publisher);
    for (const char* const out : {"relayed", "direct"}) {
        const std::string seen = folder.Get(out);
        EXPECT_TRUE(seen.size() > tail.size() && seen.substr(seen.size() - tail.size()) == tail)
            << out << " lacks the end";
    }
}

TEST_F(Streams, ALoadReachesEverySubscriberByEveryWay) {
    StartRelay();
    StartRelay("127.0.0.2");
    const struct {
        const char *words, *medium;
        int frames;  // of all subscribers
    } rows[] = {{"audio --subscribers 40", "audio", 40 * 50},
                {"audio --subscribers 10 --file spoken", "audio", 10 * 50},
                {"video --subscribers 10", "video", 10 * 30},
                {"desktop --subscribers 20", "desktop", 20 * 10},
                {"whiteboard --subscribers 20 --rate 20", "whiteboard", 20 * 20}};
    for (const auto& row : rows) {
        std::vector<Process*> loads;
        for (const char* const way : {"", " --tcp", " --near 127.0.0.2"})
            loads.push_back(&Client(std::string("load ") + row.words + " --seconds 1" + way));
        for (Process* const load : loads) {
            const Json end = End(*load);
            EXPECT_EQ(end["medium"], row.medium);
            EXPECT_EQ(end["arrived"], row.frames) << end;
            EXPECT_EQ(end["lost"], 0) << end;
            EXPECT_EQ(end.value("repeated", 0), 0) << end;
            EXPECT_GT(end["delay_p50_ms"], 0) << end;
        }
    }
}

TEST_F(Streams, ALoadThatLosesMuchFails) {
    StartRelay();
    Process& path = Lumo("impair --loss 30% --to 127.0.0.1:" + port);
    ASSERT_TRUE(Says(path, "\"port\":"));
    const std::string mcu = " --mcu 127.0.0.1:" + NumberBehind(path.Output(), "\"port\":");
    Process& load = Lumo("load audio --subscribers 2 --seconds 1 --json" + mcu);
    EXPECT_GT(End(load, 1)["lost_percent"], 10) << load.Output();
    EXPECT_NE(load.Errors().find("more than 1% of the frames were lost"), std::string::npos) << load.Errors();
}

TEST_F(Streams, OnlyWhoHasTheNumberIsOnAir) {
    StartRelay();
    const std::string line = "publish audio spoken --plain --channel 77 --loop" + Mcu();
    Process& first = Lumo(line);
    ASSERT_TRUE(Says(first, "the server has taken the stream"));
    Process& second = Lumo(line);
    ASSERT_TRUE(
        Says(second, "the server has not taken the stream yet: 127.0.0.1:" + port + " is there; is the number 77"));
    EXPECT_EQ(second.Errors().find("has taken the stream"), std::string::npos) << second.Errors();
    first.Signal(SIGINT);
    End(first);
    EXPECT_NE(first.Errors().find("on air for "), std::string::npos) << first.Errors();
    ASSERT_TRUE(Says(second, "the server has taken the stream"));
    second.Signal(SIGINT);
    End(second);
}

/// Of a JPEG what the program looks at.
std::string Jpeg(const std::string& content) {
    return std::string("\xff\xd8\xff\xda\x00\x02", 6) + content + "\xff\xd9";
}

class Desktop : public CRelayTest {
protected:
    Process& Publish(const std::string& words = "") {
        return Client("publish desktop - --plain --channel 77" + words, screen.read.Get());
    }
    CPipe screen;
};

TEST_F(Desktop, AGrabbersStreamGoesThroughAndPointersComeBack) {
    StartRelay();
    CPipe pointer;
    Process& viewer = Client("subscribe desktop 77 --path relay --pointer -o -", pointer.read.Get());
    Process& publisher = Publish();
    const std::string first = Jpeg("the first"), second = Jpeg("another");
    screen.Write(first + first + first.substr(0, 9));
    ASSERT_TRUE(Says(viewer, first));
    pointer.Write("12 3");
    pointer.Write("4\nnonsense\n640 480\n");
    EXPECT_TRUE(Says(publisher, "\"x\":640,\"y\":480"));
    screen.Write(first.substr(9) + second);
    ASSERT_TRUE(Says(viewer, second));
    screen.write.Reset();
    EXPECT_EQ(End(publisher)["unchanged"], 2);
    End(viewer);
    EXPECT_EQ(viewer.Output(), first + second);
}

TEST_F(Desktop, TheGoodbyeWaitsForTheSlowestOfThoseWhoCameDirectly) {
    StartRelay();
    const std::string first = Jpeg("first"), second = Jpeg(std::string(1000000, 'x'));  // more than a window
    Process& publisher = Publish(" --peers");
    Process& fast = Client("subscribe desktop 77 --path p2p-tcp --wait 10 -o -");
    Process& slow = Client("subscribe desktop 77 --path p2p --wait 10 -o -");
    screen.Write(first);
    for (Process* const viewer : {&fast, &slow})  // the publisher has been told by then
        ASSERT_TRUE(Says(*viewer, "\"pictures\":1"));
    slow.Signal(SIGSTOP);
    screen.Write(second);
    ASSERT_TRUE(Says(fast, "xxx"));  // it has all, and writes as fast as this reads
    publisher.Signal(SIGINT);
    End(fast);
    slow.Signal(SIGCONT);
    End(slow);
    End(publisher);
    EXPECT_TRUE(slow.Output() == first + second) << slow.Output().size();
}

TEST_F(Desktop, WhatCannotBeReadIsSaidAloud) {
    StartRelay();
    screen.Write("no picture");
    screen.write.Reset();
    Process& publisher = Publish();
    End(publisher, 1);
    EXPECT_NE(publisher.Errors().find("no JPEG picture came"), std::string::npos) << publisher.Errors();
    const CFileDescriptor directory(open(".", O_RDONLY | O_CLOEXEC));
    for (const char* words :
         {"publish audio -", "publish video -", "publish desktop -", "subscribe desktop 77 --pointer -o seen"}) {
        Process& process = Client(words, directory.Get());
        End(process, 1);
        EXPECT_NE(process.Errors().find("cannot read standard input: Is a directory"), std::string::npos)
            << words << process.Errors();
    }
}

TEST_F(Desktop, WhatARealEncoderWritesArrivesAndDecodes) {
    if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0) {
        ASSERT_EQ(std::getenv("LUMO_REQUIRE_ALL"), nullptr) << "there is no ffmpeg";
        GTEST_SKIP() << "there is no ffmpeg";
    }
    StartRelay();
    Process& viewer = Client("subscribe desktop 77 --path relay -o seen");
    const std::string encode = "ffmpeg -v error -re -f lavfi -i testsrc=size=640x360:rate=5 -t 3 -c:v mjpeg -f mjpeg -";
    Process& publisher =
        Start({"/bin/sh", "-c"}, encode + " | " + kLumo + " publish desktop - --plain --channel 77 --json" + Mcu(), "");
    const Json end = End(publisher);
    EXPECT_EQ(end["pictures"].get<int>() + end["skipped"].get<int>(), 15) << end;
    const auto pictures = End(viewer)["pictures"].get<size_t>();
    ASSERT_GT(pictures, 0U);
    Process& decoder =
        Start({"/usr/bin/env"}, "ffmpeg", "-nostdin -v error -i seen/%08d.jpg -f rawvideo -pix_fmt gray -");
    End(decoder);
    EXPECT_EQ(decoder.Errors(), "");
    EXPECT_EQ(decoder.Output().size(), pictures * 640 * 360);
}

}  // namespace
}  // namespace e2e
