// What a driver sees of the run while it is one of the run's processes.
#pragma once

#include "bench/harness/control.h"
#include "bench/harness/spec.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace bench {

/// The order on both sides: Listening (the listener), Connected, the work, Finish (whoever measures), WaitForStop.
class CSide {
public:
    CSide(CControl& control, RunSpec spec, uint16_t port);

    const RunSpec& Spec() const { return m_spec; }
    /// Where the other side or the server listens; 0 for the listener itself.
    uint16_t Port() const { return m_usPort; }

    /// Tells the dialler where to go.
    void Listening(uint16_t port);
    /// Both sides are connected when it returns; from here on processor time counts.
    void Connected();
    /// The end of the measurement with its numbers. Any thread, once.
    void Finish(const Values& values);
    /// The run counts as failed. Any thread.
    void Fail(const std::string& why);
    /// Whether the run is over; waits so long for it (negative: without end). A system call.
    bool Stopped(int waitMs = 0);
    void WaitForStop() { Stopped(-1); }

private:
    CControl& m_control;
    const RunSpec m_spec;
    const uint16_t m_usPort;
    std::atomic<double> m_dCpuAtStart{0};  // set by the main thread, read by whoever finishes
    std::atomic<bool> m_bFinished{false};
    bool m_bStopped = false;
};

}  // namespace bench
