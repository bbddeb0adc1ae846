#include "platform/lumonet/tcp_reactor.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumobase/crit_sec.h"
#include "platform/lumobase/thread.h"
#include "platform/lumonet/aligned_buffer.h"
#include "platform/lumonet/tcp_farewell.h"
#include "platform/lumonet/tcp_limits.h"

#include <pthread.h>

#include <asio/executor_work_guard.hpp>
#include <atomic>
#include <stdexcept>
#include <thread>

/// One life of the reactor's thread.
class CTcpReactorRun {
public:
    void Serve() {
        m_threadID = std::this_thread::get_id();
        pthread_setname_np(pthread_self(), "lumo-tcp");
        while (!m_io.stopped()) {
            try {
                m_io.run();
            } catch (...) {  // what a handler could not deal with, such as a lack of memory, ends no other connection
                LUMO_LOG_ERROR("CTcpReactor::Serve. a handler has thrown");
            }
        }
    }

    asio::io_context m_io{1};
    asio::executor_work_guard<asio::io_context::executor_type> m_work{m_io.get_executor()};
    std::atomic<std::thread::id> m_threadID{};
    const CAlignedBuffer m_scratch{net::kReadTurn};
};

namespace {

class CReactorThread final : public CThread {
public:
    bool Start(std::shared_ptr<CTcpReactorRun> run) {
        WaitForStop();  // of the life before, which has already taken its last turn
        m_run = std::move(run);
        return StartThread();
    }

private:
    uint32_t ThreadProcMain() override {
        m_run->Serve();
        m_run.reset();
        return 0;
    }

    std::shared_ptr<CTcpReactorRun> m_run;
};

struct Reactor {
    CCritSec cs;
    CReactorThread thread;                                    // started under the lock
    std::shared_ptr<CTcpReactorRun> run LUMO_GUARDED_BY(cs);  // null from the thread's last turn on
    size_t users LUMO_GUARDED_BY(cs) = 0;
};

Reactor& GetReactor();

// What was released just now still ends in an orderly way.
void StopAfterWhatIsPosted(CTcpReactorRun& run) {
    try {
        asio::post(run.m_io, [&run] { run.m_io.stop(); });
    } catch (...) {
        run.m_io.stop();
    }
}

// At unload: what the application has not released must not run on into the end of the process.
struct CUnload {
    ~CUnload() {
        Reactor& state = GetReactor();
        {
            CAutoLock lock(&state.cs);
            if (state.run && state.run->m_threadID.load() == std::this_thread::get_id()) return;
            if (state.run) StopAfterWhatIsPosted(*state.run);
        }
        state.thread.WaitForStop();
        CTcpFarewell::FinishAll();
    }
};

Reactor& GetReactor() {
    static Reactor& state = *new Reactor;  // never destroyed: objects of the application may outlive any static
    static const CUnload unload;
    return state;
}

// On the reactor's thread.
void StopIfUnused() {
    Reactor& state = GetReactor();
    CAutoLock lock(&state.cs);
    if (state.users > 0 || !state.run) return;
    state.run->m_io.stop();
    state.run.reset();
}

}  // namespace

CTcpReactor::CTcpReactor() {
    Reactor& state = GetReactor();
    CAutoLock lock(&state.cs);
    if (!state.run) {
        auto run = std::make_shared<CTcpReactorRun>();
        if (!state.thread.Start(run)) throw std::runtime_error("no thread");
        state.run = std::move(run);
    }
    m_run = state.run;
    ++state.users;
}

CTcpReactor::CTcpReactor(const CTcpReactor& other) : m_run(other.m_run) {
    Reactor& state = GetReactor();
    CAutoLock lock(&state.cs);
    ++state.users;
}

CTcpReactor::~CTcpReactor() {
    Reactor& state = GetReactor();
    CAutoLock lock(&state.cs);
    if (--state.users == 0) Post(StopIfUnused);
}

asio::io_context& CTcpReactor::Io() const { return m_run->m_io; }

bool CTcpReactor::OnThread() const { return m_run->m_threadID.load() == std::this_thread::get_id(); }

char* CTcpReactor::Scratch() const { return m_run->m_scratch.Get(); }
