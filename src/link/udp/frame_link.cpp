#include "link/udp/frame_link.h"

#include "core/wide/wide_constants.h"
#include "link/process/mcu_services.h"
#include "link/process/work_signal.h"
#include "link/udp/queued_frame.h"
#include "platform/lumobase/clock.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr int kMostWidePasses = 64;
constexpr uint64_t kOwnBatch = 16384;  // bytes

bool IsData(char* packet, int length) { return CSCTPPacket(packet, length).GetCommand() == session::SCTP_CMD_DATA; }

}  // namespace

CFrameLink::CFrameLink(ILinkOwner& owner, WhenOutOfMemory whenOutOfMemory)
    : m_owner(owner), m_bEndsToGiveWay(whenOutOfMemory == WhenOutOfMemory::Ends) {}

CFrameLink::~CFrameLink() {
    m_waiting.Leave();
    LeaveTurns();
}

bool CFrameLink::OpenLink(uint32_t strangerIP) {
    m_session.SetStranger(strangerIP);
    m_waiting.Enter(strangerIP);
    if (!m_session.OpenSession()) {
        m_waiting.Leave();
        m_session.CloseSession();
        return false;
    }
    m_entry.Enter(*this);
    return true;
}

void CFrameLink::CloseLink() {
    m_entry.Leave();
    CDueLinks::Get().Leave(*this);
    m_waiting.Leave();
    {
        CAutoLock pump(&m_csPump);
        ForgetTaken();
        m_queue.Flush();
        m_newest.Drop();
        m_session.CloseSession();
        ChargeRecords();
        MarkIdle();
        LeaveTurns();
    }
    CDueLinks::Get().Leave(*this);  // a pump that ran meanwhile may have entered it again
}

bool CFrameLink::QueueFrame(const void* data, int length) {
    const bool takes = length >= 0 && length <= limits::kMaxFrameLen && TakeRoom(length);
    std::unique_ptr<CQueuedFrame> buffer(takes ? new (std::nothrow) CQueuedFrame(m_waiting) : nullptr);
    if (!buffer || !buffer->Store(data, length)) {
        if (takes && m_bEndsToGiveWay) m_limit.MarkOverrun();  // a gap would follow
        CountDropped(1);
        return false;
    }
    m_limit.Note(QueueCost(), length);
    m_queue.SetDataBuffer(buffer.release());
    MarkBusy();
    Pump();
    return true;
}

bool CFrameLink::QueueNewest(uint64_t key, const void* data, int length) {
    const bool takes = length >= 0 && length <= limits::kMaxFrameLen && !IsOverLimit();
    std::unique_ptr<CQueuedFrame> buffer(takes ? new (std::nothrow) CQueuedFrame(m_waiting) : nullptr);
    if (!buffer || !buffer->Store(data, length)) {
        CountDropped(1);
        return false;
    }
    if (!m_newest.Put(key, std::move(buffer))) return QueueFrame(data, length);
    MarkBusy();
    Pump();
    return true;
}

CDataBuffer* CFrameLink::NextWaitingFrame() {
    CDataBuffer* frame = m_queue.GetDataBuffer();
    return frame ? frame : m_newest.Take().release();
}

bool CFrameLink::SendAtOnce(const void* data, int length) {
    const bool takes = length > 0 && length <= limits::kMaxFrameLen &&
                       limits::QueueCost(m_session.GetPendingBytes(), m_session.GetPendingCount()) <= QueueLimit();
    std::unique_ptr<CQueuedFrame> buffer(takes ? new (std::nothrow) CQueuedFrame(m_waiting) : nullptr);
    if (!buffer || !buffer->Store(data, length) || !m_session.SendBuffer(buffer.release())) {
        CountDropped(1);
        return false;
    }
    MarkBusy();
    Pump();
    return true;
}

void CFrameLink::CountDropped(uint64_t frames) {
    m_limit.CountDropped(frames);
    LinkRegistry().CountDropped(frames);
}

bool CFrameLink::TakeRoom(int length) {
    if (m_bHeld.load(std::memory_order_acquire)) {
        CAutoLock lock(&m_csHeld);
        if (m_bHeld.load(std::memory_order_relaxed))
            return TakeRoomWhileHeld(limits::QueueCost(static_cast<uint64_t>(length), 1));
    }
    if (HasGivenWay()) m_limit.MarkOverrun();
    return m_limit.Admits(QueueCost());
}

// An unvalidated far side has acknowledged nothing: all that the link has taken for it is still here.
bool CFrameLink::TakeRoomWhileHeld(uint64_t cost) {
    CFirstSends* first = m_pFirst.load(std::memory_order_relaxed);
    const bool alone = first && m_nTaken == 0;  // bounded by what all unvalidated far sides may have
    const bool room = !m_bHeldGap && (alone || m_nTaken + cost - limits::kFrameCost <= QueueLimit());
    m_bHeldGap = !room || (first && !first->Take(cost));
    if (!m_bHeldGap) m_nTaken += cost;
    return !m_bHeldGap;
}

void CFrameLink::ForgetTaken() {
    CAutoLock lock(&m_csHeld);
    if (CFirstSends* first = m_pFirst.exchange(nullptr)) first->GiveBack(m_nTaken);
    m_nTaken = 0;
}

void CFrameLink::GiveBackTaken(uint64_t cost) {
    CAutoLock lock(&m_csHeld);
    const uint64_t back = std::min(cost, m_nTaken);  // a frame may have entered the session just before
    m_nTaken -= back;
    if (CFirstSends* first = m_pFirst.load(std::memory_order_relaxed)) first->GiveBack(back);
}

// The link that held the memory has failed, and the next sweep ends it.
void CFrameLink::GiveWay() {
    if (!m_bEndsToGiveWay) {
        DropQueue();
        return m_waiting.Recover();
    }
    m_bGaveWay.store(true, std::memory_order_relaxed);
    DropQueue();
    m_session.DropFrames();
}

// Bytes that enter the window for the first time: the far side has acknowledged earlier ones.
uint64_t CFrameLink::BytesMoved() { return m_session.BytesFirstSent(); }

bool CFrameLink::Pump() {
    if (!m_bBusy.load(std::memory_order_seq_cst)) {
        LeaveTurns();  // a pass that ended just now may have asked for them
        return false;
    }
    if (!MayPump()) {
        MarkIdle();  // the worker need not come again for it
        if (!MayPump()) return false;
        MarkBusy();
    }
    m_bPumpAgain.store(true, std::memory_order_seq_cst);
    bool sent = false;
    while (m_bPumpAgain.load(std::memory_order_seq_cst) && m_csPump.TryLock()) {
        m_bPumpAgain.store(false, std::memory_order_seq_cst);
        try {
            sent = RunPump() || sent;
        } catch (...) {
            m_csPump.Unlock();
            throw;
        }
        m_csPump.Unlock();
    }
    return sent;
}

// Passes repeat until one sends nothing, so that the window is full again before the thread turns elsewhere. A wide
// session, which never fills where acknowledgements come as fast as packets leave, lets others have their turn.
bool CFrameLink::RunPump() {
    CUdpBatch batch;
    bool sent = false;
    const uint64_t before = m_session.BytesSent();
    const bool wide = m_session.IsWideSending();  // it takes its frames itself
    const bool idle = m_session.IsSendIdle() && !(wide && HasWaiting());
    CDataBuffer* frame = idle && !wide ? NextWaitingFrame() : nullptr;
    if (!idle || (frame && m_session.SendBuffer(frame))) {
        for (int pass = 0; !(wide && pass == kMostWidePasses) && m_session.ProcessSend(); ++pass) sent = true;
        ChargeRecords();
        if (m_session.IsWideSending()) {  // its deadlines say when to look again
            // What another thread's packets overtook would have to be held; few packets are not worth a call of their
            // own.
            if (m_session.BytesSent() - before >= kOwnBatch) FlushUdpBatch();
            LeaveTurns();
            CDueLinks::Get().Enter(*this, m_session.SendDueAt());
        } else {
            WatchTurns();
        }
        return sent;
    }
    ChargeRecords();
    MarkIdle();
    if (HasWaiting() || !m_session.IsSendIdle()) {  // queued or sent in between
        MarkBusy();
        m_bPumpAgain.store(true, std::memory_order_seq_cst);
    }
    return false;
}

void CFrameLink::ChargeRecords() {
    const uint64_t bytes = m_session.RecordBytes();
    const uint64_t before = m_nRecordBytes;
    if (bytes < before) m_waiting.Return(before - bytes);
    if (bytes < before || (bytes > before && m_waiting.Take(bytes - before))) m_nRecordBytes = bytes;
}

void CFrameLink::OnPacket(const char* packet, int length) {
    m_session.OnSCTPSessionReceivedData(const_cast<char*>(packet), length);
    if (m_session.IsWideSending() && CDueLinks::Get().AskAfterBurst(*this)) return;
    if (m_session.WantsPass()) Pump();
    CDueLinks::Get().Enter(*this, m_session.DueAt());
}

void CFrameLink::OnDue(uint64_t now) {
    if (m_session.DoDue(now)) MarkBusy();  // a pass pays for the records that are left
    Pump();
    CDueLinks::Get().Enter(*this, m_session.DueAt());
}

bool CFrameLink::SetHeld(bool held) {
    bool gap = false;
    {
        CAutoLock lock(&m_csHeld);
        gap = std::exchange(m_bHeldGap, false);
        if (gap) DropQueue();
        m_bHeld.store(held, std::memory_order_seq_cst);
    }
    ForgetTaken();
    if (held) return gap;
    if (!m_session.IsSendIdle() || HasWaiting()) MarkBusy();
    Pump();
    return gap;
}

void CFrameLink::HoldUntilValidated(CFirstSends& first) {
    SetHeld(true);
    m_pFirst.store(&first, std::memory_order_relaxed);
}

void CFrameLink::LetFirstLeave() {
    if (!m_pFirst.load(std::memory_order_relaxed)) return;
    m_nMayLeave.store(static_cast<int>(session::kInitialWindow), std::memory_order_relaxed);
    m_bFirstLeaves.store(true, std::memory_order_seq_cst);
    if (HasWaiting()) MarkBusy();
    Pump();
}

bool CFrameLink::MayPump() const {
    if (!m_bHeld.load(std::memory_order_seq_cst)) return true;
    return m_bFirstLeaves.load(std::memory_order_seq_cst) && m_nMayLeave.load(std::memory_order_relaxed) > 0;
}

bool CFrameLink::SpendPacket(int length) {
    CFirstSends* first = m_pFirst.load(std::memory_order_relaxed);
    if (m_nMayLeave.load(std::memory_order_relaxed) <= 0) return false;
    if (first && !first->Spend(static_cast<uint64_t>(length + wide::kDatagramOverhead))) return false;
    m_nMayLeave.fetch_sub(1, std::memory_order_relaxed);
    return true;
}

void CFrameLink::OfferOpening() {
    constexpr int kMaxOffers = 3;
    if (!m_bHeld.load(std::memory_order_relaxed) || m_nOffers.load(std::memory_order_relaxed) >= kMaxOffers) return;
    m_nMayLeave.fetch_add(1, std::memory_order_relaxed);
    if (m_nOffers.fetch_add(1, std::memory_order_relaxed) == 0) m_session.SendOpening();
    CAutoLock pump(&m_csPump);
    m_session.ProcessSend();
}

void CFrameLink::SendSCTPData(char* packet, int length) {
    if (m_bHeld.load(std::memory_order_relaxed) && IsData(packet, length) && !SpendPacket(length)) return;
    m_owner.SendSCTPData(packet, length);
}

void CFrameLink::DropQueue() {
    const uint64_t count = QueuedFrames();
    const uint64_t cost = QueueCost();
    m_queue.Flush();
    m_newest.Drop();
    GiveBackTaken(cost);
    m_limit.Reset(count);
    LinkRegistry().CountDropped(count);
}

void CFrameLink::OnSCTPSessionReceivedFrame(char* frame, int length) {
    if (!m_pace.WasQuick()) {  // nothing that is due must wait for a slow application
        CDueLinks::Get().AskNow(Lumo_Base::GetMicroseconds());
        FlushUdpBatch();
    }
    const CCallPace::CTiming timing(m_pace);
    const Lumo_Base::CTimeUnheld time;  // what a slow owner sends is stamped with the time of sending
    m_owner.OnSCTPSessionReceivedFrame(frame, length);
}

void CFrameLink::MarkBusy() {
    if (!m_bBusy.exchange(true, std::memory_order_seq_cst)) WatchTurns();
}

void CFrameLink::MarkIdle() {
    if (m_bBusy.exchange(false, std::memory_order_seq_cst)) LeaveTurns();
}

void CFrameLink::WatchTurns() {
    if (!m_bWatching.exchange(true, std::memory_order_seq_cst)) CWorkSignal::Get().LinkBusy();
}

void CFrameLink::LeaveTurns() {
    if (m_bWatching.exchange(false, std::memory_order_seq_cst)) CWorkSignal::Get().LinkIdle();
}

void CFrameLink::FillStatistics(LumoLinkStatistics& statistics) {
    const SessionStatistics session = m_session.GetStatistics();
    statistics = LumoLinkStatistics();
    m_owner.DescribeLink(statistics);
    statistics.ullPacketsSent = session.packetsSent;
    statistics.ullPacketsReceived = session.packetsReceived;
    statistics.ullBytesSent = session.bytesSent;
    statistics.ullBytesReceived = session.bytesReceived;
    statistics.ullFramesSent = session.framesSent;
    statistics.ullFramesReceived = session.framesReceived;
    statistics.ullRetransmitted = session.retransmitted;
    statistics.ullDuplicates = session.duplicates;
    statistics.ullFramesDropped = m_limit.Dropped();
    statistics.ulRoundTripMs = session.roundTripMs;
    statistics.byWide = session.wide ? 1 : 0;
    statistics.ulSmallestRoundTripUs = static_cast<unsigned long>(session.smallestRoundTripUs);
    statistics.ullBandwidth = session.bandwidth;
    statistics.ullBytesInFlight = session.inFlight;
    statistics.ullPacketsLost = session.lost;
    statistics.ulQueuedFrames = QueuedFrames() + session.undeliveredFrames;
    statistics.ullQueuedBytes = QueuedBytes() + session.undeliveredBytes;
}
