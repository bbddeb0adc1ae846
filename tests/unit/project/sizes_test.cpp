// Files and functions that can be read: those of tests as well, which the linter does not see.
#include "source_tree.h"

#include <gtest/gtest.h>

namespace {

std::vector<CSourceFile> Everything(const std::vector<std::string>& extensions) {
    return ReadSources({"include", "src", "server", "tools", "tests", "bench", "fuzz", "examples"}, extensions);
}

/// Whether the line goes on with something that began at this indentation; directives belong to whatever is around
/// them.
bool IsInside(const std::string& line, size_t indent) {
    const size_t first = line.find_first_not_of(' ');
    return first > indent || line[first] == '#';
}

/// How many lines a function that ends here has, counted as the linter does: from its opening brace on. 0: none ends
/// here. Its closing brace stands alone, as far to the right as its first line; the same goes for loops and the like.
size_t FunctionLines(const std::vector<std::string>& lines, size_t end) {
    if (end == 0 || !lines[end].ends_with('}')) return 0;
    const size_t indent = lines[end].size() - 1;
    if (lines[end].find_first_not_of(' ') != indent) return 0;
    size_t begin = end - 1;
    while (begin > 0 && IsInside(lines[begin], indent)) --begin;
    while (begin < end && !lines[begin].ends_with('{')) ++begin;
    return end - begin;
}

TEST(Files, NoneIsTooLongToRead) {
    const auto files = Everything({".h", ".cpp", ".js", ".py", ".sh"});
    ASSERT_GT(files.size(), 50U) << "the tree was not found";
    for (const CSourceFile& file : files)
        EXPECT_LE(file.lines.size(), 350U) << file.path << ": split it where a second subject begins";
}

TEST(Functions, NoneIsTooLongToSeeAtAGlance) {
    const std::vector<std::string> example{"TEST(A,", "     B) {",    "    if (c) {", "#if D",
                                           "",        "        e();", "    }",        "}"};
    EXPECT_EQ(FunctionLines(example, 6), 4U);
    EXPECT_EQ(FunctionLines(example, 7), 6U);
    EXPECT_EQ(FunctionLines({"namespace {", "}  // namespace"}, 1), 0U);
    for (const CSourceFile& file : Everything({".h", ".cpp"}))
        for (size_t i = 0; i < file.lines.size(); ++i)
            EXPECT_LE(FunctionLines(file.lines, i), 60U) << file.path << ": the function that ends in line " << i + 1;
}

}  // namespace
