#include "server/server_log.h"

#include "link/activity.h"
#include "platform/lumonet/lumonet.h"

#include <spdlog/async.h>
#include <spdlog/sinks/stdout_sinks.h>
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

CServerLog::CServerLog() : m_pImpl(std::make_unique<Impl>()) {
    m_pImpl->logger->set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
    m_pImpl->logger->flush_on(spdlog::level::info);
}

CServerLog::CServerLog(std::function<void(const std::string&)> take) : m_take(std::move(take)) {}

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
    if (pace.passed >= kLinesPerSecond) {
        ++pace.leftOut;
        return false;
    }
    ++pace.passed;
    return true;
}

void CServerLog::Turn(LogKind kind, Pace& pace) {
    constexpr uint32_t kSecondMs = 1000;
    const uint32_t now = CActivity::Now();
    if (ElapsedMs(now, pace.since) < kSecondMs) return;
    if (pace.leftOut != 0) Line(std::to_string(pace.leftOut) + " more " + LogKindName(kind) + " lines left out");
    pace = {now, 0, 0};
}

void CServerLog::OnSecond() {
    CAutoLock lock(&m_cs);
    for (size_t kind = 0; kind < m_paces.size(); ++kind) Turn(static_cast<LogKind>(kind), m_paces[kind]);
}

void CServerLog::Refused(uint32_t ip, const char* why) {
    Line(LogKind::Refusal, [&] { return GetIpAddr(ip) + " refused: " + why; });
}

void CServerLog::Line(const std::string& line) {
    if (m_take)
        m_take(line);
    else
        m_pImpl->logger->info("{}", line);
}
