// One end of a reliable session in the simulated world, with the pump that an owner would run.
#pragma once

#include "core/sctp_session.h"
#include "sim/harness.h"

#include <deque>
#include <string>
#include <vector>

namespace sim {

class CSessionEnd : public CSCTPSession {
public:
    static constexpr int kEnvelope = 10;  // as long as the longest of the media
    static_assert(kEnvelope <= session::kEnvelopeRoom);

    CSessionEnd(CWorld& world, Address self, Address peer);
    ~CSessionEnd() override { CloseSession(); }

    /// Frames to send. One enters the session when the one before is wholly acknowledged, or all at once.
    void Queue(std::vector<std::string> frames, bool allAtOnce);
    /// Closes, and drops what waits and what has come.
    void Forget() {
        CloseSession();
        m_waiting.clear();
        received.clear();
    }
    bool IsDone() { return m_waiting.empty() && IsSendIdle(); }
    /// The latest end of the transfer of the queued frames, in ms from the world's begin:
    /// packets enter the window in groups of at least 16 (and no frame shares one with the next unless all are queued
    /// at once), and a group enters once the one before it is settled. A group of which no datagram is lost is settled
    /// one round trip after it entered, and each lost datagram, data or acknowledgement, puts the settling off by one
    /// time-out, 1000 ms at most. The clock's wrap may hold a new packet back for 100 ms.
    uint64_t Bound();

    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        received.emplace_back(frame, static_cast<size_t>(length));
    }
    void SendSCTPData(char* packet, int length) override;

    std::vector<std::string> received;
    uint64_t packets = 0;    // that the queued frames make
    uint64_t dataHeard = 0;  // whole packets given to the session
    uint64_t acksHeard = 0;
    uint64_t acksSaid = 0;
    uint64_t foreign = 0;  // without a whole envelope

private:
    bool Turn();
    void Hear(const std::string& datagram);

    CWorld& m_world;
    const Address m_self, m_peer;
    std::deque<std::string> m_waiting;
    bool m_bAllAtOnce = false;
    uint64_t m_nGroups = 0;
};

}  // namespace sim
