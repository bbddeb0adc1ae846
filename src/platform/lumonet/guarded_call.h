// How this library calls the application.
#pragma once

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/release_gate.h"

#include <type_traits>

/// Of a callback; called from a catch block.
inline void LogCallbackThrew() { LUMO_LOG_ERROR("GuardedCall. the application's callback has thrown"); }

/// Runs a callback of the application whose object's gate has been passed. False: it said false, or has thrown.
template <typename Callback>
bool CallInside(Callback callback) {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Callback>>) {
            callback();
            return true;
        } else {
            return callback();
        }
    } catch (...) {
        LogCallbackThrew();
        return false;
    }
}

/// Runs a callback of the application through its object's gate. False also when it must not run.
template <typename Callback>
bool GuardedCall(CReleaseGate& gate, Callback callback) {
    CGatePass pass(gate);
    return pass && CallInside(callback);
}
