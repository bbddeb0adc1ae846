#include "file/file_receiver_tcp.h"

#include "link/callback.h"
#include "link/limits.h"
#include "platform/lumobase/app_log.h"

using wire::CDatagram;

namespace {
constexpr uint8_t kKeepAliveEvery = 12;  // idle polls
}

CFileReceiverTCP::CFileReceiverTCP(IFileReceiverNotify& notify, CFileChannel& channel)
    : CFileReceiver(notify, channel), m_link(kKeepAliveEvery) {}

bool CFileReceiverTCP::Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxy& proxy) {
    if (peer.IsEmpty() || peer.port == 0) return false;
    m_peerMcu = peer;
    m_localMcu = local;
    const CMcuAddress& mcu = ChoosePeerMcu(peer, local, false) ? m_peerMcu : m_localMcu;
    return m_link.Dial(this, mcu.ips[0], mcu.port, proxy);
}

void CFileReceiverTCP::OnTcpClientNotifyConnected() {
    m_link.Settle();
    LUMO_LOG_LINE("tcp-mcu connect success");
    const bool peer = ChoosePeerMcu(m_peerMcu, m_localMcu, false);
    CDatagram payload;
    payload.U32(GetFileChannelID());
    for (uint32_t ip : m_peerMcu.ips) payload.U32(peer ? 0 : ip);  // zeros: nothing to relay
    m_link.SendValidation(ValidationMessage(wire::TcpType::FileReceiver, payload));
}

bool CFileReceiverTCP::OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) {
    m_link.Settle();
    LUMO_LOG_LINE("tcp-mcu. OnTcpClientNotifyValidate(Type : %u, Len : %d)", static_cast<uint32_t>(type), length);
    uint32_t channelID = 0;
    if (!ReadChannelAnswer(data, length, channelID) || channelID != GetFileChannelID()) return false;
    NotifyConnected(m_link.RemoteIP());
    return true;
}

bool CFileReceiverTCP::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_LINE("tcp-mcu. recv file data. nLen = %d", length);
    NotifyData(data, length);
    return true;
}

void CFileReceiverTCP::OnFileChannelData(const void* data, int length) {
    LUMO_LOG_LINE("tcp-mcu. send file data. nLen = %d", length);
    if (!data || length < limits::kMinFrameLen) return;
    if (m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
}

void CFileReceiverTCP::ReleaseConnections() {
    AssertNotInCallback();
    CFileReceiver::ReleaseConnections();
    m_link.Release();
    delete this;
}
