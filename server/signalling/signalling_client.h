// One client of the signalling service.
#pragma once

#include "link/activity.h"
#include "link/bounds/address_quotas.h"
#include "platform/lumonet/lumonet.h"
#include "server/status.h"

#include <cstdint>

class CSignalling;

/// What a client may say in a second.
class CSignallingPace {
public:
    enum class Verdict { Pass, Drop, Close };

    static constexpr int kFramesPerSecond = 100;
    static constexpr int kPatience = 2;  // seconds in a row over the limit that a hurried client may have

    Verdict OnFrame(uint32_t now);

private:
    bool m_bStarted = false;
    uint32_t m_ulSince = 0;
    int m_nFrames = 0;
    int m_nOver = 0;
};

/// The session is the network library's; End releases it.
class CSignallingClient final : public ITcpSessionNotify {
public:
    CSignallingClient(CSignalling& service, ITcpSession* session, uint32_t userID, CQuotaHold user,
                      CQuotaHold connection);

    /// Takes the session's frames and answers its validation. TCP thread, before anybody else knows of it.
    void AnswerValidation();
    /// Packet bytes of another client; false when they are dropped. Under the service's lock.
    bool Forward(uint32_t fromUserID, const char* packet, int length);
    /// The poll of every second: an idle connection shows by a keep-alive that it is broken.
    void OnSecond();
    bool IsOpen() { return !m_pSession->IsDisconnected(); }
    void CloseWhenSent() { m_pSession->CloseWhenSent(); }
    void End() { m_pSession->ReleaseConnections(); }

    uint32_t UserID() const { return m_ulUserID; }
    const CEndpointAddress& Address() const { return m_address; }
    CSignallingPace& Pace() { return m_pace; }

    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;

private:
    CSignalling& m_service;
    ITcpSession* const m_pSession;
    const uint32_t m_ulUserID;
    const CEndpointAddress m_address;
    const CQuotaHold m_user;  // units of its address's quotas, both
    const CQuotaHold m_connection;
    CSignallingPace m_pace;  // TCP thread
    CPollCount m_keepAlive;
};
