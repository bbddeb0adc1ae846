// The receiving half of the reliable session: acknowledges every packet, delivers each once and in order.
#pragma once

#include "core/held_packets.h"
#include "core/session_statistics.h"

#include <cstdint>
#include <memory>

/// No lock: one thread feeds, resets and clears it at a time.
class CSCTPSessionReceiver {
public:
    CSCTPSessionReceiver() = default;
    virtual ~CSCTPSessionReceiver() = default;
    CSCTPSessionReceiver(const CSCTPSessionReceiver&) = delete;
    CSCTPSessionReceiver& operator=(const CSCTPSessionReceiver&) = delete;

    /// The next packet in order; valid only during the call.
    virtual void OnReceivedPacket(CSCTPPacket* packet) = 0;
    virtual void SendAck(bool flag, unsigned short sequence) = 0;

    /// A data packet arrived, in whatever order.
    void OnPacket(CSCTPPacket packet);
    /// Waits for sequence 0 again; what is held stays.
    void ResetReceiver();
    /// Deletes what is held.
    void ClearReceiver() { m_held.Clear(); }

protected:
    void SetEarlyStranger(uint32_t ip) { m_held.SetStranger(ip); }
    /// The number after the last delivered one, counted from the first sequence 0.
    uint64_t NextNumber() const { return m_nDelivered; }
    /// Takes out what is held, oldest first; null when nothing is.
    std::unique_ptr<CSCTPPacket> TakeHeld() { return m_held.TakeOldest(); }
    uint64_t Duplicates() const { return m_nDuplicates.Get(); }

private:
    bool RejectRepeated(uint16_t sequence);
    void DeliverHeld();
    uint16_t Next() const { return static_cast<uint16_t>(m_usLastDelivered + 1); }

    CHeldPackets m_held;
    uint16_t m_usLastDelivered = UINT16_MAX;
    uint64_t m_nDelivered = 0;
    bool m_bStarted = false;  // sequence 0 has been seen
    session::CCounter m_nDuplicates;
};
