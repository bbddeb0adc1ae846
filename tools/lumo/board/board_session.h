// The board's own seat in a channel of this process.
#pragma once

#include "tools/lumo/board/board.h"
#include "tools/lumo/net/inbox.h"

#include <lumomedia/whiteboard.h>

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

namespace lumo {

/// The channel calls with its locks held, so what it sends is queued here, and the loop answers.
class CBoardSession final : public CWBSession, public IBoardPort {
public:
    CBoardSession(CWBChannel* channel, CWake& wake) : CWBSession(channel), m_wake(wake) {}

    /// Any thread, with locks of the channel held.
    void SendWBSessionData(const char* data, int len) override;
    bool IsDisconnected() override { return false; }
    /// Into the channel, which may answer into the queue before this returns.
    void Say(const std::string& message) override;

    /// The next message of the channel. The loop's thread.
    bool Pop(std::string& message);
    /// Whether something had to be thrown away since the last call; the queue is empty then, and the channel must tell
    /// everything again.
    bool TakeOverflow();

    /// All that a channel may answer at once: 256 MiB of records, their heads, and some room.
    static constexpr size_t kMaxBytes = 320U * 1024 * 1024;

private:
    CWake& m_wake;
    std::mutex m_mutex;
    std::deque<std::string> m_messages;
    size_t m_nBytes = 0;
    bool m_bOverflow = false;
};

}  // namespace lumo
