// A publisher over TCP.
#pragma once

#include "link/activity.h"
#include "link/bounds/address_quotas.h"
#include "link/bounds/queue_limit.h"
#include "platform/lumonet/lumonet.h"
#include "server/server_options.h"
#include "server/sources/source.h"

#include <atomic>

class CServerChannel;

/// Lives as long as its connection.
class CSourceTCP : public CSource, public ITcpSessionNotify {
public:
    CSourceTCP(const CMediumRow& row, CServerChannel& channel, ITcpSession* session, const CServerLimits& limits,
               CQuotaHold connection);

    /// Takes the session's frames and answers its validation. Under the gate.
    void AnswerValidation();

    bool SendUpstream(const void* data, int length) override;
    bool IsGone() override { return m_pSession->IsDisconnected(); }
    void RequestKeyFrame() override;
    void OnChange() override;
    void OnSecond() override;
    void TellToStop() override;
    void End() override { m_pSession->ReleaseConnections(); }
    bool CloseWhenSent() override;
    CSourceStatus Status() override;

    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;

private:
    /// The control byte that says whether anybody listens; where publishers are not told, always the same.
    char Control() const;
    void SendControl(char control);

    const CMediumRow& m_row;
    CServerChannel& m_channel;
    ITcpSession* const m_pSession;  // the network library's; ended by End
    const CQueueLimit m_limit;      // of what subscribers send it
    const CEndpointAddress m_address;
    const CQuotaHold m_connection;  // a unit of its address's quota
    CPollCount m_keepAlive;
    std::atomic<char> m_cTold{0};
};
