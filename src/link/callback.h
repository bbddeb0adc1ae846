// Calls into the application.
#pragma once

#include "platform/lumobase/clock.h"

/// Marks the thread as being inside a callback of the application, for the checks of debug builds. What a slow one
/// sends is stamped with the time of then, not with that of the burst around it.
class CCallbackScope {
public:
    CCallbackScope();
    ~CCallbackScope();
    CCallbackScope(const CCallbackScope&) = delete;
    CCallbackScope& operator=(const CCallbackScope&) = delete;

private:
    Lumo_Base::CTimeUnheld m_time;
};

/// Debug builds stop here when an object is released from inside a callback, which holds the lock its release needs.
void AssertNotInCallback();

/// Logs what a callback threw; called from a catch block.
void LogCallbackException();

/// Runs a callback; an exception of the application is logged and goes no further. False when there was one.
template <class Call>
bool CallApplication(Call call) {
    CCallbackScope scope;
    try {
        call();
        return true;
    } catch (...) {
        LogCallbackException();
        return false;
    }
}
