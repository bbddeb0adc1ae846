// The release rule of this library's objects, written once.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Every callback of one object passes through the object's gate. Callbacks of one object never run at the same time. A
/// thread inside must keep the object alive: a release may have ended it otherwise.
class CReleaseGate {
public:
    CReleaseGate() = default;
    CReleaseGate(const CReleaseGate&) = delete;
    CReleaseGate& operator=(const CReleaseGate&) = delete;

    /// Before a callback. False once released: then call nothing and do not leave. Waits for a callback that another
    /// thread runs; the thread that is inside may enter again.
    bool Enter();
    void Leave();

    /// No callback begins from now on, and none runs when it returns; from inside the object's own callback it returns
    /// at once. Hold no lock that the callback takes. True for the one call that has released the gate.
    bool Release();
    /// Waits as Release does, but lets later callbacks begin.
    void Drain();

    bool IsReleased() const { return m_bReleased.load(std::memory_order_acquire); }
    /// The calling thread runs a callback of this object.
    bool IsInside() const { return m_inside.load(std::memory_order_relaxed) == std::this_thread::get_id(); }

private:
    std::mutex m_mutex;
    std::condition_variable m_left;
    std::atomic<std::thread::id> m_inside{};  // written under the mutex by the thread that it names
    int m_nDepth = 0;                         // under the mutex
    int m_nWaiting = 0;                       // under the mutex
    std::atomic<bool> m_bReleased{false};
};

/// One pass through a gate: `if (CGatePass pass{gate}) notify->...`.
class CGatePass {
public:
    explicit CGatePass(CReleaseGate& gate) : m_gate(gate), m_bIn(gate.Enter()) {}
    ~CGatePass() {
        if (m_bIn) m_gate.Leave();
    }
    CGatePass(const CGatePass&) = delete;
    CGatePass& operator=(const CGatePass&) = delete;

    explicit operator bool() const { return m_bIn; }

private:
    CReleaseGate& m_gate;
    const bool m_bIn;
};
