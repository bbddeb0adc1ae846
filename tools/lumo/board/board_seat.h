// A channel of this process with the board's session in it.
#pragma once

#include "tools/lumo/board/board_session.h"

#include <cstdint>
#include <memory>

namespace lumo {

struct EndBoardChannel {
    void operator()(CWBChannel* channel) const {
        channel->ReleaseConnections();
        delete channel;
    }
};

/// Made empty, and made anew where the board is to begin with nothing. One thread: the loop's. What is made on the
/// channel must go before it.
class CBoardSeat {
public:
    CBoardSeat(uint32_t channel, CBoard& board, CWake& wake);
    ~CBoardSeat();
    CBoardSeat(const CBoardSeat&) = delete;
    CBoardSeat& operator=(const CBoardSeat&) = delete;

    /// Hands the board what the channel has sent, for a few milliseconds at most. True when there is more.
    bool Turn(uint64_t now);
    /// Sessions beside our own.
    uint32_t Others() { return static_cast<uint32_t>(m_pChannel->GetWBSessionCount()) - 1; }

    CBoardChannel& Channel() { return *m_pChannel; }

private:
    void Hear(const HeardAtSeat& heard, uint64_t now);
    /// Leaves the channel and comes back, so that it tells everything again.
    void Rejoin(bool cleared, uint64_t now);

    CBoard& m_board;
    std::unique_ptr<CBoardChannel, EndBoardChannel> m_pChannel;
    CBoardSession m_session;
};

}  // namespace lumo
