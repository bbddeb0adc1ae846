// Pictures of a screen between real processes.
#include "e2e/transfer_fixture.h"
#include "support/pipe.h"

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/demo/test_picture.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;
namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

/// Of a JPEG what the program looks at.
std::string TestJpeg(const std::string& content) {
    return std::string("\xff\xd8\xff\xda\x00\x02", 6) + content + "\xff\xd9";
}

class DesktopStreams : public CTransferTest {
protected:
    void Publish(CChildProcess& child, const std::string& from, const Words& more, int input = -1) {
        Words words{"publish", "desktop", from, "--mcu", Mcu(), "--channel", "77", "--json"};
        words.insert(words.end(), more.begin(), more.end());
        Run(child, words, input);
    }
    void Subscribe(CChildProcess& child, const std::string& out, const Words& more, int input = -1) {
        Words words{"subscribe", "desktop", "77", "--mcu", Mcu(), "--json", "-o", out};
        words.insert(words.end(), more.begin(), more.end());
        Run(child, words, input);
    }
    std::string MakeScreens(int count) {
        fs::create_directories(Path("screens"));
        for (int i = 0; i < count; ++i)
            std::ofstream(Path("screens/" + std::to_string(100 + i) + ".png"), std::ios::binary)
                << lumo::TestPng(640, 100, static_cast<uint32_t>(i));
        return Path("screens");
    }
    /// What the files of a directory hold, in the order of their names.
    static std::vector<std::string> Pictures(const std::string& folder) {
        std::vector<std::string> pictures;
        for (const auto& entry : fs::directory_iterator(folder)) pictures.push_back(entry.path().string());
        std::sort(pictures.begin(), pictures.end());
        for (std::string& picture : pictures) picture = Content(picture);
        return pictures;
    }
    /// Whether all of `some` stand in `all`, in that order.
    static bool AreAmong(const std::vector<std::string>& some, const std::vector<std::string>& all) {
        auto next = all.begin();
        for (const std::string& one : some) {
            next = std::find(next, all.end(), one);
            if (next == all.end()) return false;
            ++next;
        }
        return true;
    }
};

TEST_F(DesktopStreams, EveryPictureIsSeenByEveryPath) {
    const Words ways[] = {{"--path", "relay"},
                          {"--path", "relay", "--tcp"},
                          {"--near", "127.0.0.2"},
                          {"--near", "127.0.0.2", "--tcp"},
                          {"--path", "p2p"},
                          {"--path", "p2p-tcp"},
                          {}};
    CChildProcess relay, near, publisher, viewers[std::size(ways)];
    StartRelay(relay);
    StartRelay(near, "127.0.0.2");
    const std::string screens = MakeScreens(15);
    for (size_t i = 0; i < std::size(ways); ++i) Subscribe(viewers[i], Path(std::to_string(i)), ways[i]);
    Publish(publisher, screens, {"--fps", "5", "--peers", "--viewers", std::to_string(std::size(ways))});
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    const size_t sent = LastEvent(publisher).value("pictures", size_t{0});
    EXPECT_EQ(sent + LastEvent(publisher).value("skipped", size_t{0}), 15U) << "the slowest viewer sets the pace";
    const std::vector<std::string> all = Pictures(screens), seen = Pictures(Path("0"));
    EXPECT_TRUE(AreAmong(seen, all));
    for (size_t i = 0; i < std::size(ways); ++i) {
        EXPECT_EQ(ExitOf(viewers[i]), 0) << i << viewers[i].Output() << viewers[i].Errors();
        const std::vector<std::string> its = Pictures(Path(std::to_string(i)));
        EXPECT_EQ(LastEvent(viewers[i])["pictures"], its.size()) << i;
        // Who goes over to a direct path meanwhile may miss what was on its way by the relay.
        const size_t least = ways[i].empty() ? sent - 1 : sent;
        EXPECT_TRUE(its.size() >= least && AreAmong(its, seen)) << i << viewers[i].Output();
        EXPECT_EQ(its.empty() ? "" : its.back(), all.back()) << i;
    }
}

TEST_F(DesktopStreams, AGrabbersStreamGoesThroughAndPointersComeBack) {
    CChildProcess relay, publisher, viewer;
    StartRelay(relay);
    CPipe screen, pointer;
    Subscribe(viewer, "-", {"--path", "relay", "--pointer"}, pointer.read.Get());
    Publish(publisher, "-", {}, screen.read.Get());
    const std::string first = TestJpeg("the first"), second = TestJpeg("another");
    screen.Write(first + first + first.substr(0, 9));
    ASSERT_TRUE(viewer.WaitForText(first, kDeadlineMs)) << viewer.Errors();
    pointer.Write("12 3");
    pointer.Write("4\nnonsense\n640 480\n");
    EXPECT_TRUE(publisher.WaitForText("\"x\":640,\"y\":480", kDeadlineMs)) << publisher.Output();
    screen.Write(first.substr(9) + second);
    ASSERT_TRUE(viewer.WaitForText(second, kDeadlineMs)) << viewer.Errors();
    screen.write.Reset();
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    EXPECT_EQ(ExitOf(viewer), 0) << viewer.Errors();
    EXPECT_EQ(viewer.Output(), first + second);
    EXPECT_EQ(LastEvent(publisher)["unchanged"], 2);
}

TEST_F(DesktopStreams, TheGoodbyeWaitsForTheSlowestOfThoseWhoCameDirectly) {
    CChildProcess relay, publisher, fast, slow;
    StartRelay(relay);
    CPipe screen;
    const std::string first = TestJpeg("first"), second = TestJpeg(std::string(1000000, 'x'));  // more than a window
    Publish(publisher, "-", {"--peers"}, screen.read.Get());
    for (CChildProcess* const viewer : {&fast, &slow}) Subscribe(*viewer, "-", {"--path", "p2p", "--wait", "10"});
    screen.Write(first);
    for (CChildProcess* const viewer : {&fast, &slow})  // the publisher has been told by then
        ASSERT_TRUE(viewer->WaitForText("\"pictures\":1", kDeadlineMs)) << viewer->Errors();
    slow.Signal(SIGSTOP);
    screen.Write(second);
    ASSERT_TRUE(fast.WaitForText("xxx", kDeadlineMs)) << fast.Errors();  // it has all, and writes as fast as this reads
    publisher.Signal(SIGINT);
    EXPECT_EQ(ExitOf(fast), 0) << fast.Errors();
    slow.Signal(SIGCONT);
    EXPECT_EQ(ExitOf(slow), 0) << slow.Errors();
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    EXPECT_TRUE(slow.Output() == first + second) << slow.Output().size();
}

TEST_F(DesktopStreams, AServerThatBeginsAnewIsFoundAgainByBothSides) {
    CChildProcess relay, second, publisher, viewers[2];
    StartRelay(relay);
    CPipe screen;
    Publish(publisher, "-", {}, screen.read.Get());
    screen.Write(TestJpeg("before"));
    Subscribe(viewers[0], "-", {"--path", "relay"});
    Subscribe(viewers[1], "-", {"--path", "relay", "--tcp"});
    for (CChildProcess& viewer : viewers) ASSERT_TRUE(viewer.WaitForText("before", kDeadlineMs)) << viewer.Errors();
    relay.Stop(0);
    screen.Write(TestJpeg("meanwhile"));
    StartRelay(second);
    for (CChildProcess& viewer : viewers) EXPECT_TRUE(viewer.WaitForText("meanwhile", kDeadlineMs)) << viewer.Errors();
    screen.write.Reset();
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    for (CChildProcess& viewer : viewers) EXPECT_EQ(ExitOf(viewer), 0) << viewer.Errors();
}

TEST_F(DesktopStreams, WhatCannotBeReadOrWrittenIsSaidAloud) {
    CChildProcess relay, nobody, text, empty, unwritable, unreadable;
    StartRelay(relay);
    fs::create_directory(Path("none"));
    Run(empty, {"publish", "desktop", Path("none"), "--mcu", Mcu()});
    EXPECT_EQ(ExitOf(empty), 1);
    EXPECT_NE(empty.Errors().find("holds no PNG or JPEG"), std::string::npos) << empty.Errors();
    CPipe pipe;
    pipe.Write("no picture");
    pipe.write.Reset();
    Run(text, {"publish", "desktop", "-", "--mcu", Mcu()}, pipe.read.Get());
    EXPECT_EQ(ExitOf(text), 1);
    EXPECT_NE(text.Errors().find("no JPEG picture came"), std::string::npos) << text.Errors();
    Run(unwritable, {"subscribe", "desktop", "5", "--mcu", Mcu(), "-o", "/dev/null/x"});
    EXPECT_EQ(ExitOf(unwritable), 1) << unwritable.Errors();
    Run(nobody, {"subscribe", "desktop", "5", "--mcu", Mcu(), "--wait", "0.5", "--path", "relay"});
    EXPECT_EQ(ExitOf(nobody), 3) << nobody.Errors();
    const CFileDescriptor folder(open(Path("none").c_str(), O_RDONLY | O_CLOEXEC));
    Subscribe(unreadable, Path("seen"), {"--pointer"}, folder.Get());
    EXPECT_EQ(ExitOf(unreadable), 1);
    EXPECT_NE(unreadable.Errors().find("cannot read standard input"), std::string::npos) << unreadable.Errors();
}

}  // namespace
