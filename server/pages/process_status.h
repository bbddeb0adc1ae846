// What the operating system says of this process.
#pragma once

#include <cstdint>
#include <map>

struct CProcessStatus {
    double cpuSeconds = 0;
    uint64_t residentBytes = 0;
    uint64_t openFiles = 0;
    uint64_t openSockets = 0;
    uint64_t mostFiles = 0;  ///< that may be open
    double startedAt = 0;    ///< seconds since 1970
};

CProcessStatus ReadProcessStatus();
/// The same without descriptors, of which there may be many.
CProcessStatus ReadProcessLoad();
/// Processor seconds that each thread has used, by its ID in the system.
std::map<uint64_t, double> ReadThreadSeconds();
