#include "link/callback.h"

#include "platform/lumobase/app_log.h"

#include <cassert>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>

namespace {
thread_local int t_nCallbackDepth = 0;

std::string Named(const char* what, uint32_t id) {
    return id == 0 ? std::string(what) : std::string(what) + " " + std::to_string(id);
}
}  // namespace

CCallbackScope::CCallbackScope() { ++t_nCallbackDepth; }

CCallbackScope::~CCallbackScope() { --t_nCallbackDepth; }

COwnRelease::COwnRelease() : m_nDepth(std::exchange(t_nCallbackDepth, 0)) {}

COwnRelease::~COwnRelease() { t_nCallbackDepth = m_nDepth; }

bool RefusesRelease(const char* what, uint32_t id) {
    if (t_nCallbackDepth == 0) return false;
    const std::string name = Named(what, id);
    AppLog().debug("%s is not released inside a callback: release it on a thread of your own", name.c_str());
#ifndef NDEBUG
    std::fprintf(stderr, "lumomedia: %s is not released inside a callback\n", name.c_str());  // the log may be off
#endif
    return true;
}

void SayDeletedInCallback(const char* what, uint32_t id) {
    if (t_nCallbackDepth == 0) return;
    AppLog().debug("%s is deleted inside a callback: that may wait for ever", Named(what, id).c_str());
    assert(false && "deleted inside a callback");
}

void LogCallbackException() {
    try {
        throw;
    } catch (const std::exception& error) {
        AppLog().debug("A callback threw: %s", error.what());
    } catch (...) {
        AppLog().debug("A callback threw");
    }
}
