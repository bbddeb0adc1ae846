#include "tools/lumo/board/board_seat.h"

#include "tools/lumo/net/loop.h"

namespace lumo {

CBoardSeat::CBoardSeat(uint32_t channel, CBoard& board, CWake& wake)
    : m_board(board), m_pChannel(new CWBChannel(channel)), m_session(m_pChannel.get(), wake) {
    m_pChannel->Connect();
    m_session.JoinWBChannel();
    m_board.SetPort(&m_session);
}

CBoardSeat::~CBoardSeat() {
    m_board.SetPort(nullptr);
    m_session.LeaveWBChannel();
}

bool CBoardSeat::Turn() {
    constexpr uint64_t kMostMs = 20;
    const uint64_t start = CToolLoop::Now();
    std::string message;
    if (m_session.TakeOverflow()) Rejoin();
    while (m_session.Pop(message)) {
        BoardMessage parsed;
        // What of ours came after the clearing is there still, and what the channel holds shows which that is.
        if (ParseMessage(message, parsed) && parsed.command == BoardCommand::Clear)
            Rejoin();
        else
            m_board.OnMessage(message, CToolLoop::Now());
        if (CToolLoop::Now() - start >= kMostMs) return true;
    }
    return false;
}

void CBoardSeat::Rejoin() {
    std::string message;
    m_session.LeaveWBChannel();
    while (m_session.Pop(message)) continue;
    m_board.Forget(CToolLoop::Now());
    m_session.JoinWBChannel();
}

}  // namespace lumo
