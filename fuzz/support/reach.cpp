#include "support/reach.h"

#include <unistd.h>
#include <cstdio>

CReach::CReach(std::string target, std::vector<std::string> handlers)
    : m_target(std::move(target)), m_unreached(handlers.begin(), handlers.end()) {}

void CReach::Hit(const std::string& handler) {
    if (m_unreached.erase(handler) > 0) m_reached.insert(handler);
}

CReach::~CReach() {
    std::printf("%s reached:", m_target.c_str());
    for (const std::string& handler : m_reached) std::printf(" %s", handler.c_str());
    std::printf("\n%s not reached:", m_target.c_str());
    for (const std::string& handler : m_unreached) std::printf(" %s", handler.c_str());
    std::printf("%s\n", m_unreached.empty() ? " none" : "");
    std::fflush(stdout);
    if (!m_unreached.empty()) _exit(1);
}
