// What a session is beside the given one when its process wants wide sessions.
#pragma once

#include "core/lock_ranks.h"
#include "core/wide/agreement.h"
#include "core/wide/wide_receiver.h"
#include "core/wide/wide_sender.h"

#include <atomic>
#include <cstdint>

namespace wide {

/// Whether sessions that open from now on shall be wide towards far sides that are. Off at first. Any thread.
void SetWanted(bool wanted);
bool IsWanted();

/// The receiving half is the receiving thread's unless said otherwise; the sending half is used under the session's
/// window lock.
class CWideSession {
public:
    CWideSession(ISending& sending, IDelivering& delivering)
        : m_sender(sending), m_receiver(delivering, m_acks, kRankSessionHeld) {}

    void Open(uint32_t stranger);
    void Close();

    /// Both directions agree by themselves. Any thread.
    bool IsSending() const { return m_bSending.load(std::memory_order_acquire); }
    bool IsReceiving() const { return m_agreement.FarToken() != 0; }
    const CAgreement& Agreement() const { return m_agreement; }

    /// A data packet arrived. Receives it if the far side is known to be wide; true when that begins with it.
    bool HearsOffer(CSCTPPacket& packet);
    /// Takes the place of the given receiver, whose next number this is.
    void BeginReceiving(uint64_t next) { m_receiver.Open(next, m_ulStranger); }
    void Receive(uint64_t now, CSCTPPacket& packet);
    CWideReceiver& Receiver() { return m_receiver; }
    const CWideReceiver& Receiver() const { return m_receiver; }

    /// Writes an acknowledgement behind a header whose first 4 bytes are set but for the sequence; gives the whole
    /// length. Any thread.
    int WriteAckPacket(uint64_t now, CSCTPPacket& header);
    uint64_t AckDueAt() const { return m_acks.DueAt(); }
    /// The earliest of that and the next looks at a gap and at idle records. Any thread.
    uint64_t DueAt() const;

    CWideSender& Sender() { return m_sender; }
    const CWideSender& Sender() const { return m_sender; }
    /// Lets other threads see what the sender knows.
    void Show();
    /// When the sender has something to do that no acknowledgement brings about; 0: never. Any thread.
    uint64_t SendDueAt() const { return m_shown.sendDueAt.load(std::memory_order_relaxed); }
    /// When it wants to look whether it is idle; 0: never. Any thread.
    uint64_t IdleLookAt() const { return m_shown.idleLookAt.load(std::memory_order_relaxed); }
    /// Bytes that the sender keeps beside frames. Any thread.
    uint64_t RecordBytes() const { return m_shown.recordBytes.load(std::memory_order_relaxed); }
    void FillStatistics(SessionStatistics& statistics) const;
    void BeginSending() { m_bSending.store(true, std::memory_order_release); }

private:
    void Align(const Head& head);

    CAgreement m_agreement;
    std::atomic<bool> m_bSending{false};
    CAckState m_acks{kRankSessionAcks};
    CWideSender m_sender;
    CWideReceiver m_receiver;
    struct Shown {
        std::atomic<uint64_t> bandwidth{0}, smallestRoundTripUs{0}, roundTripUs{0}, inFlight{0}, lost{0}, sendDueAt{0},
            idleLookAt{0}, recordBytes{0};
    };

    Shown m_shown;
    uint32_t m_ulStranger = 0;
    uint32_t m_ulAligned = 0;    // the far token whose numbers are known
    uint64_t m_nGivenLimit = 0;  // packets of the given form are older than this number
};

}  // namespace wide
