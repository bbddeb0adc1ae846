#include "file/file_channel_state.h"
#include "file/file_receiver.h"
#include "file/file_sink.h"
#include "file/local_mcu_file.h"
#include "link/callback.h"

CFileChannel::CFileChannel(unsigned long ulFileChannelID)
    : m_pState(new CFileChannelState(static_cast<uint32_t>(ulFileChannelID), *this)) {}

CFileChannel::~CFileChannel() {
    SayDeletedInCallback("Channel", m_pState->hub.ID());
    if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->ForgetChannel(*m_pState);
    delete m_pState;
}

bool CFileChannel::Connect() {
    if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->AddFileChannel(this);
    return true;
}

void CFileChannel::ReleaseConnections() {
    if (RefusesRelease("Channel", m_pState->hub.ID())) return;
    if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->ForgetChannel(*m_pState);
}

bool CFileChannel::IsEmpty() { return m_pState->hub.IsEmpty(); }

void CFileChannel::AddFileSink(unsigned long ulFileSinkID, CFileSink* pFileSink) {
    m_pState->hub.AddSink(static_cast<uint32_t>(ulFileSinkID), pFileSink);
}

void CFileChannel::RemoveFileSink(unsigned long ulFileSinkID) {
    m_pState->hub.RemoveSink(static_cast<uint32_t>(ulFileSinkID));
}

void CFileChannel::OnFileChannelData(const void* data, int length) {
    m_pState->SendToSinks(data, length);
    m_pState->SendToReceiver(data, length);
}

unsigned long CFileChannel::GetFileChannelID() { return m_pState->hub.ID(); }

unsigned long CFileChannel::GetFileSinkCount() { return m_pState->hub.SinkCount(); }

bool CFileChannel::IsDirty() { return m_pState->hub.IsDirty(); }

unsigned long CFileChannel::GetBufferingFrameCount() { return m_pState->LeastBuffered(true); }

void CFileChannel::AttachFileReceiver(CFileReceiver* pFileReceiver) { m_pState->hub.AttachReceiver(pFileReceiver); }

void CFileChannel::DetachFileReceiver(CFileReceiver* pFileReceiver) { m_pState->hub.DetachReceiver(pFileReceiver); }

bool CFileChannel::HasFileReceiver() { return m_pState->hub.HasReceiver(); }
