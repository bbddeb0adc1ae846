// Where log lines go: a file or standard error, written by a thread of its own.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// Its thread starts with the first line. In a child that was forked later it does nothing.
class CLogWriter {
public:
    /// `target` is "stderr" or a path, which is appended to. Null with the problem when it cannot be opened.
    static std::unique_ptr<CLogWriter> Open(const std::string& target, const char* module, std::string& problem);
    ~CLogWriter();
    CLogWriter(const CLogWriter&) = delete;
    CLogWriter& operator=(const CLogWriter&) = delete;

    /// Queues one line. Never waits for the target: when the writer has fallen behind, the oldest line queued is lost.
    void Write(std::string_view line) noexcept;
    /// True when everything queued before has been handed to the target in time.
    bool Flush(std::chrono::milliseconds limit) noexcept;
    /// Lines lost so far: dropped from the queue, or not taken by the target.
    uint64_t LostLines() const noexcept;

private:
    CLogWriter();

    struct Impl;
    std::unique_ptr<Impl> m_impl;
};
