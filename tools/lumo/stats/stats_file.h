// What `--stats FILE` writes while a program runs: a JSON line a second.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/stats/own_links.h"
#include "tools/lumo/ui/progress.h"

#include <cstdint>
#include <string>

namespace lumo {

/// Lines are added at the end of the file. An empty path: nothing is ever due. One thread.
class CStatsFile {
public:
    /// Complains where the file is not to be had; `command` stands in each line.
    CStatsFile(const std::string& path, const char* command, CProgressPrinter& printer);
    bool Ok() const { return m_path.empty() || m_file; }

    bool Due(uint64_t now) const { return m_file && now - m_ullWrittenMs >= kEveryMs; }
    /// `progress` is what the events of --json tell. Nothing more is written after a write has failed.
    void Write(uint64_t now, const nlohmann::json& progress);

private:
    static constexpr uint64_t kEveryMs = 1000;

    const std::string m_path;
    const char* const m_szCommand;
    CProgressPrinter& m_printer;
    CFileDescriptor m_file;
    COwnLinks m_links;
    uint64_t m_ullWrittenMs = 0;
};

}  // namespace lumo
