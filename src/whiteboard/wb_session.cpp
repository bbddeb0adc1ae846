#include "link/tables/object_id.h"
#include "lumomedia/whiteboard.h"

CWBSession::CWBSession(CWBChannel* pWBChannel) : m_pWBChannel(pWBChannel), m_pWBSessionID(new CObjectID) {}

CWBSession::~CWBSession() { delete m_pWBSessionID; }

bool CWBSession::JoinWBChannel() {
    m_pWBChannel->AddWBSession(this);
    return true;
}

void CWBSession::LeaveWBChannel() { m_pWBChannel->RemoveWBSession(this); }

unsigned long CWBSession::GetWBChannelID() { return m_pWBChannel->GetWBChannelID(); }

unsigned long CWBSession::GetWBSessionID() { return m_pWBSessionID->Get(); }

void CWBSession::OnWBSessionData(const char* data, int len) {
    m_pWBChannel->OnWBChannelData(GetWBSessionID(), data, len);
}
