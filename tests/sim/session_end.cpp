#include "sim/session_end.h"

#include <gtest/gtest.h>

#include <iterator>

namespace sim {

namespace {

const std::string kMark = "envelope..";

bool IsAck(const char* packet) { return (packet[2] & 0x1F) == session::SCTP_CMD_ACK; }

}  // namespace

CSessionEnd::CSessionEnd(CWorld& world, Address self, Address peer) : m_world(world), m_self(self), m_peer(peer) {
    EXPECT_TRUE(OpenSession());
    world.Attach(self, [this](const std::string& datagram, Address) { Hear(datagram); });
    world.AddTurn([this] { return Turn(); });
}

void CSessionEnd::Queue(std::vector<std::string> frames, bool allAtOnce) {
    m_bAllAtOnce = allAtOnce;
    for (const std::string& frame : frames) {
        const uint64_t pieces = (frame.size() + session::kPayloadLen - 1) / session::kPayloadLen;
        packets += pieces;
        m_nGroups += (pieces + session::kMinWindow - 1) / session::kMinWindow;
    }
    if (allAtOnce) m_nGroups = (packets + session::kMinWindow - 1) / session::kMinWindow;
    m_waiting.insert(m_waiting.end(), std::make_move_iterator(frames.begin()), std::make_move_iterator(frames.end()));
}

uint64_t CSessionEnd::Bound() {
    constexpr uint64_t kTick = 1;  // turns come once a millisecond
    constexpr uint64_t kClockWrap = 100;
    const uint64_t roundTrip = m_world.MaxDelay(m_self, m_peer) + m_world.MaxDelay(m_peer, m_self);
    const uint64_t lost = m_world.Link(m_self, m_peer).lost + m_world.Link(m_peer, m_self).lost;
    return m_nGroups * (roundTrip + kTick) + lost * (session::kMaxResendTimeout + kTick) + kClockWrap;
}

bool CSessionEnd::Turn() {
    while (!m_waiting.empty() && (m_bAllAtOnce || IsSendIdle())) {
        EXPECT_TRUE(SendFrame(m_waiting.front().data(), static_cast<int>(m_waiting.front().size())));
        m_waiting.pop_front();
    }
    return ProcessSend();
}

void CSessionEnd::Hear(const std::string& datagram) {
    if (datagram.compare(0, kEnvelope, kMark) != 0) {  // as the owner would
        ++foreign;
        return;
    }
    std::string packet = datagram.substr(kEnvelope);
    if (packet.size() >= session::kHeaderLen) ++(IsAck(packet.data()) ? acksHeard : dataHeard);
    OnSCTPSessionReceivedData(packet.data(), static_cast<int>(packet.size()));
}

void CSessionEnd::SendSCTPData(char* packet, int length) {
    if (IsAck(packet)) ++acksSaid;
    std::memcpy(packet - kEnvelope, kMark.data(), kEnvelope);  // the room before the packet is the owner's
    m_world.Send(m_self, m_peer, packet - kEnvelope, length + kEnvelope);
}

}  // namespace sim
