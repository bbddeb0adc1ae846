#include "tools/lumo/demo/child_process.h"

#include "tools/lumo/net/loop.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>

namespace lumo {
namespace {

/// In the child, between fork and exec: calls of the kernel only.
[[noreturn]] void Execute(const char* const* arguments, int input, int output, int errors, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);  // it has died meanwhile
    setpgid(0, 0);                        // Ctrl-C is the parent's to handle
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    execv(arguments[0], const_cast<char* const*>(arguments));
    _exit(127);
}

bool MakePipe(CFileDescriptor& reader, CFileDescriptor& writer) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    reader.Reset(ends[0]);
    writer.Reset(ends[1]);
    return fcntl(reader.Get(), F_SETFL, O_NONBLOCK) == 0;
}

}  // namespace

CChildProcess::~CChildProcess() { Stop(0); }

bool CChildProcess::Start(const std::vector<std::string>& arguments, int input) {
    CFileDescriptor output, errors, nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!MakePipe(m_streams[0].fd, output) || !MakePipe(m_streams[1].fd, errors) || !nothing) return false;
    std::vector<const char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
    pointers.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == 0) Execute(pointers.data(), input >= 0 ? input : nothing.Get(), output.Get(), errors.Get(), parent);
    if (pid < 0) return false;
    m_nPid = pid;
    m_pidFd.Reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    return true;
}

void CChildProcess::Take(Stream& stream) {
    char piece[65536];
    while (stream.fd) {
        const ssize_t got = read(stream.fd.Get(), piece, sizeof piece);
        if (got > 0) {
            stream.text.append(piece, static_cast<size_t>(got));
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            stream.fd.Reset();
        } else if (errno == EAGAIN) {
            return;
        }
    }
}

void CChildProcess::TakeAll() {
    for (Stream& stream : m_streams) Take(stream);
}

void CChildProcess::Reap() {
    int status = 0;
    if (m_nPid <= 0 || waitpid(m_nPid, &status, WNOHANG) != m_nPid) return;
    m_nPid = 0;
    m_pidFd.Reset();
    m_nExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    TakeAll();
}

void CChildProcess::ListenAny(const std::vector<CChildProcess*>& children, uint64_t milliseconds, int alsoFd) {
    constexpr uint64_t kWithoutPidFd = 20;  // old kernels tell of an end by no descriptor
    std::vector<pollfd> waits{{alsoFd, POLLIN, 0}};
    for (const CChildProcess* child : children) {
        if (!child->Running()) continue;
        if (!child->m_pidFd) milliseconds = std::min(milliseconds, kWithoutPidFd);
        waits.push_back({child->m_pidFd.Get(), POLLIN, 0});
        for (const Stream& stream : child->m_streams) waits.push_back({stream.fd.Get(), POLLIN, 0});
    }
    poll(waits.data(), waits.size(), static_cast<int>(std::min<uint64_t>(milliseconds, 60000)));
    for (CChildProcess* child : children) {
        if (!child->Running()) continue;
        child->TakeAll();
        child->Reap();
    }
}

void CChildProcess::Listen(uint64_t milliseconds) { ListenAny({this}, milliseconds); }

bool CChildProcess::WaitForEnd(uint64_t milliseconds) {
    const uint64_t start = CToolLoop::Now();
    for (uint64_t passed = 0; Running() && passed < milliseconds; passed = CToolLoop::Now() - start)
        Listen(milliseconds - passed);
    return !Running();
}

bool CChildProcess::WaitForText(const std::string& text, uint64_t milliseconds) {
    const uint64_t start = CToolLoop::Now();
    const auto found = [&] {
        return Output().find(text) != std::string::npos || Errors().find(text) != std::string::npos;
    };
    for (uint64_t passed = 0; !found() && Running() && passed < milliseconds; passed = CToolLoop::Now() - start)
        Listen(milliseconds - passed);
    return found();
}

void CChildProcess::Signal(int signal) const {
    if (m_nPid <= 0 || kill(m_nPid, signal) != 0 || signal != SIGSTOP) return;
    siginfo_t stopped;  // its threads run on until the one that the signal woke has had its turn
    waitid(P_PID, static_cast<id_t>(m_nPid), &stopped, WSTOPPED | WEXITED | WNOWAIT);
}

void CChildProcess::Stop(uint64_t graceMilliseconds) {
    if (graceMilliseconds > 0) {
        Signal(SIGTERM);
        WaitForEnd(graceMilliseconds);
    }
    if (!Running()) return;
    Signal(SIGKILL);
    WaitForEnd(10000);
}

}  // namespace lumo
