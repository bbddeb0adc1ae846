// Requests of subscribers that ask only once, pending until their channel can be served.
#pragma once

#include "link/bounds/unvalidated.h"
#include "link/mcu_address.h"
#include "server/media/medium_adapter.h"
#include "server/server_constants.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <tuple>
#include <vector>

/// What tells the servers that requests name apart.
/// The same for one server in whatever order its addresses are named.
inline CMcuAddress HomeKey(CMcuAddress home) {
    std::sort(home.ips.begin(), home.ips.end(), std::greater<>());
    return home;
}

/// One per subscriber's address, channel and home: a new request replaces the one before. At its quota an address gives
/// up its own oldest. Under the gate.
class CPendingRequests {
public:
    struct Pending {
        CSinkRequest request;
        CMcuAddress home;  ///< the publisher's server, where the request names another
        uint32_t since;
    };

    CPendingRequests(size_t perAddress, const CCidrList& trusted)
        : m_order(server::kMaxUnvalidated, perAddress, trusted) {}

    void Add(const CSinkRequest& request, const CMcuAddress& home, uint32_t now);
    /// Takes out the requests for the channel of this home.
    std::vector<Pending> Take(uint32_t channelID, const CMcuAddress& home);
    void Forget(const CSinkRequest& request, const CMcuAddress& home);
    void ForgetOld(uint32_t now);
    /// The pending requests that name another server.
    std::vector<Pending> Naming() const;
    size_t Count() const { return m_pending.size(); }

private:
    using Key = std::tuple<uint32_t, CMcuAddress, uint32_t, uint16_t>;  // channel, home, address, port

    static Key KeyOf(const CSinkRequest& request, const CMcuAddress& home) {
        return {request.channelID, HomeKey(home), request.address.ip, request.address.port};
    }
    void Erase(uint32_t number);

    CUnvalidated m_order;
    std::map<uint32_t, Pending> m_pending;  // by number
    std::map<Key, uint32_t> m_byKey;
    uint32_t m_ulLast = 0;  // number given
};
