// The packets of a wide session that are not delivered yet: which have arrived, which are in flight, which are lost.
#pragma once

#include "core/wide/intervals.h"
#include "core/wide/path_model.h"
#include "core/wide/ring.h"
#include "core/wide/wide_packets.h"

#include <cstdint>

namespace wide {

/// What one packet carries. The memory is the frame's.
struct Piece {
    const char* payload = nullptr;
    int length = 0;
    bool begin = false;
    bool end = false;
};

/// Numbers are 64 bits here; the wire has their lower 32. Not synchronised.
class CFlight {
public:
    explicit CFlight(CPathModel& model) : m_model(model) {}

    void Open(uint64_t first);
    void Close() { Open(0); }

    /// The oldest packet that is not delivered, and the number of the next new one.
    uint64_t First() const { return m_packets.First(); }
    uint64_t Next() const { return m_packets.Next(); }
    bool IsEmpty() const { return m_packets.IsEmpty(); }
    /// Bytes that are on their way, with all headers.
    uint64_t InFlight() const { return m_nInFlight; }
    /// Numbers before this one may be sent: the far side has room.
    uint64_t Limit() const { return m_nLimit; }
    const Piece& At(uint64_t number) const { return m_packets[number].piece; }
    bool WasSent(uint64_t number) const { return m_packets[number].state != State::New; }
    /// When the oldest transmission left of which nothing is known yet; 0: none is in flight.
    uint64_t OldestSentAt();
    /// The newest packet that has not arrived. One has not.
    uint64_t LastMissing() const;

    /// A new packet, still to be sent; false without memory.
    bool Append(const Piece& piece);
    /// A packet leaves; gives the number of its transmission.
    uint32_t OnSent(uint64_t now, uint64_t number);
    /// A packet that left in the given form, whose transmissions nobody can tell apart.
    void Carry(uint64_t sentAt, uint64_t number);
    /// The oldest packet that is lost and not sent again, since all behind it waits for it; false: none is.
    bool FindLost(uint64_t& number);

    /// False for one that cannot be: it tells of packets that were never sent.
    bool OnAck(uint64_t now, const Ack& ack);
    /// An acknowledgement in the given form, of a packet that left in the given form.
    void OnGivenAck(uint64_t now, bool flag, uint64_t number);
    /// Looks for losses that time has shown. Gives when the next one may show, 0: none will.
    uint64_t FindLate(uint64_t now);

    /// The far side has acknowledged what was never sent to it.
    bool WasLiedTo() const { return m_bLiedTo; }
    uint64_t LostPackets() const { return m_nLost; }
    /// Bytes of the records that it keeps.
    uint64_t MemoryBytes() const {
        return m_packets.Capacity() * sizeof(Packet) + m_transmissions.Capacity() * sizeof(Transmission);
    }
    /// More records than a link without traffic should keep.
    bool HasMuchMemory() const;
    /// Of a flight that is empty.
    void GiveBackMemory();
    /// When anything new has last arrived.
    uint64_t ProgressAt() const { return m_nProgressAt; }

private:
    enum class State : uint8_t { New, InFlight, Lost, Arrived };
    struct Packet {
        Piece piece;
        State state = State::New;
        bool single = false;        // sent once
        uint64_t transmission = 0;  // the last one
    };
    struct Transmission {
        uint64_t number = 0;
        Stamp stamp;
        bool answered = false;
    };

    bool Unwrap(const Ack& ack, uint64_t& end);
    void Answer(uint64_t now, const Ack& ack);
    void Arrive(uint64_t now, uint64_t number);
    void DeliverBefore(uint64_t now, uint64_t end);
    bool HasDropped(const Ack& ack, uint64_t end) const;
    void ForgetArrived(uint64_t now, uint8_t givenBack);
    bool IsSettled(uint64_t transmission) const;
    void NoteReordering(uint64_t transmission);
    void FindLosses(uint64_t now);
    void Lose(Packet& packet, uint64_t number);
    void AddLost(uint64_t number) {
        m_lost.Add({number, number + 1}, [](uint64_t) {});
    }
    uint64_t LossDelay() const;
    uint32_t Cost(const Packet& packet) const {
        return static_cast<uint32_t>(packet.piece.length + session::kHeaderLen + kDatagramOverhead);
    }

    CPathModel& m_model;
    CRing<Packet> m_packets;
    CRing<Transmission> m_transmissions;
    CIntervals m_lost;         // some of them may have arrived or left again since
    CIntervals m_arrived;      // beyond First()
    uint64_t m_nScan = 0;      // transmissions before it are settled
    uint64_t m_nHighest = 0;   // the transmissions up to before this one: the latest that is known to have arrived
    uint64_t m_nAnswered = 0;  // of the acknowledgement that is being read; ~0: none
    uint64_t m_nReordering = 0;
    uint64_t m_nInFlight = 0;
    uint64_t m_nLimit = 0;
    uint64_t m_nLost = 0;
    uint64_t m_nProgressAt = 0;
    uint64_t m_nForgotAt = 0;
    uint64_t m_nLossAt = 0;
    uint8_t m_nGivenBack = 0;
    bool m_bLiedTo = false;
};

}  // namespace wide
