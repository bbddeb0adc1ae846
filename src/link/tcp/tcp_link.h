// A TCP connection of a sender, receiver or client.
#pragma once

#include "core/wire/commands.h"
#include "core/wire/wire_io.h"
#include "link/activity.h"
#include "link/bounds/queue_limit.h"
#include "link/lock_order.h"
#include "link/process/link_registry.h"
#include "platform/lumobase/crit_sec.h"
#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/proxy_server.h"

#include <cstdint>
#include <string>

/// What a poll of an idle TCP link found.
enum class TcpPoll { NoClient, Lost, Alive };

/// A validation message: type, payload length, payload, big-endian.
wire::CWireWriter ValidationMessage(wire::TcpType type, const wire::CWireWriter& payload);

/// Whether a validation answer of four bytes came, and which value it carries.
bool ReadChannelAnswer(const char* data, int length, uint32_t& channelID);

/// What waits to be sent over a connection.
template <class TConnection>
uint64_t BytesWaiting(TConnection& connection) {
    return limits::QueueCost(connection.GetSendQueueBytes(), connection.GetSendQueueSize());
}

/// Dial, validation message, sends, idle keep-alive poll, queue size, release.
class CTcpLink : public ILinkReport {
public:
    /// `keepAlive`: the control byte that an idle link sends until SendControl names another.
    CTcpLink(wire::Kind kind, uint8_t keepAliveEvery, char keepAlive = 0)
        : m_kind(kind), m_cKeepAlive(keepAlive), m_keepAlive(keepAliveEvery) {}
    virtual ~CTcpLink() = default;

    /// Before Dial: for how long a frame may wait to be sent before it is dropped.
    void SetMaxAge(uint32_t milliseconds) { m_ulMaxAge = milliseconds; }
    /// False when no client could be made. Callbacks may run before it returns; each calls Settle first.
    bool Dial(ITcpClientNotify* notify, uint32_t ip, uint16_t port, const CProxyServer& proxy);
    /// Waits until a Dial on another thread has stored its client.
    void Settle() { CAutoLock lock(&m_cs); }

    void SendValidation(const wire::CWireWriter& message);
    /// False when there is no client, or when more waits than may: the link is lost then.
    bool SendFrame(const void* data, int length);
    /// The same for a frame that gives way to a newer one of its key, and that nothing else waits behind.
    bool SendNewest(uint64_t key, const void* data, int length);
    /// Sends a control byte, `alone` in place of all that waits; it is the keep-alive from now on.
    void SendControl(char control, bool alone);
    /// Drops what waits to be sent; the link is whole again.
    void ClearQueue();
    void RestartKeepAlive() { m_keepAlive.Restart(); }
    /// The application's poll. An idle link sends its one-byte keep-alive on every n-th.
    TcpPoll Poll();
    uint32_t QueuedFrames();
    uint64_t QueuedBytes();
    uint32_t RemoteIP();
    void FillStatistics(LumoLinkStatistics& statistics) override;
    /// For the log.
    const ITcpClient* Client() {
        CAutoLock lock(&m_cs);
        return m_pITcpClient;
    }
    /// Ends the connection; no callback runs after it returns. Not under a lock that a callback takes.
    void Release();

private:
    const wire::Kind m_kind;
    CCritSec m_cs{lock_order::kLeaf};
    ITcpClient* m_pITcpClient LUMO_GUARDED_BY(m_cs) = nullptr;
    CQueueLimit m_limit;
    char m_cKeepAlive LUMO_GUARDED_BY(m_cs);
    uint16_t m_usPort LUMO_GUARDED_BY(m_cs) = 0;
    CPollCount m_keepAlive;
    uint32_t m_ulMaxAge = 0;
    CLinkEntry m_entry;
};
