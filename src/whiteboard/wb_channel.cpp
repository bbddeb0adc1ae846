#include "link/callback.h"
#include "lumomedia/whiteboard.h"
#include "platform/lumobase/undo.h"
#include "whiteboard/local_mcu_wb.h"
#include "whiteboard/wb_centre.h"
#include "whiteboard/wb_channel_state.h"

CWBDataTransCenter::CWBDataTransCenter() : m_pCentre(new CWBCentre(*this)) {}

CWBDataTransCenter::~CWBDataTransCenter() { delete m_pCentre; }

void CWBDataTransCenter::ProcessWBData(unsigned long ulSessionID, const char* data, int len) {
    m_pCentre->Process(static_cast<uint32_t>(ulSessionID), data, len);
}

void CWBDataTransCenter::SessionJoined(unsigned long ulSessionID) {
    m_pCentre->Join(static_cast<uint32_t>(ulSessionID));
}

void CWBDataTransCenter::SessionLeft(unsigned long ulSessionID) {
    m_pCentre->Leave(static_cast<uint32_t>(ulSessionID));
}

CWBChannel::CWBChannel(unsigned long ulWBChannelID)
    : m_pState(new CWBChannelState(static_cast<uint32_t>(ulWBChannelID))) {}

CWBChannel::~CWBChannel() {
    SayDeletedInCallback("Whiteboard", m_pState->channelID);
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->ForgetWBChannel(this);
    delete m_pState;
}

// An exception of the application's session is logged and goes no further.
void CWBChannel::SendWBData(unsigned long ulSessionID, const char* data, int len) {
    m_pState->sessions.With(static_cast<uint32_t>(ulSessionID), [&](CWBSession& session) {
        CallApplication([&] { session.SendWBSessionData(data, len); });
    });
}

bool CWBChannel::Connect() {
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->AddWBChannel(this);
    return true;
}

void CWBChannel::ReleaseConnections() {
    if (RefusesRelease("Whiteboard", m_pState->channelID)) return;
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->RemoveWBChannel(this);
}

unsigned long CWBChannel::GetWBSessionCount() { return static_cast<unsigned long>(m_pState->sessions.Size()); }

bool CWBChannel::IsDirty() { return m_pState->dirty.load(std::memory_order_relaxed); }

bool CWBChannel::IsEmpty() { return IsDirty() && GetWBSessionCount() == 0; }

void CWBChannel::OnWBChannelData(unsigned long ulSessionID, const char* data, int len) {
    ProcessWBData(ulSessionID, data, len);
}

void CWBChannel::AddWBSession(CWBSession* pWBSession) {
    if (!pWBSession) return;
    const unsigned long sessionID = pWBSession->GetWBSessionID();
    m_pState->sessions.Put(static_cast<uint32_t>(sessionID), pWBSession);
    CUndo undo([&] { RemoveWBSession(pWBSession); });
    SessionJoined(sessionID);
    undo.Keep();
    m_pState->dirty.store(true, std::memory_order_relaxed);
}

void CWBChannel::RemoveWBSession(CWBSession* pWBSession) {
    if (!pWBSession) return;
    const unsigned long sessionID = pWBSession->GetWBSessionID();
    SessionLeft(sessionID);
    m_pState->sessions.Take(static_cast<uint32_t>(sessionID));
}

unsigned long CWBChannel::GetWBChannelID() { return m_pState->channelID; }
