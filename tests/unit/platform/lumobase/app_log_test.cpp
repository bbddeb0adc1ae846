#include "platform/lumobase/app_log.h"

#include "support/log_capture.h"
#include "support/scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

/// A folder of the test's own, and LUMO_LOG for the logs that it opens.
class AppLogTest : public testing::Test {
protected:
    AppLogTest() {
        if (const char* before = getenv("LUMO_LOG")) m_before = before;
    }
    ~AppLogTest() override { Choose(m_before); }

    static void Choose(const std::string& target) {
        target.empty() ? unsetenv("LUMO_LOG") : setenv("LUMO_LOG", target.c_str(), 1);
    }
    void Open(CAppLog& log) {
        Choose(m_path.string());
        log.inilog("module");
    }
    /// The lines of the file behind time and thread.
    std::vector<std::string> Written() {
        std::istringstream file(m_folder.Get("log"));
        std::vector<std::string> lines;
        for (std::string line, date, time, thread; std::getline(file, line);) {
            std::istringstream words(line);
            words >> date >> time >> thread;
            EXPECT_TRUE(date.size() == 10 && time.size() == 12 && std::atoi(thread.c_str()) > 0) << line;
            std::getline(words, lines.emplace_back());
        }
        return lines;
    }

    const CScratch m_folder;
    const std::filesystem::path m_path = m_folder / "log";
    std::string m_before;
};

using Lines = std::vector<std::string>;

TEST_F(AppLogTest, WritesLinesWithTimeThreadAndModule) {
    {
        CAppLog log;
        log.debug("before it is open %d", 0);
        Open(log);
        ASSERT_TRUE(log.IsOn());
        log.debug("CThing::Do. value : %u, name : %s", 7u, "x");
        log.debug("%s", "a name with\r\na line of its own and a\ttab");
        log.debug("%s", std::string(5000, 'y').c_str());
        log.Flush();
        EXPECT_EQ(Written(),
                  (Lines{" module CThing::Do. value : 7, name : x", " module a name with  a line of its own and a tab",
                         " module " + std::string(2047, 'y')}));
    }
    CAppLog again;
    Open(again);
    again.debug("appended");
    again.Flush();
    EXPECT_EQ(Written().size(), 4u);
    EXPECT_EQ(Written().back(), " module appended");
}

TEST_F(AppLogTest, AnIdleLogKeepsNothingBack) {
    CAppLog log;
    Open(log);
    log.debug("last words");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (Written().empty() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_EQ(Written(), Lines{" module last words"});
}

TEST_F(AppLogTest, StaysOffUnlessAskedForAndPossible) {
    for (const std::string& target : {std::string(), std::string("off"), (m_path / "under").string()}) {
        m_folder.Put("log", "a file, no folder\n");
        Choose(target);
        CAppLog log;
        log.inilog("module");
        EXPECT_FALSE(log.IsOn()) << target;
        log.debug("nobody hears this");
        log.Flush();
        EXPECT_EQ(log.LostLines(), 0u);
    }
}

TEST_F(AppLogTest, ManyThreadsKeepTheirOwnOrder) {
    constexpr int kThreads = 4;
    constexpr int kEach = 1000;
    CAppLog log;
    Open(log);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&log, t] {
            for (int i = 0; i < kEach; ++i) log.debug("%d %d", t, i);
        });
    }
    for (std::thread& thread : threads) thread.join();
    log.Flush();
    EXPECT_EQ(log.LostLines(), 0u);
    std::vector<int> next(kThreads, 0);
    for (const std::string& line : Written()) {
        int t = 0, i = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), " module %d %d", &t, &i), 2) << line;
        EXPECT_EQ(i, next[static_cast<size_t>(t)]++);
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kEach));
}

TEST_F(AppLogTest, CountsEveryLineThatAStuckTargetCostsAndNeverWaits) {
    constexpr uint64_t kWritten = 30000;
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    const int reader = open(m_path.c_str(), O_RDWR);
    CAppLog log;
    Open(log);
    for (uint64_t i = 0; i < kWritten; ++i) log.debug("line %u", static_cast<unsigned>(i));
    const uint64_t lost = log.LostLines();
    EXPECT_GT(lost, kWritten / 2) << "the queue is bounded";
    // Now somebody reads: what was not lost comes, the newest line included.
    std::string all;
    std::thread drain([&] {
        char bytes[65536];
        while (all.find("last\n") == std::string::npos) {
            const ssize_t got = read(reader, bytes, sizeof bytes);
            if (got <= 0) return;
            all.append(bytes, static_cast<size_t>(got));
        }
    });
    log.Flush();
    const uint64_t lostLines = log.LostLines();
    log.debug("last");
    drain.join();
    EXPECT_EQ(static_cast<uint64_t>(std::count(all.begin(), all.end(), '\n')) - 1 + lostLines, kWritten);
    EXPECT_NE(all.find("line 29999\n"), std::string::npos);
    close(reader);
}

struct Hooked {
    CAppLog* log = nullptr;
    Lines lines;
    static void Take(void* context, const char* line) {
        auto* self = static_cast<Hooked*>(context);
        self->lines.emplace_back(line);
        self->log->debug("from inside the hook");
        throw std::runtime_error("the application's fault");
    }
};

TEST_F(AppLogTest, TheHookTakesTheLinesItself) {
    CAppLog log;
    Open(log);
    Hooked hooked{&log, {}};
    log.debug("one");
    log.SetHook(&Hooked::Take, &hooked);
    log.debug("two %d", 2);
    log.SetHook(nullptr, nullptr);
    log.debug("three");
    log.Flush();
    EXPECT_EQ(hooked.lines, Lines{"two 2"});
    EXPECT_EQ(Written(), (Lines{" module one", " module three"}));

    Choose("off");
    CAppLog off;
    off.inilog("module");
    Hooked second{&off, {}};
    off.SetHook(&Hooked::Take, &second);
    off.debug("four");
    off.SetHook(nullptr, nullptr);
    EXPECT_EQ(second.lines, Lines{"four"});
    EXPECT_FALSE(off.IsOn());
}

TEST_F(AppLogTest, TakingTheHookAwayWaitsForItsRunningCall) {
    struct Slow {
        std::promise<void> entered, leave;
        std::atomic<bool> left{false};
    } slow;
    CAppLog log;
    log.SetHook(
        [](void* context, const char*) {
            auto* self = static_cast<Slow*>(context);
            self->entered.set_value();
            self->leave.get_future().wait();
            self->left = true;
        },
        &slow);
    std::thread writer([&] { log.debug("line"); });
    slow.entered.get_future().wait();
    std::thread letGo([&] { slow.leave.set_value(); });
    log.SetHook(nullptr, nullptr);
    EXPECT_TRUE(slow.left);
    letGo.join();
    writer.join();
}

TEST_F(AppLogTest, TheMacroEvaluatesNothingWhileTheLogIsOff) {
    int evaluated = 0;
    LUMO_LOG_LINE("%d", ++evaluated);
    EXPECT_EQ(evaluated, AppLog().IsOn() ? 1 : 0);
    CLogCapture capture;
    LUMO_LOG_LINE("%d", evaluated = 5);
    EXPECT_EQ(evaluated, 5);
    EXPECT_EQ(capture.Lines(), Lines{"5"});
}

TEST_F(AppLogTest, AForkedChildMayLogAndEnds) {
    CAppLog log;
    Open(log);
    log.debug("the parent's thread runs");
    log.Flush();
    EXPECT_EXIT(
        {
            log.debug("the child has no such thread");
            log.Flush();
            _exit(log.LostLines() == 0 ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

// Runs itself again: a process that does nothing but link the library and write a line before it ends.
TEST_F(AppLogTest, IsOpenedAtLoadAndFlushedAtExit) {
    if (getenv("LUMO_TEST_LOG_CHILD")) {
        AppLog().debug("the only line");
        return;
    }
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::string command = "LUMO_TEST_LOG_CHILD=1 LUMO_LOG='" + m_path.string() + "' '" + program +
                                "' --gtest_filter=AppLogTest.IsOpenedAtLoadAndFlushedAtExit > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(Written(), Lines{" lumomedia the only line"});
}

}  // namespace
