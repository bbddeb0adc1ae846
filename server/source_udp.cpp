#include "server/source_udp.h"

#include "link/mcu_services.h"
#include "server/server_constants.h"
#include "server/source_plain.h"
#include "server/source_session.h"
#include "server/source_words.h"
#include "server/stream.h"

CSourceUDP::CSourceUDP(const CMediumRow& row, CStream& stream, std::unique_ptr<CClaim> claim)
    : m_row(row),
      m_stream(stream),
      m_pClaim(std::move(claim)),
      m_peer(m_pClaim->peer),
      m_ulSenderKey(m_pClaim->senderKey),
      m_activity(CActivity::Now()),
      m_ulLastKeepAlive(m_pClaim->askedAt),
      m_ulTold(m_pClaim->told) {
    m_remote.Set(m_peer.ip, m_peer.port);
}

std::unique_ptr<CSourceUDP> CSourceUDP::Make(const CMediumRow& row, CStream& stream, std::unique_ptr<CClaim> claim,
                                             const CServerLimits& limits) {
    if (!row.session) return std::make_unique<CSourcePlain>(row, stream, std::move(claim));
    return std::make_unique<CSourceSession>(row, stream, std::move(claim), limits);
}

void CSourceUDP::Welcome() {
    Acknowledge();
    if (m_row.Stops()) OnChange();
}

void CSourceUDP::OnConnect() {
    m_pClaim->owed = m_row.source.connectAcks;
    Acknowledge();
    Touch();
}

void CSourceUDP::Acknowledge() {
    for (int& owed = m_pClaim->owed; owed > 0; --owed)
        SendDatagram(SourceConnectAck(m_row, m_ulSenderKey, SourceID()), m_remote);
}

uint32_t CSourceUDP::Wanted() const { return m_row.Stops() ? m_stream.Wanted() : 0; }

void CSourceUDP::SendKeepAlive(uint32_t wanted) {
    m_ulLastKeepAlive.store(CActivity::Now(), std::memory_order_relaxed);
    m_ulTold.store(wanted, std::memory_order_relaxed);
    SendDatagram(SourceKeepAlive(m_row, m_ulSenderKey, wanted), m_remote);
    if (m_row.Stops()) FlushUdpBatch();  // another thread's next word must not overtake it
}

// Where it is started and stopped, only what differs from what it knows is news.
void CSourceUDP::OnChange() {
    if (!m_row.Stops() || Wanted() != m_ulTold.load(std::memory_order_relaxed)) SendKeepAlive(Wanted());
}

void CSourceUDP::TellToStop() {
    if (m_row.Stops()) SendDatagram(SourceKeepAlive(m_row, m_ulSenderKey, 0), m_remote);
}

void CSourceUDP::OnSecond() {
    const uint32_t since = ElapsedMs(CActivity::Now(), m_ulLastKeepAlive.load(std::memory_order_relaxed));
    if (since >= server::kKeepAliveEveryMs) Ask();
}

bool CSourceUDP::IsGone() { return m_activity.SilentFor(media::kGoneAfterMs); }
