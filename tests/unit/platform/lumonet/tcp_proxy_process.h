// A real proxy, started on loopback for one test.
#pragma once

#include "support/scratch.h"

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tcp_test {

/// Where the program lies; "" when it is not installed.
std::string FindProxyProgram(const std::string& name);

/// Ended by its own number when this object goes, with its folder.
class CProxyProcess {
public:
    /// The command line, and the configuration file's text ("" for none), for a free port and the configuration's path.
    using Command = std::function<std::vector<std::string>(uint16_t port, const std::string& configPath)>;
    using Config = std::function<std::string(uint16_t port)>;

    CProxyProcess(const Command& command, const Config& config);
    ~CProxyProcess();
    CProxyProcess(const CProxyProcess&) = delete;
    CProxyProcess& operator=(const CProxyProcess&) = delete;

    /// False if it does not answer on its port.
    bool IsUp() const { return m_bUp; }
    uint16_t Port() const { return m_usPort; }
    /// What it has printed.
    std::string Output() const { return m_folder.Get("output"); }

private:
    bool Start(const std::vector<std::string>& command);
    bool HasEnded();

    const CScratch m_folder;
    uint16_t m_usPort = 0;
    pid_t m_pid = -1;
    bool m_bUp = false;
};

}  // namespace tcp_test
