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

}  // namespace

struct CAppLog::Impl {
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

CAppLog::CAppLog() : m_pImpl(new Impl), m_bOn(false) {}

CAppLog::~CAppLog() {
    m_bOn = false;
    delete m_pImpl;
}

void CAppLog::inilog(const char* module) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): once, while the library is loaded
    const char* target = std::getenv("LUMO_LOG");
    if (m_pImpl->writer || !target || !*target || std::string_view(target) == "off") return;
    m_pImpl->writer = CLogWriter::Open(target, module);
    if (m_pImpl->writer) m_bOn = true;
}

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
    m_bOn = hook != nullptr || m_pImpl->writer != nullptr;
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
    LogLife() { AppLog().inilog("lumomedia"); }
    ~LogLife() { AppLog().Flush(kExitFlushMs); }
};
const LogLife g_logLife;

}  // namespace
