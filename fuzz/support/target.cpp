#include "support/target.h"

#include <unistd.h>
#include <cstdio>
#include <utility>

CFuzzTarget::CFuzzTarget(std::string name, const std::vector<std::string>& handlers,
                         void (*take)(const uint8_t* data, size_t size))
    : m_name(std::move(name)), m_take(take), m_unreached(handlers.begin(), handlers.end()) {
    All().push_back(this);
}

std::vector<CFuzzTarget*>& CFuzzTarget::All() {
    static std::vector<CFuzzTarget*> all;
    return all;
}

void CFuzzTarget::Run(const uint8_t* data, size_t size) {
    m_bHasRun = true;
    m_take(data, size);
}

void CFuzzTarget::Hit(const std::string& handler) {
    if (m_unreached.erase(handler) > 0) m_reached.insert(handler);
}

CFuzzTarget::~CFuzzTarget() {
    if (!m_bHasRun) return;
    std::printf("%s reached:", m_name.c_str());
    for (const std::string& handler : m_reached) std::printf(" %s", handler.c_str());
    std::printf("\n%s not reached:", m_name.c_str());
    for (const std::string& handler : m_unreached) std::printf(" %s", handler.c_str());
    std::printf("%s\n", m_unreached.empty() ? " none" : "");
    std::fflush(stdout);
    if (!m_unreached.empty()) _exit(1);
}
