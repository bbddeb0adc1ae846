#include "source_tree.h"

#include <gtest/gtest.h>

#include <set>

// An application may be older than this library and include any one header first.
TEST(PublicHeaders, EachStandsAloneAsCpp11) {
    const auto headers = ReadSources({"include"}, {".h"});
    ASSERT_FALSE(headers.empty());
    unsigned compilers = 0;
    for (const auto& names : {std::vector<std::string>{"g++"}, std::vector<std::string>{"clang++-14", "clang++"}}) {
        const std::string compiler = FindProgram(names);
        if (compiler.empty()) continue;
        ++compilers;
        for (const CSourceFile& header : headers) {
            const auto run =
                RunShell(compiler + " -std=c++11 -pedantic -Wall -Wextra -Wconversion -Wno-long-long -Werror " +
                         "-fsyntax-only -I" LUMO_SOURCE_DIR "/include -x c++ " LUMO_SOURCE_DIR "/" + header.path);
            EXPECT_EQ(run.exitCode, 0) << compiler << ", " << header.path << ":\n" << run.output;
        }
    }
    EXPECT_GT(compilers, 0U) << "no compiler was found";
}

// But not the one of the sealing library, which is linked only by who seals.
TEST(PublicHeaders, TheUmbrellaHasThemAll) {
    std::set<std::string> umbrella, others;
    for (const CSourceFile& header : ReadSources({"include"}, {".h"})) {
        if (header.path.ends_with("/lumomedia.h"))
            umbrella.insert(header.lines.begin(), header.lines.end());
        else if (!header.path.ends_with("/seal.h"))
            others.insert("#include <" + header.path.substr(8) + ">");
    }
    ASSERT_FALSE(others.empty());
    for (const std::string& other : others) EXPECT_EQ(umbrella.count(other), 1U) << other;
}
