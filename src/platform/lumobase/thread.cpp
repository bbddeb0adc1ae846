#include "platform/lumobase/thread.h"

#include "platform/lumobase/app_log.h"

#include <pthread.h>
#include <signal.h>

CThread::CThread() = default;

CThread::~CThread() { WaitForStop(); }

bool CThread::StartThread() {
    if (m_thread.joinable()) return false;
    // Inherited by the new thread: the application's signals are handled on the application's threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool started = false;
    try {
        m_thread = std::thread(&CThread::InitThreadProc, this);
        started = true;
    } catch (...) {
        LUMO_LOG_LINE("CThread::StartThread. failed");
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

void CThread::WaitForStop() {
    if (m_thread.joinable()) m_thread.join();
}

void CThread::InitThreadProc(void* thread) { static_cast<CThread*>(thread)->ThreadProc(); }

void CThread::ThreadProc() {
    try {
        ThreadProcMain();
    } catch (...) {
        LUMO_LOG_LINE("CThread::ThreadProc. the thread's body has thrown");
    }
}
