// The session towards a far side that is wide, too.
#include "core/session.h"
#include "core/wide/wide_session.h"
#include "platform/lumobase/clock.h"

#include <new>
#include <utility>

using Lumo_Base::GetMicroseconds;

bool CSession::OpenWide() {
    if (!wide::IsWanted()) m_pWide.reset();
    if (!m_pWide && wide::IsWanted())
        m_pWide.reset(new (std::nothrow) wide::CWideSession(static_cast<wide::ISending&>(*this), *this));
    if (!m_pWide) return !wide::IsWanted();
    CAutoLock lock(&m_csWindow);
    m_pWide->Open(m_ulStranger);
    m_pWide->Receiver().SetWindow(m_byWindowSize);
    return true;
}

void CSession::CloseWide() {
    if (!m_pWide) return;
    CAutoLock lock(&m_csWindow);
    m_pWide->Close();
    m_bLiedTo = false;
    m_nUndelivered = 0;
    m_nUndeliveredBytes = 0;
}

bool CSession::IsWideSending() const { return m_pWide && m_pWide->IsSending(); }
uint64_t CSession::DueAt() const { return m_pWide ? m_pWide->DueAt() : 0; }
uint64_t CSession::RecordBytes() const { return m_pWide ? m_pWide->RecordBytes() : 0; }
uint64_t CSession::SendDueAt() const { return IsWideSending() && !WasLiedTo() ? m_pWide->SendDueAt() : 0; }

// Receiving.

bool CSession::ReceiveWide(CSCTPPacket& packet) {
    if (!m_pWide) return false;
    const uint64_t now = GetMicroseconds();
    if (m_pWide->HearsOffer(packet)) BeginWideReceiving(now);
    if (!m_pWide->IsReceiving()) return false;
    m_pWide->Receive(now, packet);
    return true;
}

void CSession::BeginWideReceiving(uint64_t now) {
    const uint64_t next = NextNumber();
    m_pWide->BeginReceiving(next);
    while (const auto held = TakeHeld()) {
        const auto ahead = static_cast<uint16_t>(held->GetSequence() - static_cast<uint16_t>(next));
        m_pWide->Receiver().Carry(now, *held, next + ahead);
    }
}

void CSession::TellNow() {
    char bytes[session::kEnvelopeRoom + wide::kMaxAckLen] = {};
    CSCTPPacket packet(bytes + session::kEnvelopeRoom, session::kHeaderLen);
    packet.SetCommand(session::SCTP_CMD_ACK);
    packet.SetFlag(true);
    packet.SetWindowSize(GetWindowSize());
    const int length = m_pWide->WriteAckPacket(GetMicroseconds(), packet);
    m_nAcksSent.fetch_add(1, std::memory_order_relaxed);
    m_owner.SendSCTPData(packet.GetPacketData(), length);
}

bool CSession::DoDue(uint64_t now) {
    if (!m_pWide) return false;
    m_pWide->Receiver().LookAtGap(now);
    const uint64_t due = m_pWide->AckDueAt();
    if (due != 0 && now >= due) TellNow();
    const uint64_t look = m_pWide->IdleLookAt();
    if (look == 0 || now < look) return false;
    CAutoLock lock(&m_csWindow);
    m_pWide->Sender().LookWhetherIdle(now);
    m_pWide->Show();
    return true;
}

// Sending.

bool CSession::OnWideAck(CSCTPPacket& packet) {
    if (!m_pWide) return false;
    const bool answer = m_pWide->Agreement().IsAnswer(packet.GetPacketData());
    if (!answer && !IsWideSending()) return false;
    wide::Ack ack;
    if (answer && !wide::ReadAck(packet.GetPacketData(), packet.GetPacketDataLen(), ack)) return true;
    CAutoLock lock(&m_csWindow);
    const uint64_t now = GetMicroseconds();
    if (!IsWideSending() && !BeginWideSending(now)) return false;  // it is a given one, too
    if (answer)
        m_pWide->Sender().OnAck(now, ack);
    else
        m_pWide->Sender().OnGivenAck(now, packet.GetFlag(), packet.GetSequence());
    NoteInFlight();
    return true;
}

// What is in flight in the given form stays where it is until it is delivered, and is repeated in the wide form.
bool CSession::BeginWideSending(uint64_t now) {
    wide::CWideSender& sender = m_pWide->Sender();
    const CSendWindow& window = Window();
    sender.Open(now, m_pWide->Agreement().Token(), FirstNumber(), window.Size(),
                m_nPayloadLen.load(std::memory_order_relaxed));
    for (uint32_t i = 0; i < window.Size(); ++i) {
        CSendPacket* packet = window.At(i);
        const uint64_t ago = uint64_t{ElapsedMs(static_cast<uint32_t>(now / 1000), LastSent(*packet))} * 1000;
        const wide::Piece piece{packet->GetPacketData() + session::kHeaderLen,
                                packet->GetPacketDataLen() - session::kHeaderLen, packet->GetBegin(), packet->GetEnd()};
        if (sender.Carry(now - ago, piece, packet->GetFlag())) continue;
        sender.Close();
        return false;
    }
    if (std::exchange(m_bOpening, false)) m_nUncut.fetch_sub(1);
    if (m_pCutting) {
        CountUndelivered(m_pCutting->GetLen());
        sender.CarryFrame(std::move(m_pCutting), m_nCut);
    }
    m_pWide->BeginSending();
    return true;
}

void CSession::NoteInFlight() {
    const wide::CFlight& flight = m_pWide->Sender().Flight();
    SetInFlight(flight.Next() - flight.First());
    m_pWide->Show();
    if (m_pWide->Sender().WasLiedTo()) m_bLiedTo.store(true, std::memory_order_relaxed);
    if (!m_pWide->Sender().HasCarried()) FreeWindow();
}

bool CSession::SendWidePass() {
    CAutoLock lock(&m_csWindow);
    const bool sent = !m_pWide->Sender().WasLiedTo() && m_pWide->Sender().Send(GetMicroseconds());
    NoteInFlight();
    return sent;
}

std::unique_ptr<CDataBuffer> CSession::TakeFrame() {
    if (StartCutting()) {
        CountUndelivered(m_pCutting->GetLen());
        return std::move(m_pCutting);
    }
    std::unique_ptr<CDataBuffer> frame(m_owner.NextWaitingFrame());
    if (!frame) return nullptr;
    m_nUncutBytes.fetch_add(static_cast<uint64_t>(frame->GetLen()), std::memory_order_relaxed);
    m_nUncut.fetch_add(1);
    CountUndelivered(frame->GetLen());
    CAutoLock lock(&m_csPending);
    m_nFramesSent.Add();
    return frame;
}

void CSession::CountUndelivered(int length) {
    m_nUndelivered.fetch_add(1, std::memory_order_relaxed);
    m_nUndeliveredBytes.fetch_add(static_cast<uint64_t>(length), std::memory_order_relaxed);
}

void CSession::OnFrameDelivered(int length) {
    m_nUndelivered.fetch_sub(1, std::memory_order_relaxed);
    m_nUndeliveredBytes.fetch_sub(static_cast<uint64_t>(length), std::memory_order_relaxed);
}

void CSession::SendWide(char* packet, int length, bool again) {
    CountSent(length - session::kHeaderLen, again);
    m_owner.SendSCTPData(packet, length);
}
