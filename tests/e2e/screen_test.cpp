// A real X screen, grabbed with what people have, and seen on the other side of a relay.
#include "e2e/transfer_fixture.h"

#include "tools/lumo/net/loop.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;
namespace fs = std::filesystem;

namespace {

constexpr const char* kSize = "640x360";
constexpr int kChanges = 10;

bool IsInstalled(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

/// What a shell command writes to its standard output.
std::string OutputOf(const std::string& command) {
    std::string output;
    std::FILE* pipe = popen((command + " 2>&1").c_str(), "re");
    for (int byte = 0; pipe && (byte = std::fgetc(pipe)) != EOF;) output += static_cast<char>(byte);
    if (pipe) pclose(pipe);
    return output;
}

double Milliseconds(const timespec& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

class SharedDisplay : public CTransferTest {
protected:
    void SetUp() override {
        for (const char* program : {"Xvfb", "ffmpeg", "xsetroot", "xlogo", "xwd", "convert", "compare"}) {
            if (IsInstalled(program)) continue;
            ASSERT_EQ(std::getenv("LUMO_REQUIRE_ALL"), nullptr) << program << " is not installed";
            GTEST_SKIP() << program << " is not installed";
        }
        ASSERT_TRUE(server.Start({"/usr/bin/env", "Xvfb", "-displayfd", "1", "-nolisten", "tcp", "-noreset", "-screen",
                                  "0", std::string(kSize) + "x24"}));
        ASSERT_TRUE(server.WaitForText("\n", kDeadlineMs)) << server.Errors();
        display = ":" + server.Output().substr(0, server.Output().find('\n'));
    }
    ~SharedDisplay() override {
        if (publisher.Running()) publisher.Signal(SIGKILL);  // the grabber ends when nobody reads from it
        if (grabber) pclose(grabber);
    }

    std::string On(const std::string& command) const { return "DISPLAY=" + display + " " + command; }
    /// The newest picture that has come; empty: none.
    std::string Newest() const {
        std::string newest;
        std::error_code none;  // the viewer makes the folder when it is up
        for (const auto& entry : fs::directory_iterator(Path("seen"), none))
            if (entry.path().extension() == ".jpg") newest = std::max(newest, entry.path().string());
        return newest;
    }
    /// How far a picture is from the other one, 0 to 1.
    static double Difference(const std::string& one, const std::string& other) {
        const std::string text = OutputOf("compare -metric RMSE " + one + " " + other + " null:");
        const size_t open = text.find('(');
        return open == std::string::npos ? 2 : std::atof(text.c_str() + open + 1);
    }
    /// Waits for a picture like that one; the newest then, empty when none comes.
    std::string WaitForLike(const std::string& wanted) {
        std::string looked;
        for (const uint64_t end = lumo::CToolLoop::Now() + kDeadlineMs; lumo::CToolLoop::Now() < end;) {
            const std::string newest = Newest();
            if (!newest.empty() && newest != looked && Difference(newest, wanted) < 0.05) return newest;
            looked = newest;
            viewer.Listen(20);
            if (!viewer.Running()) break;
        }
        return "";
    }
    std::string Shot(const std::string& name) const {
        OutputOf(On("xwd -root -silent | convert xwd:- " + Path(name)));
        return Path(name);
    }

    CChildProcess server, relay, publisher, viewer;
    std::string display;
    std::FILE* grabber = nullptr;
};

TEST_F(SharedDisplay, IsSeenOnTheOtherSideOfARelaySoonAfterItChanges) {
    StartRelay(relay);
    Run(viewer, {"subscribe", "desktop", "77", "--mcu", Mcu(), "--json", "-o", Path("seen"), "--path", "relay"});
    grabber = popen(("exec ffmpeg -nostdin -v error -f x11grab -framerate 60 -video_size " + std::string(kSize) +
                     " -i " + display + " -c:v mjpeg -q:v 2 -flush_packets 1 -f mjpeg -")
                        .c_str(),
                    "re");
    ASSERT_NE(grabber, nullptr);
    Run(publisher, {"publish", "desktop", "-", "--mcu", Mcu(), "--channel", "77", "--json"}, fileno(grabber));

    std::vector<double> delays;
    for (int i = 0; i < kChanges; ++i) {
        const std::string colour = i % 2 == 0 ? "red" : "blue";
        const std::string wanted = Path(colour + ".png");
        OutputOf("convert -size " + std::string(kSize) + " xc:" + colour + " " + wanted);
        timespec changed{};
        OutputOf(On("xsetroot -solid " + colour));  // over when the screen shows it
        ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &changed), 0);
        const std::string seen = WaitForLike(wanted);
        ASSERT_NE(seen, "") << colour << viewer.Errors() << publisher.Errors();
        struct stat file {};
        ASSERT_EQ(stat(seen.c_str(), &file), 0);
        if (i > 0) delays.push_back(Milliseconds(file.st_mtim) - Milliseconds(changed));
    }
    std::sort(delays.begin(), delays.end());
    std::printf("from a change of the screen to the picture on the other side: %.0f ms, %.0f ms at most\n",
                delays[delays.size() / 2], delays.back());
    RecordProperty("median_ms", std::to_string(delays[delays.size() / 2]));
    EXPECT_LT(delays[delays.size() / 2], 2000) << "a busy machine is slow, but not that slow";

    CChildProcess logo;
    ASSERT_TRUE(logo.Start({"/usr/bin/env", "xlogo", "-display", display, "-geometry", "400x300+50+20"}));
    std::string shot;
    const std::string before = Newest();
    for (int i = 0; i < 200 && (shot.empty() || Difference(shot, before) < 0.2); ++i) shot = Shot("shot.png");
    EXPECT_GT(Difference(shot, before), 0.2) << "the logo is on the screen";
    EXPECT_NE(WaitForLike(shot), "") << "and is seen";
    publisher.Signal(SIGINT);
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
    EXPECT_EQ(ExitOf(viewer), 0) << viewer.Errors();
    EXPECT_GT(LastEvent(publisher)["unchanged"], 0) << "a still screen costs nothing";
}

}  // namespace
