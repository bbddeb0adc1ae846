#include "desktop/desktop_channel_state.h"
#include "desktop/desktop_receiver.h"
#include "desktop/desktop_sink.h"
#include "desktop/local_mcu_desktop.h"
#include "link/callback.h"

CDesktopChannel::CDesktopChannel(unsigned long ulDesktopChannelID)
    : m_pState(new CDesktopChannelState(static_cast<uint32_t>(ulDesktopChannelID), *this)) {}

CDesktopChannel::~CDesktopChannel() {
    SayDeletedInCallback("Channel", m_pState->hub.ID());
    if (CLocalMCUDesktop* mcu = GetLocalMCUDesktop()) mcu->ForgetChannel(*m_pState);
    delete m_pState;
}

void CDesktopChannel::Connect() {
    if (CLocalMCUDesktop* mcu = GetLocalMCUDesktop()) mcu->AddDesktopChannel(this);
}

void CDesktopChannel::ReleaseConnections() {
    if (RefusesRelease("Channel", m_pState->hub.ID())) return;
    CLocalMCUDesktop* mcu = GetLocalMCUDesktop();
    if (!mcu) return;
    mcu->ForgetChannel(*m_pState);
    mcu->RemoveAllDesktopSinks();
    mcu->AwaitDesktopSinks(m_pState->hub.ID());
}

bool CDesktopChannel::IsEmpty() { return m_pState->hub.IsEmpty(); }

void CDesktopChannel::AddDesktopSink(unsigned long ulDesktopSinkID, CDesktopSink* pDesktopSink) {
    m_pState->hub.AddSink(static_cast<uint32_t>(ulDesktopSinkID), pDesktopSink);
}

void CDesktopChannel::RemoveDesktopSink(unsigned long ulDesktopSinkID) {
    m_pState->hub.RemoveSink(static_cast<uint32_t>(ulDesktopSinkID));
}

void CDesktopChannel::OnDesktopChannelData(const void* data, int length) {
    m_pState->SendToSinks(data, length);
    m_pState->SendToReceiver(data, length);
}

unsigned long CDesktopChannel::GetDesktopChannelID() { return m_pState->hub.ID(); }

unsigned long CDesktopChannel::GetDesktopSinkCount() { return m_pState->hub.SinkCount(); }

bool CDesktopChannel::IsDirty() { return m_pState->hub.IsDirty(); }

unsigned long CDesktopChannel::GetBufferingFrameCount() { return m_pState->LeastBuffered(false); }

void CDesktopChannel::AttachDesktopReceiver(CDesktopReceiver* pDesktopReceiver) {
    m_pState->hub.AttachReceiver(pDesktopReceiver);
}

void CDesktopChannel::DetachDesktopReceiver(CDesktopReceiver* pDesktopReceiver) {
    m_pState->hub.DetachReceiver(pDesktopReceiver);
}

bool CDesktopChannel::HasDesktopReceiver() { return m_pState->hub.HasReceiver(); }
