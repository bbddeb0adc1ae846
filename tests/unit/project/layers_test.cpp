#include "layer_rules.h"
#include "source_tree.h"

#include <gtest/gtest.h>

TEST(Layers, TheRuleTellsGoodFromBad) {
    struct Row {
        const char* path;
        const char* line;
        bool allowed;
    };
    const Row rows[] = {
        {"src/core/a.cpp", "#include \"platform/lumobase/clock.h\"", true},
        {"src/core/a.cpp", "#include \"link/tables/id_table.h\"", false},
        {"src/platform/lumonet/a.cpp", "#include \"core/a.h\"", false},
        {"src/link/a.h", "#include \"file/channel.h\"", false},
        {"src/link/udp/a.h", "#include \"link/bounds/b.h\"", true},
        {"src/link/udp/a.h", "#include \"link/b.h\"", true},
        {"src/link/udp/a.h", "#include \"link/tcp/b.h\"", false},
        {"src/link/a.h", "#include \"link/bounds/b.h\"", false},
        {"src/link/news/a.h", "#include \"link/b.h\"", false},
        {"src/file/a.cpp", "#include \"file/b.h\"", true},
        {"src/file/a.cpp", "#include \"video/b.h\"", false},
        {"src/desktop/a.cpp", "  #  include \"whiteboard/b.h\"  // why not", false},
        {"src/whiteboard/a.cpp", "#include \"p2p/b.h\"", true},
        {"src/file/a.cpp", "#include \"mcu/b.h\"", false},
        {"src/api/a.cpp", "#include \"mcu/b.h\"", true},
        {"src/api/a.cpp", "#include \"server/b.h\"", false},
        {"src/mcu/a.cpp", "#include \"support/net.h\"", false},
        {"src/mcu/a.cpp", "#include \"b.h\"", false},
        {"src/mcu/a.cpp", "#include \"../file/b.h\"", false},
        {"src/news/a.cpp", "#include \"core/b.h\"", false},
        {"server/a.cpp", "#include \"mcu/b.h\"", true},
        {"server/a.cpp", "#include \"tools/lumo/b.h\"", false},
        {"tools/lumo/a.cpp", "#include \"server/b.h\"", true},
        {"src/core/a.cpp", "#include <sys/socket.h>", false},
        {"src/core/a.cpp", "#include <thread>", false},
        {"src/link/a.h", "#include <chrono>", false},
        {"src/link/a.h", "#include <asio/io_context.hpp>", false},
        {"src/link/a.h", "#include <nlohmann/json.hpp>", false},
        {"src/mcu/a.cpp", "#include <time.h>", false},
        {"src/link/a.h", "#include <atomic>", true},
        {"src/core/a.cpp", "#include <lumomedia/packet.h>", true},
        {"src/file/a.cpp", "#include \"lumomedia/file.h\"", true},
        {"src/platform/lumonet/a.cpp", "#include <sys/socket.h>", true},
        {"include/lumomedia/a.h", "#include <lumomedia/export.h>", true},
        {"include/lumomedia/a.h", "#include <string>", true},
        {"include/lumomedia/a.h", "#include \"core/a.h\"", false},
        {"include/lumomedia/a.h", "#include <thread>", false},
        {"src/core/a.cpp", "// #include <thread> is not for here", true},
    };
    for (const Row& row : rows)
        EXPECT_EQ(LayerBreach(row.path, row.line).empty(), row.allowed) << row.path << ": " << row.line;
}

TEST(Layers, NoFileReachesUpward) {
    const auto files = ReadSources({"include", "src", "server", "tools"}, {".h", ".cpp"});
    ASSERT_GT(files.size(), 50U) << "the tree was not found";
    for (const CSourceFile& file : files) {
        for (size_t i = 0; i < file.lines.size(); ++i) {
            const std::string breach = LayerBreach(file.path, file.lines[i]);
            if (!breach.empty()) ADD_FAILURE() << file.path << ":" << i + 1 << ": " << file.lines[i] << ": " << breach;
        }
    }
}

TEST(Files, NoneIsTooLongToRead) {
    const auto files = ReadSources({"include", "src", "server", "tools", "tests", "bench", "fuzz", "examples"},
                                   {".h", ".cpp", ".js", ".py", ".sh"});
    ASSERT_GT(files.size(), 50U) << "the tree was not found";
    for (const CSourceFile& file : files)
        EXPECT_LE(file.lines.size(), 350U) << file.path << ": split it where a second subject begins";
}
