#include "server/sources/source_udp.h"

#include "link/process/mcu_services.h"
#include "server/channels/server_channel.h"
#include "server/server_constants.h"
#include "server/sources/source.h"
#include "server/sources/source_session.h"

CSourceUDP::CSourceUDP(const CMediumRow& row, CServerChannel& channel, std::unique_ptr<CClaim> claim)
    : m_row(row),
      m_channel(channel),
      m_pClaim(std::move(claim)),
      m_address(m_pClaim->address),
      m_ulSenderKey(m_pClaim->senderKey),
      m_activity(CActivity::Now()),
      m_ulLastKeepAlive(m_pClaim->askedAt - (server::kKeepAliveEveryMs - server::kFirstKeepAliveMs)),
      m_ulTold(m_pClaim->told) {
    m_remote.Set(m_address.ip, m_address.port);
}

std::unique_ptr<CSourceUDP> CSourceUDP::Make(const CMediumRow& row, CServerChannel& channel,
                                             std::unique_ptr<CClaim> claim, const CServerLimits& limits) {
    if (!row.session) return std::make_unique<CSourcePlain>(row, channel, std::move(claim));
    return std::make_unique<CSourceSession>(row, channel, std::move(claim), limits);
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

uint32_t CSourceUDP::Wanted() const { return m_row.Stops() ? m_channel.Wanted() : 0; }

void CSourceUDP::SendKeepAlive(uint32_t wanted) {
    m_ulLastKeepAlive.store(CActivity::Now(), std::memory_order_relaxed);
    m_ulTold.store(wanted, std::memory_order_relaxed);
    SendDatagram(SourceKeepAlive(m_row, m_ulSenderKey, wanted), m_remote);
    if (m_row.Stops()) FlushUdpBatch();  // another thread's next START or STOP must not overtake this one
}

// Where streams start and stop, a publisher is told only a number that differs from the last one.
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

void CSourcePlain::OnFrame(const char* data, int length) { m_channel.OnSourceFrame(data, length); }
