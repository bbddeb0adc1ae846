#include "link/callback.h"

#include "platform/lumobase/app_log.h"

#include <cassert>
#include <exception>

namespace {
thread_local int t_nCallbackDepth = 0;
}

CCallbackScope::CCallbackScope() { ++t_nCallbackDepth; }

CCallbackScope::~CCallbackScope() { --t_nCallbackDepth; }

void AssertNotInCallback() { assert(t_nCallbackDepth == 0 && "released from inside a callback"); }

void LogCallbackException() {
    try {
        throw;
    } catch (const std::exception& error) {
        AppLog().debug("A callback threw: %s", error.what());
    } catch (...) {
        AppLog().debug("A callback threw");
    }
}
