#include "server/server_log.h"

#include "link/activity.h"
#include "platform/lumonet/lumonet.h"

#include <spdlog/async.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <nlohmann/json.hpp>
#include <utility>

namespace {
constexpr size_t kWaitingLines = 8192;
}

struct CServerLog::Impl {
    std::shared_ptr<spdlog::details::thread_pool> pool =
        std::make_shared<spdlog::details::thread_pool>(kWaitingLines, 1);
    std::shared_ptr<spdlog::async_logger> logger = std::make_shared<spdlog::async_logger>(
        "mcu", std::make_shared<spdlog::sinks::stderr_sink_mt>(), pool, spdlog::async_overflow_policy::overrun_oldest);
};

// In JSON the time comes first; what Line writes goes on behind it.
CServerLog::CServerLog(bool json) : m_bJson(json), m_pImpl(std::make_unique<Impl>()) {
    m_pImpl->logger->set_pattern(json ? "{\"time\":\"%Y-%m-%dT%H:%M:%S.%e%z\",%v" : "%Y-%m-%d %H:%M:%S.%e %v");
    m_pImpl->logger->flush_on(spdlog::level::info);
}

CServerLog::CServerLog(std::function<void(const std::string&)> take, bool json)
    : m_bJson(json), m_take(std::move(take)) {}

CServerLog::~CServerLog() {
    if (m_pImpl) m_pImpl->pool.reset();  // what it still holds goes out while the logger stands
}

const char* LogKindName(LogKind kind) {
    constexpr const char* kNames[] = {"source", "sink", "signalling", "refusal"};
    return kNames[static_cast<size_t>(kind)];
}

bool CServerLog::MayPass(LogKind kind) {
    CAutoLock lock(&m_cs);
    Pace& pace = m_paces[static_cast<size_t>(kind)];
    Turn(kind, pace);
    if (pace.passed >= (kind == LogKind::Refusal ? kRefusalsPerMinute : kLinesPerSecond)) {
        ++pace.leftOut;
        return false;
    }
    ++pace.passed;
    return true;
}

void CServerLog::Turn(LogKind kind, Pace& pace) {
    constexpr uint32_t kSecondMs = 1000;
    const uint32_t now = CActivity::Now();
    if (ElapsedMs(now, pace.since) < (kind == LogKind::Refusal ? 60 * kSecondMs : kSecondMs)) return;
    if (pace.leftOut != 0) Line(std::to_string(pace.leftOut) + " more " + LogKindName(kind) + " lines left out");
    pace = {now, 0, 0};
}

void CServerLog::OnSecond() {
    CAutoLock lock(&m_cs);
    for (size_t kind = 0; kind < m_paces.size(); ++kind) Turn(static_cast<LogKind>(kind), m_paces[kind]);
}

CLogLine CServerLog::RefusedLine(uint32_t ip, Refusal why, const std::string& detail) {
    CLogLine line(GetIpAddr(ip) + " refused: " + RefusalText(why) + (detail.empty() ? "" : ": " + detail));
    line.fields = {{"address", GetIpAddr(ip)}, {"reason", RefusalName(why)}};
    if (!detail.empty()) line.fields.emplace_back("what", detail);
    return line;
}

void CServerLog::Warn(const std::string& text) {
    CLogLine line(text);
    line.level = "warning";
    Line(line);
}

void CServerLog::Line(const CLogLine& line) {
    const std::string level = line.level;
    if (!m_bJson) return Write(level == "info" ? line.text : level + ": " + line.text);
    nlohmann::ordered_json json{{"level", level}, {"message", line.text}};
    for (const auto& [name, value] : line.fields)
        std::visit([&json, key = name](const auto& one) { json[key] = one; }, value);
    Write(json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void CServerLog::Write(const std::string& line) {
    if (m_take)
        m_take(line);
    else
        m_pImpl->logger->info("{}", m_bJson ? line.substr(1) : line);
}
