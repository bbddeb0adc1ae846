// The server's own lines: what comes and goes, for the operator.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// What a line is about.
enum class LogKind : uint8_t { Source, Sink, Signalling, Refusal, Count };

const char* LogKindName(LogKind kind);

/// Lines go to standard error from a thread of their own, so that a stalled terminal stalls nobody; lines that cannot
/// be kept up with are dropped, oldest first. Any thread.
class CServerLog {
public:
    static constexpr uint32_t kLinesPerSecond = 100;  // of each kind

    CServerLog();
    /// For tests: every line goes to `take`.
    explicit CServerLog(std::function<void(const std::string&)> take);
    ~CServerLog();
    CServerLog(const CServerLog&) = delete;
    CServerLog& operator=(const CServerLog&) = delete;

    void Line(const std::string& line);
    /// The line that `make` gives, which is not asked for when the kind has had its lines of this second.
    template <class Make>
    void Line(LogKind kind, Make make) {
        if (MayPass(kind)) Line(make());
    }
    void Refused(uint32_t ip, const char* why);
    /// Once a second: tells how many lines were left out.
    void OnSecond();

private:
    struct Pace {
        uint32_t since = 0;
        uint32_t passed = 0;
        uint64_t leftOut = 0;
    };
    struct Impl;

    bool MayPass(LogKind kind);
    /// A new second begins when the last one is over.
    void Turn(LogKind kind, Pace& pace) LUMO_REQUIRES(m_cs);

    std::unique_ptr<Impl> m_pImpl;
    std::function<void(const std::string&)> m_take;
    CCritSec m_cs{lock_order::kLeaf};
    std::array<Pace, static_cast<size_t>(LogKind::Count)> m_paces LUMO_GUARDED_BY(m_cs);
};
