// The demo's files, folders and ports.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lumo {

/// The path of the program that runs; empty when it cannot be told.
std::string OwnProgram();
/// A new temporary directory; empty on failure.
std::string MakeFolder();
bool MakeDirectory(const std::string& path);
void RemoveFolder(const std::string& path);

std::string ReadFile(const std::string& path);  ///< empty when it cannot be read
bool WriteFile(const std::string& path, std::string_view bytes);

/// Sets the paths of what is sent: `given` or 48 MiB of random bytes, 2 MiB for the lossy path, and for the cut.
bool MakeDemoFiles(const std::string& given, const std::string& folder, std::string& big, std::string& small,
                   std::string& cut);
uint64_t SizeOf(const std::string& path);
/// Whether the file of the same name in `folder` has the same SHA-256.
bool SameContent(const std::string& path, const std::string& folder);

/// A port that is free for UDP and TCP on both addresses; 0 when none is found.
uint16_t FreePortOnBoth(const std::string& first, const std::string& second);

}  // namespace lumo
