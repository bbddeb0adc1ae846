#include "server/signalling/signalling_client.h"

#include "link/tcp/tcp_link.h"
#include "link/tcp/tcp_sink.h"
#include "p2p/signal_frames.h"
#include "server/signalling/signalling.h"

#include <string>
#include <utility>

namespace {
constexpr uint8_t kKeepAliveEvery = 11;  // idle seconds
constexpr uint32_t kSecondMs = 1000;
}  // namespace

CSignallingPace::Verdict CSignallingPace::OnFrame(uint32_t now) {
    const uint32_t passed = ElapsedMs(now, m_ulSince);
    if (!m_bStarted || passed >= kSecondMs) {
        const bool goesOn = m_bStarted && m_nFrames > kFramesPerSecond && passed < 2 * kSecondMs;
        m_nOver = goesOn ? m_nOver + 1 : 0;
        m_bStarted = true;
        m_ulSince = now;
        m_nFrames = 0;
    }
    if (m_nOver >= kPatience) return Verdict::Close;
    return ++m_nFrames <= kFramesPerSecond ? Verdict::Pass : Verdict::Drop;
}

CSignallingClient::CSignallingClient(CSignalling& service, ITcpSession* session, uint32_t userID, CQuotaHold user,
                                     CQuotaHold connection)
    : m_service(service),
      m_pSession(session),
      m_ulUserID(userID),
      m_address{static_cast<uint32_t>(session->GetRemoteIP()), session->GetRemotePort()},
      m_user(std::move(user)),
      m_connection(std::move(connection)),
      m_keepAlive(kKeepAliveEvery) {}

void CSignallingClient::AnswerValidation() {
    m_pSession->SetNotify(this);
    m_pSession->SetMaxStall(kTakesNothingMs);
    const wire::CWireWriter answer = ValidationMessage(wire::TcpType::Signalling, wire::CWireWriter().U32(m_ulUserID));
    m_pSession->SendData(answer.Data(), answer.Length(), 1);
}

bool CSignallingClient::Forward(uint32_t fromUserID, const char* packet, int length) {
    const std::string frame = signalling::Frame(fromUserID, packet, length);
    if (m_pSession->GetSendQueueBytes() + frame.size() > signalling::kMaxQueueBytes) return false;
    m_pSession->SendData(frame.data(), static_cast<int>(frame.size()), 0);
    m_keepAlive.Restart();
    return true;
}

void CSignallingClient::OnSecond() {
    if (m_pSession->GetSendQueueSize() != 0 || !m_keepAlive.Poll()) return;
    const char keepAlive = 0;
    m_pSession->SendData(&keepAlive, 1, 0);
}

bool CSignallingClient::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    return m_service.OnFrame(*this, data, length);
}
