#include "server/pages/process_status.h"

#include <sys/resource.h>
#include <unistd.h>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

uint64_t ResidentBytes() {
    uint64_t all = 0;
    uint64_t resident = 0;
    std::ifstream file("/proc/self/statm");
    if (!(file >> all >> resident)) return 0;
    return resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

// Descriptors close while they are listed; those are skipped.
void CountFiles(CProcessStatus& status) {
    std::error_code error;
    for (std::filesystem::directory_iterator it("/proc/self/fd", error), end; !error && it != end;
         it.increment(error)) {
        ++status.openFiles;
        std::error_code gone;
        if (std::filesystem::read_symlink(it->path(), gone).string().rfind("socket:", 0) == 0) ++status.openSockets;
    }
}

/// What stands behind the name, which may hold anything, in a `stat` file: the third field first.
std::vector<std::string> StatFields(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    std::istringstream rest(line.substr(std::min(line.rfind(')') + 1, line.size())));
    return {std::istream_iterator<std::string>(rest), {}};
}

/// A field of ticks, by its number in the manual; in seconds.
double TickSeconds(const std::vector<std::string>& fields, size_t number) {
    constexpr size_t kFirst = 3;
    uint64_t ticks = 0;
    if (number - kFirst < fields.size()) {
        const std::string& text = fields[number - kFirst];
        std::from_chars(text.data(), text.data() + text.size(), ticks);
    }
    return static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// The system counts from its own start, sleep included.
double StartedAt() {
    constexpr size_t kStartTime = 22;
    timespec up{};
    clock_gettime(CLOCK_BOOTTIME, &up);
    const double age = static_cast<double>(up.tv_sec) - TickSeconds(StatFields("/proc/self/stat"), kStartTime);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count() - age;
}

}  // namespace

CProcessStatus ReadProcessLoad() {
    CProcessStatus status;
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) == 0) status.cpuSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    status.residentBytes = ResidentBytes();
    return status;
}

CProcessStatus ReadProcessStatus() {
    static const double started = StartedAt();
    CProcessStatus status = ReadProcessLoad();
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) status.mostFiles = files.rlim_cur;
    status.startedAt = started;
    CountFiles(status);
    return status;
}

std::map<uint64_t, double> ReadThreadSeconds() {
    constexpr size_t kUserTime = 14;
    constexpr size_t kSystemTime = 15;
    std::map<uint64_t, double> threads;
    std::error_code error;
    for (std::filesystem::directory_iterator it("/proc/self/task", error), end; !error && it != end;
         it.increment(error)) {
        const std::string name = it->path().filename().string();
        uint64_t id = 0;
        std::from_chars(name.data(), name.data() + name.size(), id);
        const std::vector<std::string> fields = StatFields(it->path() / "stat");
        threads[id] = TickSeconds(fields, kUserTime) + TickSeconds(fields, kSystemTime);
    }
    return threads;
}
