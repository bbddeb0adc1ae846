// How this library calls the application.
#pragma once

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/release_gate.h"

/// Runs a callback of the application through its object's gate. False: it must not run, said false, or has thrown.
template <typename Callback>
bool GuardedCall(CReleaseGate& gate, Callback callback) {
    CGatePass pass(gate);
    if (!pass) return false;
    try {
        return callback();
    } catch (...) {
        LUMO_LOG_LINE("GuardedCall. the application's callback has thrown");
        return false;
    }
}
