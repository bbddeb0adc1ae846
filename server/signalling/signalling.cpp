#include "server/signalling/signalling.h"

#include "core/wire/wire_io.h"
#include "link/process/mcu_services.h"
#include "p2p/signal_frames.h"

#include <utility>

bool CSignalling::Refuse(uint32_t ip, Refusal why) {
    m_log.Refused(ip, why);
    return false;
}

bool CSignalling::MayCome(uint32_t userID, uint32_t ip) {
    CAutoLock lock(&m_cs);
    const auto found = m_clients.find(userID);
    if (found != m_clients.end()) return !found->second->IsOpen();
    return m_clients.size() < m_options.Limits().signallingClients || Refuse(ip, Refusal::Signalling);
}

bool CSignalling::OnTcp(ITcpSession* session, const char* data, int length) {
    if (!data || length != signalling::kUserIDLength) return false;
    const uint32_t userID = wire::CWireReader(data, length).U32();
    const auto ip = static_cast<uint32_t>(session->GetRemoteIP());
    CQuotaHold user, connection;
    if (userID == 0 || !MayCome(userID, ip)) return false;
    if (!connection.Take(m_connections, ip)) return Refuse(ip, Refusal::ConnectionsOfAddress);
    if (!user.Take(m_quotas, ip)) return Refuse(ip, Refusal::SignallingOfAddress);
    session->SetMaxReceivedFrame(signalling::kMaxFrame);
    if (!AcceptTcpSession(session)) return false;
    auto client = std::make_unique<CSignallingClient>(*this, session, userID, std::move(user), std::move(connection));
    LogClient(*client, "came");
    client->AnswerValidation();
    {
        CAutoLock lock(&m_cs);
        m_clients[userID].swap(client);
    }
    if (client) Release(*client);  // the one before
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
            if (!here->second->IsOpen())
                gone.insert(m_clients.extract(here));
            else
                here->second->OnSecond();
        }
    }
    for (const auto& entry : gone) Release(*entry.second);
}

// Outside the lock: it waits for a callback that may want it.
void CSignalling::Release(CSignallingClient& client) {
    client.End();
    LogClient(client, "left");
}

// A failure to say so must not keep the others from their end.
void CSignalling::LogClient(CSignallingClient& client, const char* what) noexcept {
    try {
        m_log.Line(LogKind::Signalling, [&] {
            const std::string address = EndpointText(client.Address().ip, client.Address().port);
            CLogLine line("signalling user " + std::to_string(client.UserID()) + " " + address + " " + what);
            line.fields = {{"event", what}, {"address", address}, {"user", client.UserID()}};
            return line;
        });
    } catch (...) {  // no memory for a line
    }
}

void CSignalling::CloseForeign() {
    CAutoLock lock(&m_cs);
    for (const auto& entry : m_clients)
        if (!m_options.Now().Allows(entry.second->Address().ip)) entry.second->CloseWhenSent();
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
    for (const auto& entry : all) Release(*entry.second);
}

CSignallingStatus CSignalling::Status() {
    CAutoLock lock(&m_cs);
    return {m_clients.size(), m_nForwarded, m_nDropped};
}
