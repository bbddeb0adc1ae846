// The program as processes of their own, in a folder that goes with the test.
#pragma once

#include "support/scratch.h"
#include "tools/lumo/demo/child_process.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <list>
#include <sstream>
#include <string>
#include <vector>

/// What a test starts ends with it, and all of it runs in that folder.
class CProgramTest : public ::testing::Test {
protected:
    using Json = nlohmann::json;
    struct Process : lumo::CChildProcess {
        std::string line;  ///< what it was started with
    };

    /// Every wait ends with an event; this is for the case that none comes.
    static constexpr uint64_t kDeadlineMs = 120000;
    static constexpr const char* kLumo = LUMO_BUILD_DIR "/tools/lumo/lumo";

    CProgramTest() {
        std::filesystem::current_path(folder / "");
        setenv("XDG_CONFIG_HOME", (folder / "").c_str(), 1);  // nobody's settings but the test's
    }
    ~CProgramTest() override { std::filesystem::current_path(m_before); }

    /// `lumo` with words that blanks part.
    Process& Lumo(const std::string& words, int input = -1) { return Start({}, kLumo, words, input); }
    /// Any program; `before` goes before it.
    Process& Start(std::vector<std::string> before, const std::string& program, const std::string& words,
                   int input = -1) {
        std::istringstream in(words);
        Process& process = m_processes.emplace_back();
        process.line = words;
        before.push_back(program);
        before.insert(before.end(), std::istream_iterator<std::string>(in), std::istream_iterator<std::string>());
        EXPECT_TRUE(process.Start(before, input)) << words;
        return process;
    }
    static bool Says(Process& process, const std::string& text) {
        const bool said = process.WaitForText(text, kDeadlineMs);
        EXPECT_TRUE(said) << process.line << " never says " << text << '\n' << process.Output() << process.Errors();
        return said;
    }
    /// Waits for its end, which must be like that; the last event then.
    static Json End(Process& process, int code = 0) {
        EXPECT_TRUE(process.WaitForEnd(kDeadlineMs)) << process.line << " goes on";
        EXPECT_EQ(process.ExitCode(), code) << process.line << '\n' << process.Output() << process.Errors();
        return LastEvent(process);
    }
    /// The last JSON object that a process has written.
    static Json LastEvent(const Process& process) {
        const std::string text = process.Output().substr(0, process.Output().rfind('\n'));
        return Json::parse(text.substr(text.rfind('\n') + 1), nullptr, false);
    }
    static std::string PathOf(const Json& event) { return event.is_object() ? event.value("path", "") : ""; }

    /// The number that follows these words.
    static std::string NumberBehind(const std::string& text, const std::string& words) {
        const size_t at = text.find(words);
        if (at == std::string::npos) return "";
        const size_t first = at + words.size();
        return text.substr(first, text.find_first_not_of("0123456789", first) - first);
    }

    const CScratch folder;

private:
    const std::filesystem::path m_before = std::filesystem::current_path();
    std::list<Process> m_processes;
};
