#include "platform/lumobase/app_log.h"

#include "support/eventually.h"
#include "support/log_capture.h"
#include "support/scratch.h"
#include "support/stay.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

TEST_F(AppLogTest, WritesLinesWithTimeThreadAndModuleAndKeepsNothingBackWhileIdle) {
    Lines expected{" module CThing::Do. value : 7, name : x", " module a name with  a line of its own and a tab",
                   " module " + std::string(2047, 'y')};
    {
        CAppLog log;
        log.debug("before it is open %d", 0);
        Open(log);
        ASSERT_TRUE(log.IsOn());
        log.debug("CThing::Do. value : %u, name : %s", 7u, "x");
        log.debug("%s", "a name with\r\na line of its own and a\ttab");
        log.debug("%s", std::string(5000, 'y').c_str());
        EXPECT_TRUE(Eventually([&] { return Written() == expected; }));
    }
    CAppLog again;
    Open(again);
    again.debug("appended");
    again.Flush();
    expected.emplace_back(" module appended");
    EXPECT_EQ(Written(), expected);
}

TEST_F(AppLogTest, StaysOffUnlessAskedForAndPossible) {
    const std::string under = (m_path / "under").string();
    const std::string none = m_path.parent_path() / "none", below = none + "/deep/log";
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"off", ""},
        {below, "LUMO_LOG: cannot write " + below + ": there is no directory " + none},
        {under, "LUMO_LOG: cannot write " + under + ": Not a directory"},
        {"loud:stderr", "LUMO_LOG knows the levels error, info and debug, not loud"},
        {"info:", "LUMO_LOG names a level and no place"}};
    for (const auto& [target, problem] : rows) {
        m_folder.Put("log", "a file, no folder\n");
        Choose(target);
        CAppLog log;
        log.inilog("module");
        EXPECT_FALSE(log.IsOn()) << target;
        EXPECT_EQ(log.Problem(), problem);
        log.debug("nobody hears this");
        log.Flush();
        EXPECT_EQ(log.LostLines(), 0u);
    }
}

TEST_F(AppLogTest, ALevelLeavesOutWhatMattersLess) {
    const std::pair<std::string, LogLevel> rows[] = {
        {"", LogLevel::Debug}, {"debug:", LogLevel::Debug}, {"info:", LogLevel::Info}, {"error:", LogLevel::Error}};
    for (const auto& [prefix, least] : rows) {
        Choose(prefix + m_path.string());
        CAppLog log;
        log.inilog("module");
        for (const LogLevel level : {LogLevel::Error, LogLevel::Info, LogLevel::Debug})
            EXPECT_EQ(log.IsOn(level), level <= least) << prefix << static_cast<int>(level);
    }
}

TEST_F(AppLogTest, CountsEveryLineThatAStuckTargetCostsAndNeverWaits) {
    constexpr uint64_t kWritten = 30000, kThreads = 4;
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    const int reader = open(m_path.c_str(), O_RDWR);
    CAppLog log;
    Open(log);
    std::vector<std::jthread> writers;
    for (uint64_t t = 0; t < kThreads; ++t)
        writers.emplace_back([&log] {
            for (uint64_t i = 1; i < kWritten / kThreads; ++i) log.debug("line");
            log.debug("the last of a thread");
        });
    writers.clear();
    EXPECT_GT(log.LostLines(), kWritten / 2) << "the queue is bounded";
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
    EXPECT_NE(all.find("the last of a thread\n"), std::string::npos);
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
    for (const bool opens : {true, false}) {
        CAppLog log;
        if (opens) Open(log);
        Hooked hooked{&log, {}};
        log.debug("one");
        log.SetHook(&Hooked::Take, &hooked);
        log.debug("two %d", 2);
        log.SetHook(nullptr, nullptr);
        log.debug("three");
        log.Flush();
        EXPECT_EQ(hooked.lines, Lines{"two 2"});
        EXPECT_EQ(log.IsOn(), opens);
    }
    EXPECT_EQ(Written(), (Lines{" module one", " module three"}));
}

TEST_F(AppLogTest, TakingTheHookAwayWaitsForItsRunningCall) {
    CStay inside;
    CAppLog log;
    log.SetHook([](void* context, const char*) { static_cast<CStay*>(context)->Stay(); }, &inside);
    std::jthread writer([&] { log.debug("line"); });
    inside.WaitUntilInside();
    std::jthread letGo([&] { inside.LetGo(); });
    log.SetHook(nullptr, nullptr);
    EXPECT_TRUE(inside.HasLeft());
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
