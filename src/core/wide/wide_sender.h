// The sending half of a wide session: several frames in flight, as fast as the path carries them.
#pragma once

#include "core/wide/flight.h"
#include "core/wide/wide_owner.h"
#include "platform/lumobase/data_buffer.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace wide {

/// Under the window lock of the session, which also reads the clock: microseconds.
class CWideSender {
public:
    explicit CWideSender(ISending& sending) : m_sending(sending) {}

    /// From now on packets leave in the wide form, numbered from `first` with those that Carry brings: `carried`
    /// packets that left in the given form and are not delivered, oldest first, and the frame that is partly cut. Their
    /// memory lives until HasCarried is false. Carry is false without memory, and then all has to stay as it was.
    void Open(uint64_t now, uint32_t token, uint64_t first, uint32_t carried, int payloadLength);
    bool Carry(uint64_t sentAt, const Piece& piece, bool arrived);
    void CarryFrame(std::unique_ptr<CDataBuffer> frame, int cut);
    bool HasCarried() const { return m_flight.First() < m_nFirstWide; }
    void Close();

    /// Sends what the path takes now. True when something left.
    bool Send(uint64_t now);
    void OnAck(uint64_t now, const Ack& ack);
    /// Of a packet that left in the given form; the sequence counts from number 0.
    void OnGivenAck(uint64_t now, bool flag, uint16_t sequence);
    /// Drops the rest of the frame that is being cut, unless there is no memory even for that.
    void DropUncut();

    /// Once a second a link with nothing in flight gives back the records that it does not need: more often a busy one
    /// would only make them anew.
    void LookWhetherIdle(uint64_t now);
    /// When it wants that next; 0: there is nothing to give back.
    uint64_t IdleLookAt() const { return m_nIdleLookAt; }

    /// The far side acknowledges what it cannot have: the link has to end.
    bool WasLiedTo() const { return m_flight.WasLiedTo(); }
    /// When Send has something to do again without an acknowledgement; 0: never.
    uint64_t DueAt() const { return m_nDueAt; }
    const CPathModel& Model() const { return m_model; }
    const CFlight& Flight() const { return m_flight; }

private:
    struct Frame {
        std::unique_ptr<CDataBuffer> data;
        uint64_t end;  // the number behind its last packet
    };

    bool HasFarRoom() const { return m_flight.Next() < m_flight.Limit(); }
    bool SendNext(uint64_t now);
    bool NextPiece(Piece& piece);
    bool SendNew(uint64_t now);
    bool SendBeyondRoom(uint64_t now);
    bool AddFrame();
    bool IsSkipped(uint64_t now, uint64_t number);
    void SendSkipped(uint64_t now);
    void PlanSkip(uint64_t notBefore, uint64_t after);
    uint64_t SkipEnds() const { return m_nSkippedAt + m_model.SmoothedRoundTrip() / 4; }
    void Transmit(uint64_t now, uint64_t number);
    bool Probe(uint64_t now);
    bool ProbeRoom(uint64_t now);
    uint64_t ProbeAt();
    uint64_t ProbeDelay() const;
    void Refill(uint64_t now);
    /// Bytes that the pace allows in so long.
    uint64_t Paced(uint64_t microseconds) const { return m_model.PacingRate() * microseconds / kUsPerSecond; }
    uint64_t Quantum() const;
    void FreeDelivered();
    void PlanNext(uint64_t now, uint64_t lossAt);

    ISending& m_sending;
    CPathModel m_model;
    CFlight m_flight{m_model};
    std::deque<Frame> m_frames;  // not wholly delivered, oldest first
    std::unique_ptr<CDataBuffer> m_pCutting;
    int m_nCut = 0;
    int m_nPayloadLength = static_cast<int>(session::kPayloadLen);
    std::vector<char> m_packet;  // the one that is being sent, with room for its envelope
    uint32_t m_ulToken = 0;
    uint64_t m_nFirstWide = 0;
    int64_t m_nCredit = 0;  // bytes that may leave
    int64_t m_nMissed = 0;  // bytes that the pace allowed while the thread was late
    bool m_bPaced = false;  // the pace alone holds back what waits
    uint64_t m_nCreditAt = 0;
    uint64_t m_nSentAt = 0;
    unsigned m_nProbes = 0;  // since anything new has arrived
    uint64_t m_nProbedAt = 0;
    uint64_t m_nSeenProgress = 0;
    uint64_t m_nDueAt = 0;
    uint64_t m_nIdleLookAt = 0;
    uint64_t m_nSkipNext = 0;  // the first number that may be skipped
    uint64_t m_nSkipNotBefore = 0;
    uint64_t m_nSkipped = 0;    // the one that is
    uint64_t m_nSkippedAt = 0;  // 0: none is
};

}  // namespace wide
