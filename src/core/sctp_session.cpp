#include "core/sctp_session.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

CSCTPSession::CSCTPSession() : m_ack(m_ackBytes + session::kEnvelopeRoom, session::kHeaderLen) {}

CSCTPSession::~CSCTPSession() = default;

bool CSCTPSession::OpenSession() {
    if (!m_reassembly.Open()) return false;
    ResetSender();
    ResetReceiver();
    m_ack.SetCommand(session::SCTP_CMD_ACK);
    return true;
}

void CSCTPSession::CloseSession() {
    DropFrames();
    ClearSender();
    ClearReceiver();
}

void CSCTPSession::DropFrames() {
    {
        CAutoLock lock(&m_csPending);
        for (const auto& frame : m_pending) CountDone(frame->GetLen());
        m_pending.clear();
    }
    {
        CAutoLock lock(&m_csWindow);
        if (m_pCutting) FinishCutting();
        if (std::exchange(m_bOpening, false)) m_nUncut.fetch_sub(1);
    }
}

bool CSCTPSession::SendFrame(char* frame, int length) {
    if (!frame || length < 1 || length > session::kMaxFrameLen) return false;
    std::unique_ptr<CDataBuffer> copy(new (std::nothrow) CDataBuffer);
    return copy && copy->StoreData(frame, length) && SendBuffer(copy.release());
}

bool CSCTPSession::SendBuffer(CDataBuffer* frame) {
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

void CSCTPSession::SendOpening() {
    CAutoLock lock(&m_csWindow);
    if (!std::exchange(m_bOpening, true)) m_nUncut.fetch_add(1);
}

bool CSCTPSession::ProcessSend() { return !IsSendIdle() && SendWindow(m_ulResendTime.load(std::memory_order_relaxed)); }

// In this order: a packet counts as in flight before its frame stops counting as uncut.
bool CSCTPSession::IsSendIdle() { return m_nUncut.load() == 0 && IsWindowEmpty(); }

bool CSCTPSession::CanAdmit() { return HasUncut() && HasRoom(); }

void CSCTPSession::OnSCTPSessionReceivedData(char* packet, int length) {
    if (!packet || length < session::kHeaderLen) return;
    CSCTPPacket received(packet, length);
    if (received.GetVersion() != 0) return;
    switch (received.GetCommand()) {
        case session::SCTP_CMD_DATA:
            m_nPacketsReceived.Add();
            m_nBytesReceived.Add(static_cast<uint64_t>(length - session::kHeaderLen));
            received.SetPacketDataLen(session::kHeaderLen + m_reassembly.MostUseful(length - session::kHeaderLen));
            OnPacket(received);
            break;
        case session::SCTP_CMD_ACK:
            m_nPacketsReceived.Add();
            OnAckAndSendWindow(received.GetFlag(), received.GetSequence(), received.GetWindowSize());
            break;
        default:
            break;
    }
}

void CSCTPSession::SetWindowSize(unsigned char size) {
    m_byWindowSize = static_cast<uint8_t>(std::clamp<uint32_t>(size, session::kMinWindow, session::kMaxWindow));
}

unsigned char CSCTPSession::GetWindowSize() { return m_byWindowSize; }

void CSCTPSession::SetResendTime(unsigned long milliseconds) {
    m_ulResendTime.store(static_cast<uint32_t>(milliseconds), std::memory_order_relaxed);
}

void CSCTPSession::SetMaxPacketDataLen(unsigned long length) {
    m_nPayloadLen = static_cast<int>(std::clamp<unsigned long>(length, 1, session::kMaxPayloadLen));
}

CSCTPPacket* CSCTPSession::GetNextSendPacket() {
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

CSCTPPacket* CSCTPSession::CutOpening() {
    CSCTPPacket* packet = PreparePacket(0);
    if (!packet) return nullptr;
    m_bOpening = false;
    m_nUncut.fetch_sub(1);
    return packet;
}

bool CSCTPSession::StartCutting() {
    CAutoLock lock(&m_csPending);
    if (m_pending.empty()) return false;
    m_pCutting = std::move(m_pending.front());
    m_pending.pop_front();
    m_nCut = 0;
    return true;
}

void CSCTPSession::FinishCutting() {
    const int length = m_pCutting->GetLen();
    m_pCutting.reset();
    CountDone(length);
}

void CSCTPSession::CountDone(int length) {
    m_nUncutBytes.fetch_sub(static_cast<uint64_t>(length), std::memory_order_relaxed);
    m_nUncut.fetch_sub(1);
}

void CSCTPSession::SendPacket(CSCTPPacket* packet) {
    SendSCTPData(packet->GetPacketData(), packet->GetPacketDataLen());
}

void CSCTPSession::OnReceivedPacket(CSCTPPacket* packet) {
    if (!m_reassembly.Append(*packet)) return;
    m_nFramesReceived.Add();
    DeliverFrame(m_reassembly.Data(), m_reassembly.Length());
    m_reassembly.Reset();
}

void CSCTPSession::SendAck(bool flag, unsigned short sequence) {
    m_ack.SetFlag(flag);
    m_ack.SetSequence(sequence);
    m_ack.SetWindowSize(GetWindowSize());
    m_nAcksSent.Add();
    SendSCTPData(m_ack.GetPacketData(), m_ack.GetPacketDataLen());
}

SessionStatistics CSCTPSession::GetStatistics() const {
    SessionStatistics statistics;
    FillSenderStatistics(statistics);
    statistics.packetsSent += m_nAcksSent.Get();
    statistics.packetsReceived = m_nPacketsReceived.Get();
    statistics.bytesReceived = m_nBytesReceived.Get();
    statistics.framesSent = m_nFramesSent.Get();
    statistics.framesReceived = m_nFramesReceived.Get();
    statistics.duplicates = Duplicates();
    return statistics;
}
