// What a driver sees of the run while it is one of the run's processes.
#pragma once

#include "bench/harness/control.h"
#include "bench/harness/process.h"
#include "bench/harness/spec.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// The order on both sides: Listening (the listener), Connected, the work, Finish (whoever measures), WaitForStop.
/// One thread, but what says otherwise.
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
    /// A step of the run for the other side, the latest counts, and a number that goes with it.
    void Tell(uint64_t step, double number = 0);
    /// Waits for the other side to tell that step or a later one. False when the run is over or the time is.
    bool Hear(uint64_t step, int waitMs);
    uint64_t HeardStep() const { return m_nHeard; }
    double HeardNumber() const { return m_dHeard; }
    /// What that program costs counts as this side's. Before the run is over.
    void Counts(const CProcess& program) { m_programs.push_back(&program); }
    /// Numbers of the side that does not finish. Before the run is over.
    void Add(const Values& values) { m_added.insert(values.begin(), values.end()); }
    /// The end of the measurement with its numbers. Any thread, once.
    void Finish(const Values& values);
    /// The run counts as failed. Any thread.
    void Fail(const std::string& why);
    /// Whether the run is over; waits so long for it, or until the other side tells something. A system call.
    bool Stopped(int waitMs = 0);
    void WaitForStop() {
        while (!Stopped(-1)) {}
    }

private:
    double CpuSinceStart() const;

    CControl& m_control;
    const RunSpec m_spec;
    const uint16_t m_usPort;
    std::atomic<double> m_dCpuAtStart{0};  // set by the main thread, read by whoever finishes
    std::atomic<bool> m_bFinished{false};
    bool m_bStopped = false;
    uint64_t m_nHeard = 0;
    double m_dHeard = 0;
    Values m_added;
    std::vector<const CProcess*> m_programs;
};

}  // namespace bench
