#include "bench/report/machine.h"

#include <sys/utsname.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

namespace bench {

namespace {

std::string FirstLine(const char* path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::string ProcessorName() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
    return "unknown";
}

std::string Today() {
    const time_t now = std::time(nullptr);
    char text[16] = {};
    std::strftime(text, sizeof text, "%Y-%m-%d", std::gmtime(&now));
    return text;
}

}  // namespace

double LoadAverage() {
    double load = 0;
    return getloadavg(&load, 1) == 1 ? load : 0;
}

nlohmann::json DescribeMachine() {
    utsname system{};
    uname(&system);
    return {{"date", Today()},
            {"processor", ProcessorName()},
            {"cores", sysconf(_SC_NPROCESSORS_ONLN)},
            {"kernel", std::string(system.sysname) + " " + system.release},
            {"compiler", __VERSION__},
            {"build", LUMO_BUILD_TYPE},
            {"net.core.rmem_max", FirstLine("/proc/sys/net/core/rmem_max")},
            {"net.core.wmem_max", FirstLine("/proc/sys/net/core/wmem_max")}};
}

}  // namespace bench
