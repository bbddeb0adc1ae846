#include "server/whiteboard/board_stream.h"

#include "server/listener.h"
#include "whiteboard/local_mcu_wb.h"

namespace {
CWBServerSession* AsClients(CWBSession* session) { return dynamic_cast<CWBServerSession*>(session); }
}  // namespace

CBoardStream::CBoardStream(const CStreamName& name, const CServerLimits& limits)
    : CStream("whiteboard", name, limits), CWBChannel(name.channelID) {
    CWBChannelState::Of(*this).deleted = false;  // it is the stream's own
    CWBChannelState::Of(*this).legID = name.legID;
    CWBChannelState::Of(*this).homeIP = name.home.ip;
}

size_t CBoardStream::SinkCount() {
    CWBChannelState& state = CWBChannelState::Of(*this);
    const size_t joined = state.sessions.Size();
    const size_t leg = m_bLeg.load(std::memory_order_relaxed) ? 1 : 0;
    return state.awaited.load(std::memory_order_relaxed) + (joined > leg ? joined - leg : 0);
}

void CBoardStream::Close() {
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->ForgetWBChannel(this);
}

void CBoardStream::AddWBSession(CWBSession* session) {
    if (!AsClients(session)) m_bLeg.store(true, std::memory_order_relaxed);
    CWBChannel::AddWBSession(session);
}

void CBoardStream::RemoveWBSession(CWBSession* session) {
    CWBChannel::RemoveWBSession(session);
    if (!AsClients(session)) m_bLeg.store(false, std::memory_order_relaxed);
}

void CBoardStream::OnWBChannelData(unsigned long sessionID, const char* data, int len) {
    CountIn(len);
    CWBChannel::OnWBChannelData(sessionID, data, len);
    if (!WasPublished() && CWBChannelState::Of(*this).held.load(std::memory_order_relaxed)) SetPublished();
}

void CBoardStream::SendWBData(unsigned long sessionID, const char* data, int len) {
    CountOut(1, len);
    CWBChannel::SendWBData(sessionID, data, len);
}

void CBoardStream::ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) {
    CWBChannelState::Of(*this).sessions.ForEach([&](CWBSession& session) {
        if (CWBServerSession* clients = AsClients(&session)) use(context, DescribeListener(*clients));
    });
}
