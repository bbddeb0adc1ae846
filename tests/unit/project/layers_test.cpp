#include "layer_rules.h"
#include "source_tree.h"

#include <gtest/gtest.h>

namespace {

/// A file, and headers as it includes them; those without pointed brackets are quoted.
struct Row {
    const char* path;
    std::vector<std::string> headers;
};

const Row kAllowed[] = {
    {"src/core/a.cpp", {"platform/lumobase/clock.h", "<lumomedia/packet.h>"}},
    {"src/link/udp/a.h", {"link/bounds/b.h", "link/b.h", "<atomic>"}},
    {"src/file/a.cpp", {"file/b.h", "lumomedia/file.h", "p2p/b.h"}},
    {"src/api/a.cpp", {"mcu/b.h"}},
    {"src/seal/a.cpp", {"seal/b.h", "platform/lumobase/forks.h", "<openssl/evp.h>"}},
    {"src/platform/lumonet/a.cpp", {"<sys/socket.h>"}},
    {"server/a.cpp", {"mcu/b.h", "<httplib.h>"}},
    {"tools/lumo/a.cpp", {"server/b.h", "<unistd.h>"}},
    {"include/lumomedia/a.h", {"<lumomedia/export.h>", "<string>"}},
};
const Row kRefused[] = {
    {"src/platform/lumonet/a.cpp", {"core/a.h"}},
    {"src/core/a.cpp", {"link/tables/id_table.h", "<sys/socket.h>", "<time.h>", "<thread>", "<mutex>", "<chrono>"}},
    {"src/link/a.h", {"file/channel.h", "link/bounds/b.h", "<asio/io_context.hpp>", "<nlohmann/json.hpp>"}},
    {"src/link/udp/a.h", {"link/tcp/b.h"}},
    {"src/link/news/a.h", {"link/b.h"}},
    {"src/file/a.cpp", {"video/b.h", "mcu/b.h", "support/net.h", "b.h", "../file/b.h"}},
    {"src/api/a.cpp", {"server/b.h", "seal/b.h", "<openssl/evp.h>"}},
    {"src/seal/a.cpp", {"core/b.h", "<mutex>"}},
    {"tools/lumo/a.cpp", {"seal/b.h"}},
    {"src/news/a.cpp", {"core/b.h"}},
    {"server/a.cpp", {"tools/lumo/b.h"}},
    {"include/lumomedia/a.h", {"core/a.h", "<thread>"}},
};

TEST(Layers, TheRuleTellsGoodFromBad) {
    const auto may = [](const char* path, const std::string& header) {
        return LayerBreach(path, "#include " + (header[0] == '<' ? header : '"' + header + '"')).empty();
    };
    for (const Row& row : kAllowed)
        for (const std::string& header : row.headers) EXPECT_TRUE(may(row.path, header)) << row.path << ": " << header;
    for (const Row& row : kRefused)
        for (const std::string& header : row.headers) EXPECT_FALSE(may(row.path, header)) << row.path << ": " << header;
    EXPECT_NE(LayerBreach("src/file/a.cpp", "  #  include \"video/b.h\"  // why not"), "");
    EXPECT_EQ(LayerBreach("src/core/a.cpp", "// #include <thread> is not for here"), "");
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

}  // namespace
