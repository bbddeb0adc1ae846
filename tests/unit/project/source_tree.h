// The project's own files, as the rules about them need to see them.
#pragma once

#include <string>
#include <vector>

/// A path relative to the project's root, and the file's lines.
struct CSourceFile {
    std::string path;
    std::vector<std::string> lines;
};

/// Every file below the given folders of the project whose extension is among `extensions`, sorted by path.
std::vector<CSourceFile> ReadSources(const std::vector<std::string>& folders,
                                     const std::vector<std::string>& extensions);

struct CRunResult {
    int exitCode;
    std::string output;
};

/// Runs a shell command to its end; both output streams together.
CRunResult RunShell(const std::string& command);

/// The first of the given programs that can be run, or "". With LUMO_REQUIRE_ALL set a missing one fails the test.
std::string FindProgram(const std::vector<std::string>& names);
