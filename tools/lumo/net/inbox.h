// What the library's threads hand to the tool's own loop.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

namespace lumo {

/// Wakes a loop. Any thread may; Rest: the loop.
class CWake {
public:
    CWake();
    void Wake();
    /// Readable from the first Wake on until Rest.
    int Fd() const { return m_event.Get(); }
    void Rest();

private:
    CFileDescriptor m_event;
};

/// The library calls back with locks held, so a callback only queues here and wakes the loop. Bounded: what does not
/// fit is dropped, and the file protocol asks for it again. Push and Accept: any thread; the rest: the loop.
class CInbox {
public:
    CInbox(CWake& wake, int maxFrame, size_t maxBytes);

    void Push(const void* data, int length);
    void Accept();

    bool Pop(std::string& frame);
    /// Whether the far side has accepted us since the last call.
    bool TakeAccepted();

private:
    const int m_nMaxFrame;
    const size_t m_nMaxBytes;
    CWake& m_wake;
    std::mutex m_mutex;
    std::deque<std::string> m_frames;
    size_t m_nBytes = 0;
    bool m_bAccepted = false;
};

}  // namespace lumo
