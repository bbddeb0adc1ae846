#include "platform/lumobase/app_log.h"

#include "platform/lumobase/log_writer.h"

#include <lumomedia/base.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>

namespace {

/// Longer lines are cut: nothing the library says needs more.
constexpr size_t kMaxLine = 2048;
/// A target that takes nothing does not keep the process from ending.
constexpr int kExitFlushMs = 2'000;

// The hook may call the library against its word; its lines would come back to it.
thread_local bool t_bInHook = false;

// Text from the network must not forge a line of its own.
void MakeOneLine(char* line, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        if (static_cast<unsigned char>(line[i]) < 0x20 || line[i] == 0x7f) line[i] = ' ';
    }
}

/// What stands before a colon is a level, if it is a word. Empty when all is well.
std::string ReadChoice(const std::string& text, LogLevel& level, std::string& target) {
    static constexpr std::pair<std::string_view, LogLevel> kLevels[] = {
        {"error", LogLevel::Error}, {"info", LogLevel::Info}, {"debug", LogLevel::Debug}};
    const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz");
    target = text;
    level = LogLevel::Debug;
    if (end == 0 || end == std::string::npos || text[end] != ':') return "";
    for (const auto& [name, known] : kLevels) {
        if (name != std::string_view(text).substr(0, end)) continue;
        level = known;
        target = text.substr(end + 1);
        return target.empty() ? "LUMO_LOG names a level and no place" : "";
    }
    return "LUMO_LOG knows the levels error, info and debug, not " + text.substr(0, end);
}

}  // namespace

struct CAppLog::Impl {
    std::string problem;
    LogLevel written = LogLevel::Off;    // by the writer; set with it
    std::unique_ptr<CLogWriter> writer;  // set before the log goes on, and then until the end
    std::shared_mutex mutex;             // held in shared mode while the hook runs
    LumoLogHook hook = nullptr;          // under the mutex
    void* context = nullptr;             // under the mutex
    std::atomic<bool> hooked{false};

    bool CallHook(const char* line) {
        if (!hooked.load(std::memory_order_relaxed)) return false;
        if (t_bInHook) return true;
        std::shared_lock<std::shared_mutex> lock(mutex);
        if (!hook) return false;
        t_bInHook = true;
        try {
            hook(context, line);
        } catch (...) {  // the application's fault; there is nowhere left to say so
        }
        t_bInHook = false;
        return true;
    }
};

CAppLog::CAppLog() : m_pImpl(new Impl), m_level(LogLevel::Off) {}

CAppLog::~CAppLog() {
    m_level = LogLevel::Off;
    delete m_pImpl;
}

void CAppLog::inilog(const char* module) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): once, while the library is loaded
    const char* choice = std::getenv("LUMO_LOG");
    if (m_pImpl->writer || !choice || !*choice || std::string_view(choice) == "off") return;
    LogLevel level = LogLevel::Off;
    std::string target;
    m_pImpl->problem = ReadChoice(choice, level, target);
    if (m_pImpl->problem.empty()) m_pImpl->writer = CLogWriter::Open(target, module, m_pImpl->problem);
    if (!m_pImpl->writer) return;
    m_pImpl->written = level;
    m_level = level;
}

const std::string& CAppLog::Problem() const { return m_pImpl->problem; }

void CAppLog::debug(const char* format, ...) {
    if (!IsOn()) return;
    const int error = errno;
    char line[kMaxLine];
    va_list arguments;
    va_start(arguments, format);
    const int written = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (written >= 0) {
        const size_t length = std::min(static_cast<size_t>(written), sizeof line - 1);
        MakeOneLine(line, length);
        if (!m_pImpl->CallHook(line) && m_pImpl->writer) m_pImpl->writer->Write(std::string_view(line, length));
    }
    errno = error;
}

void CAppLog::SetHook(void (*hook)(void*, const char*), void* context) {
    // No call of the old hook runs once this is held.
    std::unique_lock<std::shared_mutex> lock(m_pImpl->mutex);
    m_pImpl->hook = hook;
    m_pImpl->context = context;
    m_pImpl->hooked = hook != nullptr;
    m_level = hook != nullptr ? LogLevel::Debug : m_pImpl->written;
}

void CAppLog::Flush(int milliseconds) {
    if (m_pImpl->writer) m_pImpl->writer->Flush(std::chrono::milliseconds(milliseconds));
}

uint64_t CAppLog::LostLines() const { return m_pImpl->writer ? m_pImpl->writer->LostLines() : 0; }

CAppLog& AppLog() {
    // Never deleted: threads that are still at work when the process ends may log until the last moment.
    static CAppLog* log = new CAppLog;
    return *log;
}

void SetLogHook(LumoLogHook hook, void* context) { AppLog().SetHook(hook, context); }

namespace {

/// Opens the log when the library is loaded. In this file, so that whoever uses the log also links this.
struct LogLife {
    LogLife() {
        AppLog().inilog("lumomedia");
        // Whoever has asked for a log and gets none should not have to wonder.
        const std::string& problem = AppLog().Problem();
        if (!problem.empty()) static_cast<void>(std::fprintf(stderr, "lumomedia: %s\n", problem.c_str()));
    }
    ~LogLife() { AppLog().Flush(kExitFlushMs); }
};
const LogLife g_logLife;

}  // namespace
