// The one log of the library: printf-style lines, off unless asked for, written asynchronously.
#pragma once

#include <atomic>
#include <cstdint>

/// LUMO_LOG=off|stderr|PATH chooses where lines go (default off). Every member may be called on any thread.
class CAppLog {
public:
    CAppLog();
    ~CAppLog();
    CAppLog(const CAppLog&) = delete;
    CAppLog& operator=(const CAppLog&) = delete;

    /// Opens the log under a module name, reading LUMO_LOG. Called once, when the library is loaded.
    void inilog(const char* module);
    /// Writes one line; with the log off it costs one relaxed load. Never fails visibly. Use LUMO_LOG_LINE instead
    /// where an argument costs something to make.
    __attribute__((format(printf, 2, 3))) void debug(const char* format, ...);

    bool IsOn() const { return m_bOn.load(std::memory_order_relaxed); }
    /// See SetLogHook of the public interface.
    void SetHook(void (*hook)(void*, const char*), void* context);
    /// Waits until every line written before this call is out, at most that long.
    void Flush(int milliseconds = 30'000);
    /// Lines dropped because the writer fell behind.
    uint64_t LostLines() const;

private:
    struct Impl;
    Impl* m_pImpl;
    std::atomic<bool> m_bOn;
};

/// The module-wide logger; opened as "lumomedia" when the library is loaded, in the static library too.
CAppLog& AppLog();

/// AppLog().debug(...), with the arguments not even evaluated while the log is off.
#define LUMO_LOG_LINE(...)                                \
    do {                                                  \
        if (AppLog().IsOn()) AppLog().debug(__VA_ARGS__); \
    } while (false)
