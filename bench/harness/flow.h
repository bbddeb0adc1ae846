// One driver at work: its two processes.
#pragma once

#include "bench/harness/child.h"
#include "bench/harness/driver.h"

#include <array>
#include <optional>

namespace bench {

class CFlow {
public:
    /// Throws where there is no such driver.
    explicit CFlow(RunSpec spec);

    const CDriver& Driver() const { return m_driver; }
    void Start(Role role, uint16_t port, const CProcess::Options& options) {
        m_children[Place(role)].emplace(role, m_spec, port, options);
    }
    CChild& Side(Role role) { return *m_children[Place(role)]; }
    CChild& Measuring() { return Side(m_driver.measures); }
    CChild& Other() { return Side(m_driver.measures == Role::Sender ? Role::Receiver : Role::Sender); }
    /// To wait for: the sender's, the receiver's; -1 before it has started, and once it has stopped.
    std::array<int, 2> Descriptors() const;
    /// What one of them says. Throws when it has failed or left.
    void TakeIn(size_t place);
    /// Of both, after the one has finished and the other has stopped, and of a relay server of so many seconds.
    Values Numbers(std::optional<double> serverCpuSeconds);
    /// Waits for both to end cleanly, and throws when they do not.
    void Stop();

private:
    static size_t Place(Role role) { return role == Role::Sender ? 0 : 1; }

    const RunSpec m_spec;
    const CDriver& m_driver;
    std::array<std::optional<CChild>, 2> m_children;
};

}  // namespace bench
