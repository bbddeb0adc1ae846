#include "bench/harness/relay_server.h"

#include "bench/harness/clock.h"
#include "bench/harness/sockets.h"

#include <unistd.h>

#include <stdexcept>

namespace bench {

namespace {

/// Free for UDP and TCP, and the next one too, which the server's address reflector takes.
uint16_t FreePort() {
    for (int attempt = 0; attempt < 100; ++attempt) {
        CSocket first(SOCK_DGRAM);
        const uint16_t port = first.Bind(0);
        if (port == UINT16_MAX) continue;
        try {
            CSocket(SOCK_STREAM).Bind(port);
            CSocket(SOCK_DGRAM).Bind(static_cast<uint16_t>(port + 1));
            return port;
        } catch (const std::exception&) {
            continue;  // taken: try another
        }
    }
    throw std::runtime_error("no free port");
}

CProcess::Options Silent(CProcess::Options options, const CNetworkSpace* space) {
    options.silent = true;
    if (space) options.networkSpace = space->Descriptor();
    return options;
}

}  // namespace

CRelayServer::CRelayServer(const std::string& lumoProgram, const CProcess::Options& options, const CNetworkSpace* space)
    : m_pSpace(space),
      m_usPort(FreePort()),
      m_process({lumoProgram, "mcu", "--listen", (space ? "0.0.0.0:" : "127.0.0.1:") + std::to_string(m_usPort),
                 "--http", "off"},
                Silent(options, space)) {}

void CRelayServer::WaitUntilServing(int64_t deadlineNs) {
    while (NowNs() < deadlineNs) {
        if (m_process.WaitForEnd(0)) throw std::runtime_error("the relay server " + m_process.Complaint());
        try {
            const auto connect = [this] { CSocket(SOCK_STREAM).Connect(m_usPort); };
            m_pSpace ? m_pSpace->Do(connect) : connect();
            return;
        } catch (const std::exception&) {
            usleep(5000);
        }
    }
    throw std::runtime_error("the relay server does not answer");
}

}  // namespace bench
