#include "tools/lumo/load/board_load.h"

#include "tools/lumo/board/message.h"
#include "tools/lumo/load/load_meter.h"
#include "tools/lumo/net/loop.h"

namespace lumo {

void CLoadBoard::OnWBChannelData(unsigned long sessionID, const char* data, int len) {
    BoardMessage message;
    if (data && len > 0 && ParseMessage({data, static_cast<size_t>(len)}, message) &&
        message.command == BoardCommand::Data)
        m_sink(message.payload.data(), static_cast<int>(message.payload.size()));
    CWBChannel::OnWBChannelData(sessionID, data, len);
}

LinkTimes CBoardLoadLink::PatientTimes() {
    LinkTimes times;
    times.silence = times.unaccepted = UINT64_MAX / 4;
    return times;
}

void CBoardLoadPublisher::Say(const std::string& message) {
    m_link.Board().OnWBChannelData(0, message.data(), static_cast<int>(message.size()));
}

void CBoardLoadPublisher::Send(std::string& frame, bool) {
    const bool greeting = CLoadMeter::IsGreeting(frame);
    if (greeting && m_bGreeted) return;
    m_bGreeted = true;
    const uint64_t now = CToolLoop::Now();
    Say(MakeMessage(BoardCommand::Data, ++m_nLast, 0, frame));
    if (!greeting) m_drawn.emplace_back(now, m_nLast);
    DeleteOld(now);
}

void CBoardLoadPublisher::DeleteOld(uint64_t now) {
    std::string old;
    for (; !m_drawn.empty() && now - m_drawn.front().first > kKeptMs; m_drawn.pop_front())
        AddWord(old, m_drawn.front().second);
    if (!old.empty()) Say(MakeMessage(BoardCommand::Delete, 0, 0, old));
}

}  // namespace lumo
