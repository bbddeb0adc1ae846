// Where the server may relay from.
#pragma once

#include "link/lock_order.h"
#include "link/mcu_address.h"
#include "platform/lumobase/crit_sec.h"
#include "server/live_options.h"

#include <cstdint>
#include <vector>

/// Never 0/8, multicast, reserved and broadcast addresses, or this host itself; of the rest what the operator listed,
/// or, without a list, everything but loopback (unless the server itself listens on loopback).
class CRelayPolicy {
public:
    explicit CRelayPolicy(const CLiveOptions& options) : m_options(options) {}

    /// Looks up this host's own addresses; before use and now and then.
    void Refresh();
    /// For tests: what Refresh would have found.
    void SetOwn(std::vector<uint32_t> own, std::vector<uint32_t> broadcast);

    bool Allows(uint32_t ip);
    /// Those of a request's addresses that are allowed, each once, in order, the first one as address 0; none without a
    /// port.
    CMcuAddress Filter(const CMcuAddress& asked);
    /// Whether one of the addresses is this host's own, with the port that this server serves.
    bool IsThisServer(const CMcuAddress& named, uint16_t ownPort);

private:
    bool IsOwn(uint32_t ip);
    bool IsBroadcast(uint32_t ip);

    const CLiveOptions& m_options;
    CCritSec m_cs{lock_order::kLeaf};
    std::vector<uint32_t> m_own LUMO_GUARDED_BY(m_cs);        // addresses of the interfaces
    std::vector<uint32_t> m_broadcast LUMO_GUARDED_BY(m_cs);  // and of everybody on their networks
};
