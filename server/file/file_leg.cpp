#include "server/file/file_leg.h"

#include "file/file_receiver_tcp.h"
#include "file/file_receiver_udp.h"
#include "file/local_mcu_file.h"
#include "link/work_signal.h"
#include "server/stream.h"

// There is no nearer server to ask: the request names nobody else.
bool CFileLeg::Open() {
    bool asked = false;
    if (m_bTcp) {
        CFileReceiverTCP* receiver = CLocalMCUFile::CreateFileReceiverTCP(*this, m_stream.ChannelID());
        m_pReceiver = receiver;
        asked = receiver && receiver->Connect(m_far, {}, {});
    } else {
        CFileReceiverUDP* receiver = CLocalMCUFile::CreateFileReceiverUDP(*this, m_stream.ChannelID());
        m_pReceiver = m_pReceiverUDP = receiver;
        asked = receiver && receiver->Connect(m_far, {}, false);
    }
    if (!asked) Close();
    return asked;
}

void CFileLeg::Close() {
    if (m_pReceiver) m_pReceiver->ReleaseConnections();
    m_pReceiver = nullptr;
    m_pReceiverUDP = nullptr;
    SetUp(false);
}

uint32_t CFileLeg::LastHeard() { return m_pReceiverUDP ? m_pReceiverUDP->LastHeard() : 0; }

void CFileLeg::AskForSign() {
    if (!m_pReceiverUDP) return;
    m_pReceiverUDP->KeepAliveSoon();
    m_pReceiverUDP->IsDisconnected();  // the poll that sends it
}

void CFileLeg::OnFileReceiverNotifyData(const char* data, int length) { m_stream.OnSourceFrame(data, length); }

void CFileLeg::OnFileReceiverNotifyConnected(unsigned long) {
    SetUp(true);
    m_news.store(true, std::memory_order_release);
    CWorkSignal::Get().Wake();
}
