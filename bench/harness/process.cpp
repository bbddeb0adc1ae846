#include "bench/harness/process.h"

#include "bench/harness/clock.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace bench {

namespace {

constexpr int kCannotStart = 127;

[[noreturn]] void BecomeProgram(const std::vector<std::string>& arguments, const CProcess::Options& options) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (options.core) {
        cpu_set_t cores;
        CPU_ZERO(&cores);
        CPU_SET(static_cast<size_t>(*options.core), &cores);
        if (sched_setaffinity(0, sizeof cores, &cores) != 0) _exit(kCannotStart);
    }
    if (options.networkSpace && setns(*options.networkSpace, CLONE_NEWNET) != 0) _exit(kCannotStart);
    for (const auto& [name, value] : options.environment) setenv(name.c_str(), value.c_str(), 1);
    if (options.silent) {
        const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
        for (int fd = 0; fd <= 2; ++fd) dup2(nowhere, fd);
    }
    if (!options.outputFile.empty() &&
        dup2(open(options.outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), 1) < 0)
        _exit(kCannotStart);
    std::vector<char*> argv;
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(kCannotStart);
}

}  // namespace

CProcess::CProcess(const std::vector<std::string>& arguments, const Options& options) : m_nPid(fork()) {
    if (m_nPid < 0) throw std::runtime_error("no new process");
    if (m_nPid == 0) BecomeProgram(arguments, options);
}

CProcess::~CProcess() {
    if (m_bEnded) return;
    Signal(SIGKILL);
    waitpid(m_nPid, &m_nStatus, 0);
}

void CProcess::Signal(int number) const { kill(m_nPid, number); }

bool CProcess::WaitForEnd(int timeoutMs) {
    const int64_t deadline = NowNs() + static_cast<int64_t>(timeoutMs) * 1000000;
    while (!m_bEnded) {
        m_bEnded = waitpid(m_nPid, &m_nStatus, WNOHANG) == m_nPid;
        if (m_bEnded || NowNs() > deadline) break;
        usleep(1000);
    }
    return m_bEnded;
}

std::string CProcess::Complaint() const {
    if (WIFSIGNALED(m_nStatus)) return "ended by signal " + std::to_string(WTERMSIG(m_nStatus));
    const int status = WEXITSTATUS(m_nStatus);
    return status == 0 ? "" : "ended with status " + std::to_string(status);
}

double CProcess::CpuSeconds() const {
    const std::string folder = "/proc/" + std::to_string(m_nPid) + "/task";
    double seconds = 0;
    DIR* tasks = opendir(folder.c_str());
    if (!tasks) return 0;
    while (const dirent* task = readdir(tasks)) {
        std::ifstream schedule(folder + "/" + task->d_name + "/schedstat");
        double onCpuNs = 0;
        if (schedule >> onCpuNs) seconds += onCpuNs * 1e-9;
    }
    closedir(tasks);
    return seconds;
}

}  // namespace bench
