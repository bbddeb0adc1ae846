#include "server/signalling.h"

#include "core/wire/datagram.h"
#include "link/mcu_services.h"
#include "p2p/signal_frames.h"
#include "server/server_options.h"

#include <utility>

bool CSignalling::MayCome(uint32_t userID) {
    CAutoLock lock(&m_cs);
    const auto found = m_clients.find(userID);
    if (found != m_clients.end()) return found->second->IsGone();
    return m_clients.size() < m_nMaxClients;
}

bool CSignalling::OnTcp(ITcpSession* session, const char* data, int length) {
    if (!data || length != signalling::kUserIDLength) return false;
    const uint32_t userID = wire::CWireReader(data, length).U32();
    if (userID == 0 || !MayCome(userID)) return false;
    session->SetMaxReceivedFrame(signalling::kMaxFrame);
    if (!AcceptTcpSession(session)) return false;
    auto client = std::make_unique<CSignallingClient>(*this, session, userID);
    m_log.Line("signalling user " + std::to_string(userID) + " " +
               EndpointText(client->Peer().ip, client->Peer().port) + " came");
    client->AnswerValidation();
    Clients replaced;
    {
        CAutoLock lock(&m_cs);
        const auto old = m_clients.find(userID);
        if (old != m_clients.end()) replaced.insert(m_clients.extract(old));
        m_clients[userID] = std::move(client);
    }
    Release(replaced);
    return true;
}

bool CSignalling::OnFrame(CSignallingClient& from, const char* data, int length) {
    const CSignallingPace::Verdict verdict = from.Pace().OnFrame(CActivity::Now());
    if (verdict == CSignallingPace::Verdict::Close || length > signalling::kMaxFrame) return false;
    if (length < signalling::kUserIDLength) return true;
    wire::CWireReader frame(data, length);
    const uint32_t target = frame.U32();
    CAutoLock lock(&m_cs);
    const auto found = m_clients.find(target);
    const bool forwarded = verdict == CSignallingPace::Verdict::Pass && found != m_clients.end() &&
                           found->second->Forward(from.UserID(), frame.Rest(), frame.Left());
    ++(forwarded ? m_nForwarded : m_nDropped);
    return true;
}

void CSignalling::OnSecond() {
    Clients gone;
    {
        CAutoLock lock(&m_cs);
        for (auto it = m_clients.begin(); it != m_clients.end();) {
            const auto here = it++;
            if (here->second->IsGone())
                gone.insert(m_clients.extract(here));
            else
                here->second->OnSecond();
        }
    }
    Release(gone);
}

// Outside the lock: it waits for a callback that may want it.
void CSignalling::Release(const Clients& gone) {
    for (const auto& entry : gone) {
        entry.second->End();
        m_log.Line("signalling user " + std::to_string(entry.first) + " " +
                   EndpointText(entry.second->Peer().ip, entry.second->Peer().port) + " left");
    }
}

void CSignalling::CloseAll() {
    CAutoLock lock(&m_cs);
    for (const auto& entry : m_clients) entry.second->CloseWhenSent();
}

size_t CSignalling::CountOpen() {
    size_t count = 0;
    CAutoLock lock(&m_cs);
    for (const auto& entry : m_clients) count += entry.second->IsOpen() ? 1 : 0;
    return count;
}

void CSignalling::End() {
    Clients all;
    {
        CAutoLock lock(&m_cs);
        all.swap(m_clients);
    }
    Release(all);
}

CSignallingStatus CSignalling::Status() {
    CAutoLock lock(&m_cs);
    return {m_clients.size(), m_nForwarded, m_nDropped};
}
