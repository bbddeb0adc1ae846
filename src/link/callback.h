// Calls into the application.
#pragma once

/// Marks the thread as being inside a callback of the application, for the checks of debug builds.
class CCallbackScope {
public:
    CCallbackScope();
    ~CCallbackScope();
    CCallbackScope(const CCallbackScope&) = delete;
    CCallbackScope& operator=(const CCallbackScope&) = delete;
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
