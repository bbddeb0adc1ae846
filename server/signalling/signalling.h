// The signalling service: clients exchange command packets through it before they have a path of their own.
#pragma once

#include "link/bounds/address_quotas.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"
#include "server/live_options.h"
#include "server/server_log.h"
#include "server/signalling/signalling_client.h"
#include "server/status.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

/// Each client chooses its user ID, which belongs to the first client that names it. What it sends to another user is
/// forwarded unread, or dropped if that user is not connected.
class CSignalling {
public:
    CSignalling(const CLiveOptions& options, CAddressQuotas& connections, CServerLog& log)
        : m_options(options),
          m_quotas(options.Limits().signallingPerAddress, options.Now().Trusted()),
          m_connections(connections),
          m_log(log) {}
    ~CSignalling() { End(); }
    CSignalling(const CSignalling&) = delete;
    CSignalling& operator=(const CSignalling&) = delete;

    /// A validation with this payload; false refuses it. TCP thread.
    bool OnTcp(ITcpSession* session, const char* data, int length);
    /// One frame of a client; false closes its connection. TCP thread.
    bool OnFrame(CSignallingClient& from, const char* data, int length);
    /// Forgets clients that have gone. Worker.
    void OnSecond();

    /// Closes the connections of addresses that are not allowed any more.
    void CloseForeign();
    /// Lets what is queued leave, and closes.
    void CloseAll();
    /// Those whose connection is open.
    size_t CountOpen();
    /// No callback of a client comes after this.
    void End();

    CSignallingStatus Status();

private:
    using Clients = std::map<uint32_t, std::unique_ptr<CSignallingClient>>;

    bool MayCome(uint32_t userID, uint32_t ip);
    /// Counts and logs it; always false.
    bool Refuse(uint32_t ip, Refusal why);
    void Release(CSignallingClient& client);
    void LogClient(CSignallingClient& client, const char* what) noexcept;

    const CLiveOptions& m_options;
    CAddressQuotas m_quotas;
    CAddressQuotas& m_connections;  // of all media
    CServerLog& m_log;
    CCritSec m_cs{lock_order::kMediumTable};
    Clients m_clients LUMO_GUARDED_BY(m_cs);  // they come on the TCP thread only
    uint64_t m_nForwarded LUMO_GUARDED_BY(m_cs) = 0;
    uint64_t m_nDropped LUMO_GUARDED_BY(m_cs) = 0;
};
