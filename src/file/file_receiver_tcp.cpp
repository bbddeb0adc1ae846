#include "file/file_receiver_tcp.h"

#include "platform/lumobase/app_log.h"

using wire::CDatagram;

CFileReceiverTCP::CFileReceiverTCP(IFileReceiverNotify& notify, CFileChannel& channel)
    : CFileReceiverStream(notify, channel) {}

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

void CFileReceiverTCP::OnFileChannelData(const void* data, int length) {
    LUMO_LOG_LINE("tcp-mcu. send file data. nLen = %d", length);
    CFileReceiverStream::OnFileChannelData(data, length);
}
