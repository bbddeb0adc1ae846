#include "core/session.h"

#include "core/wide/wide_session.h"
#include "platform/lumobase/undo.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

CSession::CSession(ISessionOwner& owner)
    : m_owner(owner), m_ack(m_ackBytes + session::kEnvelopeRoom, session::kHeaderLen) {}

CSession::~CSession() = default;

bool CSession::OpenSession() {
    if (!OpenWide() || !m_reassembly.Open()) return false;
    ResetSender();
    ResetReceiver();
    m_ack.SetCommand(session::SCTP_CMD_ACK);
    return true;
}

void CSession::CloseSession() {
    DropFrames();
    CloseWide();
    ClearSender();
    ClearReceiver();
}

void CSession::DropFrames() {
    {
        CAutoLock lock(&m_csPending);
        for (const auto& frame : m_pending) CountDone(frame->GetLen());
        m_pending.clear();
    }
    {
        CAutoLock lock(&m_csWindow);
        if (m_pCutting) FinishCutting();
        if (IsWideSending()) m_pWide->Sender().DropUncut();
        if (std::exchange(m_bOpening, false)) m_nUncut.fetch_sub(1);
    }
}

bool CSession::SendFrame(char* frame, int length) {
    if (!frame || length < 1 || length > session::kMaxFrameLen) return false;
    std::unique_ptr<CDataBuffer> copy(new (std::nothrow) CDataBuffer);
    return copy && copy->StoreData(frame, length) && SendBuffer(copy.release());
}

bool CSession::SendBuffer(CDataBuffer* frame) {
    std::unique_ptr<CDataBuffer> owned(frame);
    if (!frame || frame->GetLen() < 1 || frame->GetLen() > session::kMaxFrameLen) return false;
    const auto length = static_cast<uint64_t>(frame->GetLen());
    CAutoLock lock(&m_csPending);
    try {
        m_pending.push_back(std::move(owned));
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_nUncutBytes.fetch_add(length, std::memory_order_relaxed);
    m_nUncut.fetch_add(1);
    m_nFramesSent.Add();
    return true;
}

void CSession::SendOpening() {
    CAutoLock lock(&m_csWindow);
    if (IsWideSending()) return;  // it has been answered
    if (!std::exchange(m_bOpening, true)) m_nUncut.fetch_add(1);
}

bool CSession::ProcessSend() {
    if (IsWideSending()) return SendWidePass();
    return !IsSendIdle() && SendWindow(m_ulResendTime.load(std::memory_order_relaxed));
}

// In this order: a packet counts as in flight before its frame stops counting as uncut.
bool CSession::IsSendIdle() { return m_nUncut.load() == 0 && IsWindowEmpty(); }

bool CSession::CanAdmit() { return HasUncut() && HasRoom(); }

void CSession::OnSCTPSessionReceivedData(char* packet, int length) {
    if (!packet || length < session::kHeaderLen) return;
    CSCTPPacket received(packet, length);
    if (received.GetVersion() != 0) return;
    switch (received.GetCommand()) {
        case session::SCTP_CMD_DATA:
            OnData(received);
            break;
        case session::SCTP_CMD_ACK:
            OnAckPacket(received);
            break;
        default:
            break;
    }
}

void CSession::OnData(CSCTPPacket& packet) {
    const int length = packet.GetPacketDataLen() - session::kHeaderLen;
    m_nPacketsReceived.Add();
    m_nBytesReceived.Add(static_cast<uint64_t>(length));
    packet.SetPacketDataLen(session::kHeaderLen + m_reassembly.MostUseful(length));
    if (!ReceiveWide(packet)) OnPacket(packet);
}

void CSession::OnAckPacket(CSCTPPacket& packet) {
    m_nPacketsReceived.Add();
    if (!OnWideAck(packet)) OnAckAndSendWindow(packet.GetFlag(), packet.GetSequence(), packet.GetWindowSize());
}

void CSession::SetWindowSize(unsigned char size) {
    m_byWindowSize = static_cast<uint8_t>(std::clamp<uint32_t>(size, session::kMinWindow, session::kMaxWindow));
    if (m_pWide) m_pWide->Receiver().SetWindow(m_byWindowSize);
}

unsigned char CSession::GetWindowSize() { return m_byWindowSize; }

void CSession::SetResendTime(unsigned long milliseconds) {
    m_ulResendTime.store(static_cast<uint32_t>(milliseconds), std::memory_order_relaxed);
}

void CSession::SetMaxPacketDataLen(unsigned long length) {
    m_nPayloadLen = static_cast<int>(std::clamp<unsigned long>(length, 1, session::kMaxPayloadLen));
}

CSCTPPacket* CSession::GetNextSendPacket() {
    if (m_bOpening) return CutOpening();
    if (!m_pCutting && !StartCutting()) return nullptr;
    const int left = m_pCutting->GetLen() - m_nCut;
    const int length = std::min(left, m_nPayloadLen.load(std::memory_order_relaxed));
    CSCTPPacket* packet = PreparePacket(length);
    if (!packet) return nullptr;
    packet->SetBegin(m_nCut == 0);
    packet->SetEnd(length == left);
    std::memcpy(packet->GetPacketData() + session::kHeaderLen, m_pCutting->GetData() + m_nCut,
                static_cast<size_t>(length));
    m_nCut += length;
    if (length == left) FinishCutting();
    return packet;
}

CSCTPPacket* CSession::CutOpening() {
    CSCTPPacket* packet = PreparePacket(0);
    if (!packet) return nullptr;
    m_bOpening = false;
    m_nUncut.fetch_sub(1);
    return packet;
}

bool CSession::StartCutting() {
    CAutoLock lock(&m_csPending);
    if (m_pending.empty()) return false;
    m_pCutting = std::move(m_pending.front());
    m_pending.pop_front();
    m_nCut = 0;
    return true;
}

void CSession::FinishCutting() {
    const int length = m_pCutting->GetLen();
    m_pCutting.reset();
    CountDone(length);
}

void CSession::CountDone(int length) {
    m_nUncutBytes.fetch_sub(static_cast<uint64_t>(length), std::memory_order_relaxed);
    m_nUncut.fetch_sub(1);
}

void CSession::SendPacket(CSCTPPacket* packet) {
    if (m_pWide) m_pWide->Agreement().Offer(packet->GetPacketData());
    m_owner.SendSCTPData(packet->GetPacketData(), packet->GetPacketDataLen());
}

void CSession::OnReceivedPacket(CSCTPPacket* packet) {
    if (!m_reassembly.Append(*packet)) return;
    m_nFramesReceived.Add();
    const CUndo reset([this] { m_reassembly.Reset(); });  // whatever the owner throws
    m_owner.OnSCTPSessionReceivedFrame(m_reassembly.Data(), m_reassembly.Length());
}

void CSession::SendAck(bool flag, unsigned short sequence) {
    m_ack.SetFlag(flag);
    m_ack.SetSequence(sequence);
    m_ack.SetWindowSize(GetWindowSize());
    m_nAcksSent.fetch_add(1, std::memory_order_relaxed);
    m_owner.SendSCTPData(m_ack.GetPacketData(), m_ack.GetPacketDataLen());
}

SessionStatistics CSession::GetStatistics() const {
    SessionStatistics statistics;
    FillSenderStatistics(statistics);
    statistics.packetsSent += m_nAcksSent.load(std::memory_order_relaxed);
    statistics.packetsReceived = m_nPacketsReceived.Get();
    statistics.bytesReceived = m_nBytesReceived.Get();
    statistics.framesSent = m_nFramesSent.Get();
    statistics.framesReceived = m_nFramesReceived.Get();
    statistics.duplicates = Duplicates();
    if (m_pWide) m_pWide->FillStatistics(statistics);
    statistics.undeliveredFrames = m_nUndelivered.load(std::memory_order_relaxed);
    statistics.undeliveredBytes = m_nUndeliveredBytes.load(std::memory_order_relaxed);
    return statistics;
}
