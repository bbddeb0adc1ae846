#include "tools/lumo/net/loop.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace lumo {
namespace {

sigset_t EndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

}  // namespace

CToolLoop::CToolLoop() {
    const sigset_t signals = EndSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);  // a closed standard output is an error like any other
    m_signals.Reset(signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
}

CToolLoop::~CToolLoop() {
    const sigset_t signals = EndSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

void CToolLoop::Wait(int fd, uint64_t milliseconds) {
    pollfd waits[] = {{m_signals.Get(), POLLIN, 0}, {fd, POLLIN, 0}};
    const int timeout = static_cast<int>(std::min<uint64_t>(milliseconds, 60000));
    if (poll(waits, 2, timeout) > 0 && (waits[0].revents & POLLIN) != 0) TakeSignals();
}

void CToolLoop::TakeSignals() {
    signalfd_siginfo info;
    while (read(m_signals.Get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        if (m_bInterrupted) _exit(EXIT_FAILURE);
        m_bInterrupted = true;
    }
}

uint64_t CToolLoop::Now() {
    using namespace std::chrono;
    // From 1 on, since 0 stands for "never" in places.
    static const steady_clock::time_point start = steady_clock::now() - seconds(1);
    return static_cast<uint64_t>(duration_cast<milliseconds>(steady_clock::now() - start).count());
}

void KeepStandardDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        // The wrong way round, so that who uses it hears of it.
        if (fcntl(fd, F_GETFD) < 0) (void)open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

uint64_t RaiseFileLimit(uint64_t wanted) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return UINT64_MAX;
    const rlim_t before = limit.rlim_cur;
    if (before >= wanted) return before;
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, wanted);
    return setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before;
}

uint64_t RandomID() {
    uint64_t value = 0;
    while (value == 0) {
        if (getrandom(&value, sizeof value, 0) != static_cast<ssize_t>(sizeof value)) value = 0;
    }
    return value;
}

}  // namespace lumo
