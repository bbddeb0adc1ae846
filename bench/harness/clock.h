// The clocks that all processes of the machine share, and what this one costs.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>
#include <fstream>

namespace bench {

inline constexpr int64_t kNsPerMs = 1000000;

inline int64_t ToNs(const timespec& time) { return static_cast<int64_t>(time.tv_sec) * 1000000000 + time.tv_nsec; }

inline int64_t NowNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return ToNs(now);
}

/// The clock by which the kernel stamps what arrives.
inline int64_t RealNs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return ToNs(now);
}

inline void SleepUntil(int64_t nowNs) {
    const timespec when{static_cast<time_t>(nowNs / 1000000000), static_cast<long>(nowNs % 1000000000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &when, nullptr);
}

/// User and system time of all threads of this process.
inline double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// What the memory of this process occupies.
inline double ResidentBytes() {
    std::ifstream statm("/proc/self/statm");
    double total = 0;
    double resident = 0;
    statm >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

}  // namespace bench
