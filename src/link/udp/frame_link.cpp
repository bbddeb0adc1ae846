#include "link/udp/frame_link.h"

#include "link/callback.h"
#include "link/process/mcu_services.h"
#include "link/process/work_signal.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

/// A frame on its way through a queue or a session, and what it costs.
class CQueuedFrame final : public CDataBuffer {
public:
    explicit CQueuedFrame(CBudgetAccount& account) : m_account(account) {}
    ~CQueuedFrame() override {
        if (m_nCost > 0) m_account.Return(m_nCost);
    }
    bool Store(const void* data, int length) {
        const uint64_t cost = limits::QueueCost(static_cast<uint64_t>(length), 1);
        if (!m_account.Take(cost)) return false;
        m_nCost = cost;
        return StoreData(static_cast<const char*>(data), length);
    }

private:
    CBudgetAccount& m_account;
    uint64_t m_nCost = 0;
};

}  // namespace

CFrameLink::CFrameLink() : CBufferPool(lock_order::kFrameQueue), m_nQueueLimit(limits::kMaxQueueBytes) {}

CFrameLink::~CFrameLink() {
    m_waiting.Leave();
    MarkIdle();
}

bool CFrameLink::OpenLink(uint32_t strangerIP) {
    SetStranger(strangerIP);
    m_waiting.Enter(strangerIP);
    if (!OpenSession()) {
        m_waiting.Leave();
        CloseSession();
        return false;
    }
    m_entry.Enter(*this);
    return true;
}

void CFrameLink::CloseLink() {
    m_entry.Leave();
    m_waiting.Leave();
    CAutoLock pump(&m_csPump);
    ForgetTaken();
    Flush();
    CloseSession();
    MarkIdle();
}

bool CFrameLink::QueueFrame(const void* data, int length) {
    const bool takes = length >= 0 && length <= limits::kMaxFrameLen && TakeRoom(length);
    std::unique_ptr<CQueuedFrame> buffer(takes ? new (std::nothrow) CQueuedFrame(m_waiting) : nullptr);
    if (!buffer || !buffer->Store(data, length)) {
        if (takes && EndsToGiveWay()) m_bOverrun.store(true, std::memory_order_relaxed);  // a gap would follow
        CountDropped();
        return false;
    }
    m_longest.Note(static_cast<uint64_t>(length), GetCount() == 0);
    SetDataBuffer(buffer.release());
    MarkBusy();
    Pump();
    return true;
}

bool CFrameLink::SendAtOnce(const void* data, int length) {
    const bool takes = length > 0 && length <= limits::kMaxFrameLen &&
                       limits::QueueCost(GetPendingBytes(), GetPendingCount()) <= QueueLimit();
    std::unique_ptr<CQueuedFrame> buffer(takes ? new (std::nothrow) CQueuedFrame(m_waiting) : nullptr);
    if (!buffer || !buffer->Store(data, length) || !SendBuffer(buffer.release())) {
        CountDropped();
        return false;
    }
    MarkBusy();
    Pump();
    return true;
}

void CFrameLink::CountDropped() {
    m_nFramesDropped.fetch_add(1, std::memory_order_relaxed);
    LinkRegistry().CountDropped(1);
}

bool CFrameLink::TakeRoom(int length) {
    if (m_bHeld.load(std::memory_order_acquire)) {
        CAutoLock lock(&m_csHeld);
        if (m_bHeld.load(std::memory_order_relaxed))
            return TakeRoomWhileHeld(limits::QueueCost(static_cast<uint64_t>(length), 1));
    }
    if (!IsOverLimit()) return true;
    m_bOverrun.store(true, std::memory_order_relaxed);
    return false;
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
    if (!EndsToGiveWay()) {
        DropQueue();
        return m_waiting.Recover();
    }
    m_bGaveWay.store(true, std::memory_order_relaxed);
    DropQueue();
    DropFrames();
}

// Bytes that enter the window for the first time: the far side has acknowledged earlier ones.
uint64_t CFrameLink::BytesMoved() { return BytesFirstSent(); }

bool CFrameLink::Pump() {
    if (!m_bBusy.load(std::memory_order_seq_cst)) return false;
    if (!MayPump()) {
        MarkIdle();  // the worker need not come again for it
        if (!MayPump()) return false;
        MarkBusy();
    }
    m_bPumpAgain.store(true, std::memory_order_seq_cst);
    bool sent = false;
    while (m_bPumpAgain.load(std::memory_order_seq_cst) && m_csPump.TryLock()) {
        m_bPumpAgain.store(false, std::memory_order_seq_cst);
        sent = RunPump() || sent;
        m_csPump.Unlock();
    }
    return sent;
}

// Passes repeat until one sends nothing, so that the window is full again before the thread turns elsewhere.
bool CFrameLink::RunPump() {
    CUdpBatch batch;
    bool sent = false;
    if (!IsSendIdle() || TakeNextFrame()) {
        while (ProcessSend()) sent = true;
        return sent;
    }
    MarkIdle();
    if (GetCount() > 0 || !IsSendIdle()) {  // queued or sent in between
        MarkBusy();
        m_bPumpAgain.store(true, std::memory_order_seq_cst);
    }
    return false;
}

bool CFrameLink::TakeNextFrame() {
    CDataBuffer* frame = GetDataBuffer();
    return frame && SendBuffer(frame);
}

void CFrameLink::OnPacket(const char* packet, int length) {
    OnSCTPSessionReceivedData(const_cast<char*>(packet), length);
    if (WantsPass()) Pump();
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
    if (!IsSendIdle() || GetCount() > 0) MarkBusy();
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
    if (GetCount() > 0) MarkBusy();
    Pump();
}

bool CFrameLink::MayPump() const {
    if (!m_bHeld.load(std::memory_order_seq_cst)) return true;
    return m_bFirstLeaves.load(std::memory_order_seq_cst) && m_nMayLeave.load(std::memory_order_relaxed) > 0;
}

bool CFrameLink::SpendPacket(int length) {
    constexpr int kHeaders = 20 + 8 + 10;  // IP, UDP, envelope
    CFirstSends* first = m_pFirst.load(std::memory_order_relaxed);
    if (m_nMayLeave.load(std::memory_order_relaxed) <= 0) return false;
    if (first && !first->Spend(static_cast<uint64_t>(length + kHeaders))) return false;
    m_nMayLeave.fetch_sub(1, std::memory_order_relaxed);
    return true;
}

void CFrameLink::OfferOpening() {
    constexpr int kMaxOffers = 3;
    if (!m_bHeld.load(std::memory_order_relaxed) || m_nOffers.load(std::memory_order_relaxed) >= kMaxOffers) return;
    m_nMayLeave.fetch_add(1, std::memory_order_relaxed);
    if (m_nOffers.fetch_add(1, std::memory_order_relaxed) == 0) SendOpening();
    CAutoLock pump(&m_csPump);
    ProcessSend();
}

void CFrameLink::SendPacket(CSCTPPacket* packet) {
    if (m_bHeld.load(std::memory_order_relaxed) && !SpendPacket(packet->GetPacketDataLen())) return;
    CSCTPSession::SendPacket(packet);
}

void CFrameLink::DropQueue() {
    const int count = GetCount();
    const uint64_t cost = QueueCost();
    Flush();
    GiveBackTaken(cost);
    m_bOverrun.store(false, std::memory_order_relaxed);
    m_nFramesDropped.fetch_add(static_cast<uint64_t>(count), std::memory_order_relaxed);
    LinkRegistry().CountDropped(static_cast<uint64_t>(count));
}

void CFrameLink::DeliverFrame(char* frame, int length) {
    if (!m_pace.WasQuick()) FlushUdpBatch();  // acknowledgements must not wait for a slow application
    m_pace.Measure([&] { CallApplication([&] { OnSCTPSessionReceivedFrame(frame, length); }); });
}

void CFrameLink::MarkBusy() {
    if (!m_bBusy.exchange(true, std::memory_order_seq_cst)) CWorkSignal::Get().LinkBusy();
}

void CFrameLink::MarkIdle() {
    if (m_bBusy.exchange(false, std::memory_order_seq_cst)) CWorkSignal::Get().LinkIdle();
}

void CFrameLink::FillStatistics(LumoLinkStatistics& statistics) {
    const SessionStatistics session = GetStatistics();
    statistics = LumoLinkStatistics();
    DescribeLink(statistics);
    statistics.ullPacketsSent = session.packetsSent;
    statistics.ullPacketsReceived = session.packetsReceived;
    statistics.ullBytesSent = session.bytesSent;
    statistics.ullBytesReceived = session.bytesReceived;
    statistics.ullFramesSent = session.framesSent;
    statistics.ullFramesReceived = session.framesReceived;
    statistics.ullRetransmitted = session.retransmitted;
    statistics.ullDuplicates = session.duplicates;
    statistics.ullFramesDropped = m_nFramesDropped.load(std::memory_order_relaxed);
    statistics.ulRoundTripMs = session.roundTripMs;
    statistics.ulQueuedFrames = static_cast<unsigned long>(GetCount());
    statistics.ullQueuedBytes = GetByteCount();
}
