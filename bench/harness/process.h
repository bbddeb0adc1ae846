// A process that this program started and that it ends again.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace bench {

class CProcess {
public:
    struct Options {
        std::optional<int> core;                         // the only one it may run on
        std::map<std::string, std::string> environment;  // added to this process's
        bool silent = false;                             // its output goes nowhere
        std::string outputFile;                          // where its standard output goes
        std::optional<int> networkSpace;                 // descriptor of the network namespace that it runs in
    };

    /// Starts a program; a failure to do so shows as exit status 127.
    CProcess(const std::vector<std::string>& arguments, const Options& options);
    /// Kills it if it still runs.
    ~CProcess();
    CProcess(const CProcess&) = delete;
    CProcess& operator=(const CProcess&) = delete;

    /// Whether it has ended within that time.
    bool WaitForEnd(int timeoutMs);
    void Signal(int number) const;
    /// Empty after a clean exit, otherwise what happened; only after the end.
    std::string Complaint() const;
    bool Ended() const { return m_bEnded; }
    /// Processor time of all its threads so far, read from the kernel.
    double CpuSeconds() const;
    pid_t Pid() const { return m_nPid; }

private:
    pid_t m_nPid;
    bool m_bEnded = false;
    int m_nStatus = 0;
};

}  // namespace bench
