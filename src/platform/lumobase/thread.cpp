#include "platform/lumobase/thread.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumobase/signals_blocked.h"

CThread::CThread() = default;

CThread::~CThread() { WaitForStop(); }

bool CThread::StartThread() {
    if (m_thread.joinable()) return false;
    CSignalsBlocked signals;
    try {
        m_thread = std::thread(&CThread::InitThreadProc, this);
        return true;
    } catch (...) {
        LUMO_LOG_ERROR("CThread::StartThread. failed");
        return false;
    }
}

void CThread::WaitForStop() {
    if (m_thread.joinable()) m_thread.join();
}

void CThread::InitThreadProc(void* thread) { static_cast<CThread*>(thread)->ThreadProc(); }

void CThread::ThreadProc() {
    try {
        ThreadProcMain();
    } catch (...) {
        LUMO_LOG_ERROR("CThread::ThreadProc. the thread's body has thrown");
    }
}
