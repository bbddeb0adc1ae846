// The relay server of a run.
#pragma once

#include "bench/harness/process.h"
#include "bench/path/network_space.h"

#include <cstdint>
#include <string>

namespace bench {

class CRelayServer {
public:
    /// On loopback, or on all addresses of a network, which lives longer.
    CRelayServer(const std::string& lumoProgram, const CProcess::Options& options, const CNetworkSpace* space);

    /// Throws when it does not answer in time.
    void WaitUntilServing(int64_t deadlineNs);
    uint16_t Port() const { return m_usPort; }
    CProcess& Process() { return m_process; }

private:
    const CNetworkSpace* const m_pSpace;
    const uint16_t m_usPort;
    CProcess m_process;
};

}  // namespace bench
