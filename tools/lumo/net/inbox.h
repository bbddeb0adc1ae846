// What the library's threads hand to the tool's own loop.
#pragma once

#include "tools/lumo/transfer/unique_fd.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

namespace lumo {

/// The library calls back with locks held, so a callback only queues here and wakes the loop. Bounded: what does not
/// fit is dropped, and the file protocol asks for it again. Push and Accept: any thread; the rest: the loop.
class CInbox {
public:
    CInbox(int maxFrame, size_t maxBytes);

    void Push(const void* data, int length);
    void Accept();

    bool Pop(std::string& frame);
    /// Whether a relay has accepted us since the last call.
    bool TakeAccepted();
    /// Becomes readable when something has come; Pop and TakeAccepted do not reset it, Rest does.
    int WakeFd() const { return m_wake.Get(); }
    void Rest();

private:
    void Wake();

    const int m_nMaxFrame;
    const size_t m_nMaxBytes;
    CUniqueFd m_wake;
    std::mutex m_mutex;
    std::deque<std::string> m_frames;
    size_t m_nBytes = 0;
    bool m_bAccepted = false;
};

}  // namespace lumo
