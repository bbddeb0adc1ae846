// Waiting for signals and for what the library's threads queue.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <cstdint>

namespace lumo {

/// Blocks SIGINT and SIGTERM for this thread and those it starts later: make it before the library starts any. The
/// second one ends the process at once.
class CToolLoop {
public:
    CToolLoop();
    ~CToolLoop();
    CToolLoop(const CToolLoop&) = delete;
    CToolLoop& operator=(const CToolLoop&) = delete;

    /// Waits until `fd` (-1: none) is readable, a signal comes or the time has passed.
    void Wait(int fd, uint64_t milliseconds);
    /// Becomes readable with a signal, for those who wait for more than Wait() does: call Wait(-1, 0) then.
    int SignalFd() const { return m_signals.Get(); }
    /// Whether a signal has asked for the end.
    bool Interrupted() const { return m_bInterrupted; }

    /// Milliseconds of a clock that only runs forward.
    static uint64_t Now();

private:
    void TakeSignals();
    CFileDescriptor m_signals;
    bool m_bInterrupted = false;
};

/// Raises the limit of open files as far as the system lets it; what it is then.
uint64_t RaiseFileLimit(uint64_t wanted);
/// A standard descriptor that was closed leads nowhere: what is written there must not reach a file or a peer that gets
/// its number. Before anything is opened.
void KeepStandardDescriptors();

/// 64 random bits, never 0.
uint64_t RandomID();

}  // namespace lumo
