#include "platform/lumonet/tcp_session.h"

#include "platform/lumonet/tcp_server.h"

#include <algorithm>
#include <utility>

CTcpSession::CTcpSession(std::shared_ptr<CTcpServer> server, uint64_t id, asio::ip::tcp::socket socket, uint32_t ip,
                         uint16_t port)
    : CTcpConnection(ip), m_server(std::move(server)), m_nID(id), m_ulIP(ip), m_usPort(port) {
    m_socket = std::move(socket);
}

bool CTcpSession::Accept() {
    if (m_gate.IsReleased()) return false;
    if (!std::exchange(m_bAccepted, true)) Pin();
    return true;
}

void CTcpSession::SetNotify(ITcpSessionNotify* notify) {
    m_pNotify.store(notify, std::memory_order_release);
    m_gate.Drain();
    if (notify) Resume();
}

void CTcpSession::SetMaxReceivedFrame(unsigned long bytes) {
    SetMaxBody(static_cast<uint32_t>(std::min<unsigned long>(bytes, net::kMaxBody)));
}

bool CTcpSession::OnValidation(const CTcpValidation& validation) {
    const std::shared_ptr<CTcpServer> server = std::move(m_server);
    if (server->Validate(*this, validation) && m_bAccepted) return true;
    m_gate.Release();
    Unpin();
    if (m_queue.Count() == 0) return false;
    FinishSending();  // a refusal in words leaves before the connection ends
    return true;
}

CTcpSession::Verdict CTcpSession::OnFrame(const char* data, int length) {
    Verdict verdict = Verdict::Refused;
    GuardedCall(m_gate, [&] {
        // Read inside the gate: SetNotify waits there until the object before is no longer called.
        ITcpSessionNotify* notify = m_pNotify.load(std::memory_order_acquire);
        if (!notify) {
            verdict = Verdict::NotNow;
        } else if (notify->OnTcpSessionNotifyReceivedFrame(data, length)) {
            verdict = Verdict::Taken;
        }
        return true;
    });
    return verdict;
}

void CTcpSession::OnLost() {
    if (const std::shared_ptr<CTcpServer> server = std::move(m_server)) server->Forget(m_nID);
}
