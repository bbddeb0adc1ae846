// What the operating system says of this process.
#pragma once

#include <cstdint>

struct CProcessStatus {
    double cpuSeconds = 0;
    uint64_t residentBytes = 0;
    uint64_t openFiles = 0;
    uint64_t openSockets = 0;
};

CProcessStatus ReadProcessStatus();
