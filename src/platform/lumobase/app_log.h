// The one log of the library: printf-style lines, off unless asked for, written asynchronously.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

/// Error: what has failed. Info: what comes, goes and changes, too. Debug: each datagram and frame, too.
enum class LogLevel : int { Off, Error, Info, Debug };

/// LUMO_LOG=off|[LEVEL:]stderr|[LEVEL:]PATH chooses which lines go where: off unless it is set, and all lines unless it
/// begins with error, info or debug. Every member may be called on any thread.
class CAppLog {
public:
    CAppLog();
    ~CAppLog();
    CAppLog(const CAppLog&) = delete;
    CAppLog& operator=(const CAppLog&) = delete;

    /// Opens the log under a module name, reading LUMO_LOG. Called once, when the library is loaded.
    void inilog(const char* module);
    /// Why the log is not where LUMO_LOG wants it; empty: it is. Fixed once the library is loaded.
    const std::string& Problem() const;
    /// Writes one line of an error; with the log off it costs one relaxed load. Never fails visibly. Use the macros
    /// below for other lines, and where an argument costs something to make.
    __attribute__((format(printf, 2, 3))) void debug(const char* format, ...);

    /// Whether lines of that level are written.
    bool IsOn(LogLevel level = LogLevel::Error) const { return m_level.load(std::memory_order_relaxed) >= level; }
    /// See SetLogHook of the public interface.
    void SetHook(void (*hook)(void*, const char*), void* context);
    /// Waits until every line written before this call is out, at most that long.
    void Flush(int milliseconds = 30'000);
    /// Lines dropped because the writer fell behind.
    uint64_t LostLines() const;

private:
    struct Impl;
    Impl* m_pImpl;
    std::atomic<LogLevel> m_level;
};

/// The module-wide logger; opened as "lumomedia" when the library is loaded, in the static library too.
CAppLog& AppLog();

/// One line of a level, with the arguments not even evaluated while such lines are not written.
#define LUMO_LOG_AT(level, ...)                                \
    do {                                                       \
        if (AppLog().IsOn(level)) AppLog().debug(__VA_ARGS__); \
    } while (false)
#define LUMO_LOG_ERROR(...) LUMO_LOG_AT(LogLevel::Error, __VA_ARGS__)
#define LUMO_LOG_LINE(...) LUMO_LOG_AT(LogLevel::Info, __VA_ARGS__)
#define LUMO_LOG_DEBUG(...) LUMO_LOG_AT(LogLevel::Debug, __VA_ARGS__)
