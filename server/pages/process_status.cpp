#include "server/pages/process_status.h"

#include <sys/resource.h>
#include <unistd.h>
#include <filesystem>
#include <fstream>
#include <string>

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

}  // namespace

CProcessStatus ReadProcessStatus() {
    CProcessStatus status;
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) == 0) status.cpuSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    status.residentBytes = ResidentBytes();
    CountFiles(status);
    return status;
}
