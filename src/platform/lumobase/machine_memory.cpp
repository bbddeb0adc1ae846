#include "platform/lumobase/machine_memory.h"

#include <algorithm>
#include <fstream>

namespace {

// The number that a file begins with; 0 for none, such as "max".
uint64_t ReadNumber(const std::string& path) {
    std::ifstream file(path);
    uint64_t number = 0;
    return file >> number ? number : 0;
}

uint64_t ReadTotal(const std::string& path) {
    std::ifstream file(path);
    std::string name;
    uint64_t kib = 0;
    while (file >> name) {
        if (name == "MemTotal:") return file >> kib ? kib * 1024 : 0;
        file.ignore(256, '\n');
    }
    return 0;
}

void Lower(uint64_t& least, uint64_t bytes) {
    if (bytes != 0 && (least == 0 || bytes < least)) least = bytes;
}

// A group is bound by those above it, too. Inside a container only the topmost may be seen.
void LowerToGroups(uint64_t& least, const std::string& mount, std::string group, const std::string& file) {
    for (;;) {
        std::string path = mount;
        path.append(group).append(file);
        Lower(least, ReadNumber(path));
        if (group.empty()) return;
        group.erase(group.rfind('/') == std::string::npos ? 0 : group.rfind('/'));
    }
}

}  // namespace

uint64_t MachineMemory(const std::string& root) {
    uint64_t least = ReadTotal(root + "/proc/meminfo");
    std::ifstream groups(root + "/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {  // number:controllers:group
        const size_t first = line.find(':');
        const size_t second = first == std::string::npos ? first : line.find(':', first + 1);
        if (second == std::string::npos) continue;
        const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
        std::string group = line.substr(second + 1);
        if (group == "/") group.clear();
        if (controllers == ",,") LowerToGroups(least, root + "/sys/fs/cgroup", group, "/memory.max");
        if (controllers.find(",memory,") != std::string::npos)
            LowerToGroups(least, root + "/sys/fs/cgroup/memory", group, "/memory.limit_in_bytes");
    }
    return least;
}
