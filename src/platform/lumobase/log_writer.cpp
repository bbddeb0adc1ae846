#include "platform/lumobase/log_writer.h"

#include "platform/lumobase/signals_blocked.h"

#include <fcntl.h>
#include <pthread.h>
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <utility>

namespace {

constexpr size_t kQueuedLines = 8192;
constexpr char kPattern[] = "%Y-%m-%d %H:%M:%S.%e %t %n %v";
/// Stands as the file name of a message that is no line: its line number is a ticket of Flush.
constexpr char kTicket[] = "ticket";

std::atomic<unsigned> g_nForks{0};
[[maybe_unused]] const int g_nForkHandler =
    pthread_atfork(nullptr, nullptr, [] { g_nForks.fetch_add(1, std::memory_order_relaxed); });

/// Passes lines on and reports the tickets that come by.
class CTicketSink final : public spdlog::sinks::sink {
public:
    explicit CTicketSink(spdlog::sink_ptr target) : m_target(std::move(target)) { m_target->set_pattern(kPattern); }

    /// The queue whose thread calls this sink: it outlives every call.
    void SetQueue(spdlog::details::thread_pool* queue) { m_pQueue = queue; }

    void log(const spdlog::details::log_msg& message) override {
        if (message.source.filename == kTicket) {
            flush();
            std::lock_guard<std::mutex> lock(m_mutex);
            if (message.source.line > m_nSeen) m_nSeen = message.source.line;
            m_seen.notify_all();
            return;
        }
        m_target->log(message);
        // Lines that nothing follows for now must not stay in a buffer: they may be the last before a crash.
        if (m_pQueue->queue_size() == 0) flush();
    }
    void flush() override { m_target->flush(); }
    void set_pattern(const std::string& pattern) override { m_target->set_pattern(pattern); }
    void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override {
        m_target->set_formatter(std::move(formatter));
    }

    bool WaitFor(int ticket, std::chrono::milliseconds limit) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_seen.wait_for(lock, limit, [&] { return m_nSeen >= ticket; });
    }

private:
    const spdlog::sink_ptr m_target;
    spdlog::details::thread_pool* m_pQueue = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_seen;
    int m_nSeen = 0;  // under the mutex
};

/// The first directory above `path` that is not there; empty: all are.
std::string MissingFolder(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        std::string folder = path.substr(0, slash);
        if (access(folder.c_str(), F_OK) != 0 && errno == ENOENT) return folder;
    }
    return "";
}

std::shared_ptr<spdlog::details::thread_pool> StartThread() {
    CSignalsBlocked signals;
    try {
        return std::make_shared<spdlog::details::thread_pool>(kQueuedLines, 1);
    } catch (...) {
        return nullptr;  // no log, then
    }
}

}  // namespace

struct CLogWriter::Impl {
    std::string module;
    std::shared_ptr<CTicketSink> sink;
    std::once_flag started;
    std::shared_ptr<spdlog::details::thread_pool> pool;
    std::shared_ptr<spdlog::async_logger> logger;
    std::atomic<bool> running{false};  // set once pool and logger stand
    unsigned forks = 0;                // at the start of the thread: a child forked later has no such thread
    std::atomic<int> lastTicket{0};
    std::atomic<uint64_t> failed{0};

    // With the first line: loading the library starts no thread.
    bool Running() noexcept {
        try {
            std::call_once(started, [this] { Start(); });
        } catch (...) {
            return false;
        }
        return HasThread();
    }
    bool HasThread() const noexcept {
        return running.load(std::memory_order_acquire) && forks == g_nForks.load(std::memory_order_relaxed);
    }
    void Start() {
        pool = StartThread();
        if (!pool) return;
        sink->SetQueue(pool.get());
        logger =
            std::make_shared<spdlog::async_logger>(module, sink, pool, spdlog::async_overflow_policy::overrun_oldest);
        logger->set_error_handler([this](const std::string&) { failed.fetch_add(1, std::memory_order_relaxed); });
        forks = g_nForks.load(std::memory_order_relaxed);
        running.store(true, std::memory_order_release);
    }
};

CLogWriter::CLogWriter() : m_impl(new Impl) {}

CLogWriter::~CLogWriter() {
    // The pool first: what it still holds goes out while the logger and its sink stand.
    m_impl->pool.reset();
}

std::unique_ptr<CLogWriter> CLogWriter::Open(const std::string& target, const char* module, std::string& problem) {
    const std::string missing = target == "stderr" ? "" : MissingFolder(target);  // spdlog would make it
    if (!missing.empty()) {
        problem = "LUMO_LOG: cannot write " + target + ": there is no directory " + missing;
        return nullptr;
    }
    try {
        std::unique_ptr<CLogWriter> writer(new CLogWriter);
        spdlog::sink_ptr to;
        if (target == "stderr") {
            to = std::make_shared<spdlog::sinks::stderr_sink_st>();
        } else {
            spdlog::file_event_handlers events;  // no child process inherits the file
            events.after_open = [](const std::string&, std::FILE* file) { fcntl(fileno(file), F_SETFD, FD_CLOEXEC); };
            to = std::make_shared<spdlog::sinks::basic_file_sink_st>(target, false, events);
        }
        writer->m_impl->module = module;
        writer->m_impl->sink = std::make_shared<CTicketSink>(std::move(to));
        return writer;
    } catch (const std::exception&) {
        problem = "LUMO_LOG: cannot write " + target + ": " + std::generic_category().message(errno);
        return nullptr;
    }
}

void CLogWriter::Write(std::string_view line) noexcept {
    if (!m_impl->Running()) return;
    m_impl->logger->log(spdlog::level::info, spdlog::string_view_t(line.data(), line.size()));
}

bool CLogWriter::Flush(std::chrono::milliseconds limit) noexcept {
    if (!m_impl->HasThread()) return true;  // nothing was ever written
    const int ticket = m_impl->lastTicket.fetch_add(1, std::memory_order_relaxed) + 1;
    const auto end = std::chrono::steady_clock::now() + limit;
    do {
        // Lines of other threads may push the ticket out of the queue: then it is handed in again.
        m_impl->logger->log(spdlog::source_loc{kTicket, ticket, ""}, spdlog::level::info, spdlog::string_view_t());
        if (m_impl->sink->WaitFor(ticket, std::chrono::milliseconds(20))) return true;
    } while (std::chrono::steady_clock::now() < end);
    return false;
}

uint64_t CLogWriter::LostLines() const noexcept {
    uint64_t lost = m_impl->failed.load(std::memory_order_relaxed);
    if (m_impl->HasThread()) lost += m_impl->pool->overrun_counter();
    return lost;
}
