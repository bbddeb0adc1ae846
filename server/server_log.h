// The server's own lines: what comes and goes, for the operator.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"
#include "server/refusals.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// What a line is about.
enum class LogKind : uint8_t { Source, Sink, Signalling, Refusal, Count };

const char* LogKindName(LogKind kind);

/// A line for people, and what it says as fields for programs.
struct CLogLine {
    using Value = std::variant<std::string, uint64_t>;

    CLogLine(std::string said) : text(std::move(said)) {}
    CLogLine(const char* said) : text(said) {}

    std::string text;
    std::vector<std::pair<const char*, Value>> fields;
    const char* level = "info";  ///< or warning, or error; people see it in front of all but the first
};

/// Lines go to standard error from a thread of their own, so that a stalled terminal stalls nobody; lines that cannot
/// be kept up with are dropped, oldest first. Any thread.
class CServerLog {
public:
    static constexpr uint32_t kLinesPerSecond = 100;    // of each kind but one:
    static constexpr uint32_t kRefusalsPerMinute = 10;  // anybody can ask under any address

    /// `json`: each line is a JSON object.
    explicit CServerLog(bool json = false);
    /// For tests: every line goes to `take`, without its time.
    explicit CServerLog(std::function<void(const std::string&)> take, bool json = false);
    ~CServerLog();
    CServerLog(const CServerLog&) = delete;
    CServerLog& operator=(const CServerLog&) = delete;

    void Line(const CLogLine& line);
    void Warn(const std::string& text);
    /// The line that `make` gives, which is not asked for when the kind has had its lines of this second.
    template <class Make>
    void Line(LogKind kind, Make make) {
        if (!MayPass(kind)) return;
        CLogLine line = make();
        line.fields.insert(line.fields.begin(), {"kind", LogKindName(kind)});
        Line(line);
    }
    /// Counts it; a line is written only when it is news, and ends with what `detail` gives.
    template <class Detail>
    void Refused(uint32_t ip, Refusal why, Detail detail) {
        if (m_refusals.Count(why, ip)) Line(LogKind::Refusal, [&] { return RefusedLine(ip, why, detail()); });
    }
    void Refused(uint32_t ip, Refusal why) {
        Refused(ip, why, [] { return std::string(); });
    }
    std::vector<CRefusalStatus> Refusals() const { return m_refusals.Status(); }
    /// Once a second: tells how many lines were left out.
    void OnSecond();

private:
    struct Pace {
        uint32_t since = 0;
        uint32_t passed = 0;
        uint64_t leftOut = 0;
    };
    struct Impl;

    static CLogLine RefusedLine(uint32_t ip, Refusal why, const std::string& detail);
    bool MayPass(LogKind kind);
    /// A new second begins when the last one is over.
    void Turn(LogKind kind, Pace& pace) LUMO_REQUIRES(m_cs);
    void Write(const std::string& line);

    const bool m_bJson;
    std::unique_ptr<Impl> m_pImpl;
    std::function<void(const std::string&)> m_take;
    CRefusals m_refusals;
    CCritSec m_cs{lock_order::kLeaf};
    std::array<Pace, static_cast<size_t>(LogKind::Count)> m_paces LUMO_GUARDED_BY(m_cs);
};
