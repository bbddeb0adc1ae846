// The thread base class.
#pragma once

#include <cstdint>
#include <thread>

/// Derive, implement ThreadProcMain, StartThread. How the body learns that it should end is the derived class's own
/// business; the derived class calls WaitForStop before its members go.
class CThread {
public:
    CThread();
    virtual ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// False when the thread cannot be created, or runs already.
    bool StartThread();
    /// Waits until the body has returned; at once when no thread was started. Not from the thread itself.
    void WaitForStop();
    /// Lets others run, for a caller that waits for a moment and has nothing to sleep on.
    static void YieldTurn() { std::this_thread::yield(); }

protected:
    virtual uint32_t ThreadProcMain() = 0;

private:
    static void InitThreadProc(void* thread);
    void ThreadProc();

    std::thread m_thread;
};
