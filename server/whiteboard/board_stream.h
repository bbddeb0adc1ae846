// A whiteboard's channel at the server. It has no publisher: everybody draws.
#pragma once

#include "lumomedia/whiteboard.h"
#include "server/stream.h"

#include <atomic>

/// Its subscribers are the sessions of clients; the leg to a far server is a session as well, and none of them.
class CBoardStream : public CStream, public CWBChannel {
public:
    CBoardStream(const CStreamName& name, const CServerLimits& limits);

    /// Those included who have not shown yet that they are there.
    size_t SinkCount() override;
    void Open() override { CWBChannel::Connect(); }
    /// Takes this one channel out and ends its sessions, nobody else's.
    void Close() override;

    void AddWBSession(CWBSession* session) override;
    void RemoveWBSession(CWBSession* session) override;
    void OnWBChannelData(unsigned long sessionID, const char* data, int len) override;
    void SendWBData(unsigned long sessionID, const char* data, int len) override;

protected:
    void SendToSinks(const void*, int) override {}  // the transfer centre does
    bool SendToLeg(const void*, int) override { return false; }
    void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) override;

private:
    std::atomic<bool> m_bLeg{false};
};
