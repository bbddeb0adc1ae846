// Calls into the application.
#pragma once

#include "platform/lumobase/clock.h"

#include <cstdint>

/// Marks the thread as being inside a callback of the application. What a slow callback sends is stamped with the time
/// of sending, not with the time of the burst around it.
class CCallbackScope {
public:
    CCallbackScope();
    ~CCallbackScope();
    CCallbackScope(const CCallbackScope&) = delete;
    CCallbackScope& operator=(const CCallbackScope&) = delete;

private:
    Lumo_Base::CTimeUnheld m_time;
};

/// Takes that mark away while the library releases what the application has not been given yet.
class COwnRelease {
public:
    COwnRelease();
    ~COwnRelease();
    COwnRelease(const COwnRelease&) = delete;
    COwnRelease& operator=(const COwnRelease&) = delete;

private:
    const int m_nDepth;
};

/// True inside a callback, of whatever object: the application may not release anything there, and a log line says so.
/// The callback holds locks that a release needs, and the callbacks of two threads would wait for each other for ever.
/// `id` is its channel's or user's, 0 where there is none.
bool RefusesRelease(const char* what, uint32_t id);
/// A destructor cannot refuse: a log line, and debug builds stop.
void SayDeletedInCallback(const char* what, uint32_t id);

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
