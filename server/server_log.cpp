#include "server/server_log.h"

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

void CServerLog::Line(const std::string& line) {
    if (m_take)
        m_take(line);
    else
        m_pImpl->logger->info("{}", line);
}
