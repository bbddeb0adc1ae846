// A peer's receiver attached to a channel of this host over TCP.
#pragma once

#include "file/file_sink.h"
#include "link/activity.h"
#include "platform/lumonet/lumonet.h"

#include <atomic>

class CFileSinkTCP : public CFileSink, public ITcpSessionNotify {
public:
    CFileSinkTCP(CFileChannel& channel, ITcpSession* session);

    /// Takes the session's frames and answers its validation: before the sink enters its channel.
    void AnswerValidation();

    void ReleaseConnections() override;
    bool IsDisconnected() override;
    void OnFileChannelData(const void* data, int length) override;
    uint32_t GetBufferingFrameCount() override;
    bool OnTcpSessionNotifyReceivedFrame(const char* data, int length) override;
    void CloseWhenSent() override;

    uint32_t GetRemoteIP() const { return m_ulRemoteIP; }
    uint16_t GetRemotePort() const { return m_usRemotePort; }

private:
    bool HasRoom();

    ITcpSession* m_pITcpSession;  // owned by the network library; ended by ReleaseConnections
    CPollCount m_keepAlive;
    const uint64_t m_nQueueLimit;
    std::atomic<bool> m_bOverrun{false};  // more waits than may: the sink goes at the next sweep
    const uint32_t m_ulRemoteIP;
    const uint16_t m_usRemotePort;
};
