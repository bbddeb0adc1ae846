// The relay server of a run.
#pragma once

#include "bench/harness/process.h"

#include <cstdint>
#include <string>

namespace bench {

class CRelayServer {
public:
    CRelayServer(const std::string& lumoProgram, const CProcess::Options& options);

    /// Throws when it does not answer in time.
    void WaitUntilServing(int64_t deadlineNs);
    uint16_t Port() const { return m_usPort; }
    CProcess& Process() { return m_process; }

private:
    const uint16_t m_usPort;
    CProcess m_process;
};

}  // namespace bench
