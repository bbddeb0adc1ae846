// Another process: started, listened to, and always reaped.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace lumo {

/// Dies with the process that started it. One thread; what it writes is kept whole, so it must not write for ever.
class CChildProcess {
public:
    CChildProcess() = default;
    /// Kills it if it still runs.
    ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    /// `arguments` begin with the path of the program. Standard input is `input`, or nothing. False when there can be
    /// no process; a program that cannot be executed exits with 127.
    bool Start(const std::vector<std::string>& arguments, int input = -1);

    /// Waits up to `milliseconds` until it has written something or ended; takes what there is.
    void Listen(uint64_t milliseconds);
    /// The same for the first of several that does.
    static void ListenAny(const std::vector<CChildProcess*>& children, uint64_t milliseconds, int alsoFd = -1);
    bool Running() const { return m_nPid > 0; }
    /// After it has ended: its exit code, or 128 and the signal that ended it.
    int ExitCode() const { return m_nExitCode; }
    /// Until it has ended; false when it has not by then.
    bool WaitForEnd(uint64_t milliseconds);
    /// Until standard output or standard error contains this; false when it does not by then or has ended.
    bool WaitForText(const std::string& text, uint64_t milliseconds);
    void Signal(int signal) const;
    /// SIGTERM, and SIGKILL if that does not help; returns when it has ended.
    void Stop(uint64_t graceMilliseconds = 3000);

    const std::string& Output() const { return m_streams[0].text; }
    const std::string& Errors() const { return m_streams[1].text; }
    pid_t Pid() const { return m_nPid; }

private:
    struct Stream {
        CFileDescriptor fd;
        std::string text;
    };
    void Take(Stream& stream);
    void TakeAll();
    void Reap();

    pid_t m_nPid = 0;
    int m_nExitCode = -1;
    CFileDescriptor m_pidFd;
    Stream m_streams[2];
};

}  // namespace lumo
