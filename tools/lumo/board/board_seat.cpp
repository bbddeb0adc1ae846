#include "tools/lumo/board/board_seat.h"

#include "tools/lumo/net/loop.h"

namespace lumo {

CBoardSeat::CBoardSeat(uint32_t channel, CBoard& board, CWake& wake)
    : m_board(board), m_pChannel(new CBoardChannel(channel)), m_session(m_pChannel.get(), wake) {
    m_pChannel->SetObserver(&m_session);
    m_pChannel->Connect();
    m_session.JoinWBChannel();
    m_board.SetPort(&m_session);
}

CBoardSeat::~CBoardSeat() {
    m_board.SetPort(nullptr);
    m_session.LeaveWBChannel();
}

bool CBoardSeat::Turn(uint64_t now) {
    constexpr uint64_t kMostMs = 20;
    const uint64_t start = CToolLoop::Now();
    HeardAtSeat heard;
    if (m_session.TakeOverflow()) Rejoin(false, now);
    while (m_session.Pop(heard)) {
        Hear(heard, now);
        if (CToolLoop::Now() - start >= kMostMs) return true;
    }
    return false;
}

void CBoardSeat::Hear(const HeardAtSeat& heard, uint64_t now) {
    BoardMessage message;
    switch (heard.kind) {
        case HeardAtSeat::Kind::FarBegin:
            return m_board.OnFarBegin();
        case HeardAtSeat::Kind::FarEcho:
            return m_board.OnFarEcho(heard.number, now);
        case HeardAtSeat::Kind::FarList:
            return m_board.OnFarList(WordsFrom(heard.bytes, kMessageHead), now);
        case HeardAtSeat::Kind::FarOffer:
            return m_board.OnFarOffer(heard.number);
        case HeardAtSeat::Kind::FarData:
            if (ParseMessage(heard.bytes, message)) m_board.OnFarData(message);
            return;
        case HeardAtSeat::Kind::Message:
            // What of ours came after the clearing is there still, and what the channel holds shows which that is.
            if (ParseMessage(heard.bytes, message) && message.command == BoardCommand::Clear) return Rejoin(true, now);
            return m_board.OnMessage(heard.bytes, now);
    }
}

void CBoardSeat::Rejoin(bool cleared, uint64_t now) { m_board.OnHeld(m_session.Rejoin(), cleared, now); }

}  // namespace lumo
