// The sending half of the reliable session: numbers packets, keeps a window of them in flight, repeats them on a timer.
#pragma once

#include "core/lock_ranks.h"
#include "core/send_window.h"
#include "core/session_statistics.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstdint>

/// Any thread. Passes and acknowledgements are serialised by the window lock, which is held while packets are sent.
class CSCTPSessionSender {
public:
    CSCTPSessionSender() = default;
    virtual ~CSCTPSessionSender() = default;
    CSCTPSessionSender(const CSCTPSessionSender&) = delete;
    CSCTPSessionSender& operator=(const CSCTPSessionSender&) = delete;

    /// The next packet to enter the window, made by PreparePacket, or null.
    virtual CSCTPPacket* GetNextSendPacket() LUMO_REQUIRES(m_csWindow) = 0;
    virtual void SendPacket(CSCTPPacket* packet) LUMO_REQUIRES(m_csWindow) = 0;

    /// An acknowledgement arrived: with the flag everything up to the sequence is delivered, without it only that
    /// packet has arrived. The advertised window, clamped, becomes the window.
    void OnAck(bool flag, unsigned short sequence, unsigned char windowSize);
    /// One pass: admits one packet, sends at most four. The argument is ignored. True when it sent something.
    bool SendWindow(unsigned long resendTime);
    /// Both in one go, for the receive path: one lock and one reading of the clock.
    bool OnAckAndSendWindow(bool flag, unsigned short sequence, unsigned char windowSize);
    /// Numbers from 0 again; window and its size stay.
    void ResetSender();
    /// Deletes every packet of the window.
    void ClearSender();
    /// Whether nothing is in flight: one atomic load.
    bool IsWindowEmpty() const { return m_nInFlight.load(std::memory_order_acquire) == 0; }
    bool HasRoom() const {
        return m_nInFlight.load(std::memory_order_acquire) < m_ulWindowSize.load(std::memory_order_relaxed);
    }

    /// Payload sent, repetitions not counted. Any thread.
    uint64_t BytesFirstSent() const { return m_nBytesFirstSent.Get(); }
    /// The same with repetitions. Any thread.
    uint64_t BytesSent() const { return m_nBytesSent.Get(); }

protected:
    /// Whether packets in flight may still have been due when the last OnAckAndSendWindow had sent all it may.
    bool IsMoreDue() const { return m_bMoreDue.load(std::memory_order_relaxed); }
    /// An empty packet for GetNextSendPacket to fill and return; null without memory.
    CSCTPPacket* PreparePacket(int payloadLength) LUMO_REQUIRES(m_csWindow);
    void FillSenderStatistics(SessionStatistics& statistics) const;
    /// The number of the oldest packet of the window.
    uint64_t FirstNumber() const LUMO_REQUIRES(m_csWindow) { return m_nNext - m_window.Size(); }
    static uint32_t LastSent(const CSendPacket& packet) { return packet.m_ulLastSendTime; }
    const CSendWindow& Window() const LUMO_REQUIRES(m_csWindow) { return m_window; }
    /// What is in flight by another reckoning, which takes the window's place.
    void SetInFlight(uint64_t packets) LUMO_REQUIRES(m_csWindow) {
        m_nInFlight.store(static_cast<uint32_t>(packets), std::memory_order_release);
    }
    void FreeWindow() LUMO_REQUIRES(m_csWindow) { m_window.Clear(); }
    void CountSent(int payloadLength, bool again) LUMO_REQUIRES(m_csWindow);

    CCritSec m_csWindow{kRankSessionWindow};

private:
    void SetWindow(unsigned char advertised);
    uint32_t PassTime() const LUMO_REQUIRES(m_csWindow);
    void Acknowledge(bool flag, uint16_t sequence, uint32_t now) LUMO_REQUIRES(m_csWindow);
    bool RunPass(uint32_t now) LUMO_REQUIRES(m_csWindow);
    bool Admit() LUMO_REQUIRES(m_csWindow);
    bool SendDue(uint32_t first, uint32_t quiet, uint32_t now) LUMO_REQUIRES(m_csWindow);
    void Remove(uint32_t index) LUMO_REQUIRES(m_csWindow);
    void MeasureRoundTrip(uint32_t sample) LUMO_REQUIRES(m_csWindow);

    CSendWindow m_window LUMO_GUARDED_BY(m_csWindow);
    uint64_t m_nNext LUMO_GUARDED_BY(m_csWindow) = 0;  // number of the next packet; its lower half is the sequence
    // Since the last walk nothing that was in flight is due for this long, so that most passes look at one packet only.
    uint32_t m_ulLastWalk LUMO_GUARDED_BY(m_csWindow) = 0;
    uint32_t m_ulQuiet LUMO_GUARDED_BY(m_csWindow) = 0;

    std::atomic<uint32_t> m_ulWindowSize{session::kInitialWindow};
    std::atomic<bool> m_bMoreDue{false};
    std::atomic<uint32_t> m_nInFlight{0};          // counts a packet from before it leaves the queue
    std::atomic<uint32_t> m_ulRoundTripScaled{0};  // eight times the estimate

    // Written under the window lock.
    session::CCounter m_nPacketsSent;
    session::CCounter m_nBytesSent;
    session::CCounter m_nBytesFirstSent;
    session::CCounter m_nRetransmitted;
};
