#include "server/source_udp.h"

#include "link/mcu_services.h"
#include "server/server_constants.h"
#include "server/source_plain.h"
#include "server/source_session.h"
#include "server/stream.h"

using wire::CDatagram;

CSourceUDP::CSourceUDP(const CSourceProfile& profile, CStream& stream, const CPeer& peer, uint32_t senderKey)
    : m_profile(profile),
      m_stream(stream),
      m_peer(peer),
      m_ulSenderKey(senderKey),
      m_ulChannelID(stream.ChannelID()),
      m_activity(CActivity::Now()),
      m_ulLastKeepAlive(CActivity::Now()) {
    m_remote.Set(peer.ip, peer.port);
}

std::unique_ptr<CSourceUDP> CSourceUDP::Make(const CSourceProfile& profile, CStream& stream, const CPeer& peer,
                                             uint32_t senderKey, const CServerLimits& limits) {
    if (!profile.session) return std::make_unique<CSourcePlain>(profile, stream, peer, senderKey);
    return std::make_unique<CSourceSession>(profile, stream, peer, senderKey, limits);
}

// A stranger gets one answer and the question that makes it prove itself; the repetition of the answer waits until it
// has, since either may be lost and what the budget leaves is for asking again.
void CSourceUDP::OnConnect(int length) {
    m_nOwed = m_profile.acknowledgements;
    if (IsProved()) {
        Acknowledge();
        Touch();
        return;
    }
    m_budget.Received(length);
    if (m_budget.Spend(ConnectAck().Length())) {
        SendDatagram(ConnectAck(), m_remote);
        --m_nOwed;
    }
    Ask();
}

void CSourceUDP::Acknowledge() {
    for (; m_nOwed > 0; --m_nOwed) SendDatagram(ConnectAck(), m_remote);
}

// A second START has no room, but a STOP has, and its answer proves the publisher as well: START follows then.
void CSourceUDP::Ask() {
    const uint32_t wanted = Wanted();
    if (m_budget.Spend(KeepAlive(wanted).Length())) return SendKeepAlive(wanted);
    if (wanted != 0 && m_budget.Spend(KeepAlive(0).Length())) SendKeepAlive(0);
}

CDatagram CSourceUDP::ConnectAck() const {
    return CDatagram(m_profile.kind, m_profile.connectAck).U32(m_ulSenderKey).U32(SourceID()).U32(0);
}

uint32_t CSourceUDP::Wanted() const { return m_profile.Stops() ? m_stream.Wanted() : 0; }

CDatagram CSourceUDP::KeepAlive(uint32_t wanted) const {
    if (m_profile.Stops() && wanted == 0) return CDatagram(m_profile.kind, m_profile.stop).U32(m_ulSenderKey);
    CDatagram datagram(m_profile.kind, m_profile.keepAlive);
    datagram.U32(m_ulSenderKey);
    return m_profile.Stops() ? datagram.U32(wanted) : datagram;
}

void CSourceUDP::Prove() {
    if (m_bProved.exchange(true, std::memory_order_relaxed)) return;
    Acknowledge();
    if (m_profile.Stops()) m_stream.OnSinksChanged();  // before what has been kept for it
    OnProved();
}

void CSourceUDP::SendKeepAlive(uint32_t wanted) {
    m_ulLastKeepAlive.store(CActivity::Now(), std::memory_order_relaxed);
    m_ulTold.store(wanted, std::memory_order_relaxed);
    SendDatagram(KeepAlive(wanted), m_remote);
    if (m_profile.Stops()) FlushUdpBatch();  // another thread's next word must not overtake it
}

// Where it is started and stopped, only what differs from what it knows is news.
void CSourceUDP::OnChange() {
    if (!IsProved()) return;
    if (!m_profile.Stops() || Wanted() != m_ulTold.load(std::memory_order_relaxed)) SendKeepAlive(Wanted());
}

void CSourceUDP::TellToStop() {
    if (m_profile.Stops() && IsProved()) SendDatagram(KeepAlive(0), m_remote);
}

void CSourceUDP::OnSecond() {
    const uint32_t since = ElapsedMs(CActivity::Now(), m_ulLastKeepAlive.load(std::memory_order_relaxed));
    if (since < server::kKeepAliveEveryMs) return;
    if (IsProved())
        SendKeepAlive(Wanted());
    else
        Ask();
}

bool CSourceUDP::GivesWay() { return m_activity.SilentFor(server::kGivesWayAfterMs); }

bool CSourceUDP::IsGone() { return m_activity.SilentFor(server::kSourceGoneAfterMs); }
