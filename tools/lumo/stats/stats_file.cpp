#include "tools/lumo/stats/stats_file.h"

#include "tools/lumo/media/wall_clock.h"
#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_name.h"

#include <fcntl.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <cerrno>

namespace lumo {
// Non-blocking, so that a named pipe which nobody reads is refused and does not hang.
CStatsFile::CStatsFile(const std::string& path, const char* command, CProgressPrinter& printer)
    : m_path(path),
      m_szCommand(command),
      m_printer(printer),
      m_file(path.empty() ? -1 : open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0666)) {
    const int error = errno;
    if (!Ok()) m_printer.Error(Printable(path) + ": " + ErrorText(error));
}

void CStatsFile::Write(uint64_t now, const nlohmann::json& progress) {
    if (!m_file) return;
    m_ullWrittenMs = now;
    const uint64_t milliseconds = WallClockUs() / 1000;
    nlohmann::json line = {{"time", static_cast<double>(milliseconds) / 1000},
                           {"command", m_szCommand},
                           {"process", getpid()},
                           {"progress", progress}};
    m_links.Fill(now, line);
    const std::string text = line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    const ssize_t written = write(m_file.Get(), text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size())) return;
    if (written < 0 && errno == EAGAIN) return;  // whoever reads the pipe is slow: this line is left out
    m_printer.Error(Printable(m_path) + ": " + ErrorText(written < 0 ? errno : ENOSPC) + "; no more lines are written");
    m_file.Reset();
}

}  // namespace lumo
