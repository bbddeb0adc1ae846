#include "source_tree.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

std::vector<CSourceFile> ReadSources(const std::vector<std::string>& folders,
                                     const std::vector<std::string>& extensions) {
    const std::filesystem::path root = LUMO_SOURCE_DIR;
    std::vector<CSourceFile> files;
    for (const std::string& folder : folders) {
        if (!std::filesystem::exists(root / folder)) continue;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
            const std::string extension = entry.path().extension();
            if (std::find(extensions.begin(), extensions.end(), extension) == extensions.end()) continue;
            CSourceFile file{entry.path().lexically_relative(root), {}};
            std::ifstream stream(entry.path());
            for (std::string line; std::getline(stream, line);) file.lines.push_back(line);
            files.push_back(std::move(file));
        }
    }
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
    return files;
}

CRunResult RunShell(const std::string& command) {
    CRunResult result{-1, ""};
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return result;
    std::array<char, 4096> buffer;
    for (size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) result.output.append(buffer.data(), n);
    const int status = pclose(pipe);
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    return result;
}

std::string FindProgram(const std::vector<std::string>& names) {
    for (const std::string& name : names)
        if (RunShell("command -v " + name).exitCode == 0) return name;
    if (std::getenv("LUMO_REQUIRE_ALL") != nullptr) ADD_FAILURE() << "none of " << testing::PrintToString(names);
    return "";
}
