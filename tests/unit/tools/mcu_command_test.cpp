// The relay server's flags.
#include "tools/lumo/commands/commands.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>

namespace {

/// Whether the words were understood; `exitCode` is what the server ended with.
bool Runs(const std::string& words, int& exitCode) {
    lumo::CCommandLine line;
    lumo::CCommand root = line.Root();
    lumo::AddMcuCommand(root, exitCode);
    std::istringstream in(words);
    return line.Run({std::istream_iterator<std::string>(in), {}});
}

TEST(McuCommand, RefusesWhatItDoesNotUnderstand) {
    for (const char* words : {"mcu --listen host", "mcu --listen 1.2.3.4:70000", "mcu --port 65536", "mcu --port x",
                              "mcu --http yes", "mcu --http 1.2.3.4.5:80", "mcu --http-name *", "mcu --http-name a/b",
                              "mcu --http-name a:b", "mcu --allow 10.0.0.0/33", "mcu --relay-to everywhere",
                              "mcu --max-sink-queue much", "mcu --max-upstream-frame 65M", "mcu --max-upstream-frame 0",
                              "mcu --max-sinks -1", "mcu --max-sink-queue -1MiB", "mcu extra"}) {
        int exitCode = -1;
        const std::string unbindable = " --listen 192.0.2.1:9";  // a line that is taken all the same does not stay
        EXPECT_FALSE(Runs(words + unbindable, exitCode)) << words;
        EXPECT_EQ(exitCode, -1) << words;
    }
}

TEST(McuCommand, FailsPlainlyWhenItCannotListen) {
    int exitCode = -1;
    EXPECT_TRUE(
        Runs("mcu --listen 192.0.2.1:9 --http off --http-name stats.example --http-name 1.2.3.4:80 --allow 10.0.0.0/8 "
             "--allow 1.2.3.4 --relay-to 10.1.0.0/16 "
             "--max-sink-queue 8MiB --max-upstream-frame 64MiB --max-channels 5",
             exitCode));
    EXPECT_EQ(exitCode, 1);
}

}  // namespace
