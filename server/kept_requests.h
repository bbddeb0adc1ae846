// Requests of subscribers who ask only once, until somebody can serve them.
#pragma once

#include "link/mcu_address.h"
#include "link/unproved.h"
#include "server/home_key.h"
#include "server/medium_classes.h"
#include "server/server_constants.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

/// One per subscriber's address, channel and home: whoever asks anew has given up his request before. An address that
/// has its share gives up its own oldest. Under the gate.
class CKeptRequests {
public:
    struct Kept {
        CSinkRequest request;
        CMcuAddress home;  ///< the publisher's server, where the request names another
        uint32_t since;
    };

    CKeptRequests(size_t perAddress, const CCidrList& trusted) : m_order(server::kMaxUnproved, perAddress, trusted) {}

    void Keep(const CSinkRequest& request, const CMcuAddress& home, uint32_t now);
    /// Takes those of a channel out that mean the one at this home.
    std::vector<Kept> Take(uint32_t channelID, const CMcuAddress& home);
    void Forget(const CSinkRequest& request, const CMcuAddress& home);
    void ForgetOld(uint32_t now);
    /// Those that name another server.
    std::vector<Kept> Naming() const;
    size_t Count() const { return m_kept.size(); }

private:
    using Key = std::tuple<uint32_t, CMcuAddress, uint32_t, uint16_t>;  // channel, home, address, port

    static Key KeyOf(const CSinkRequest& request, const CMcuAddress& home) {
        return {request.channelID, HomeKey(home), request.peer.ip, request.peer.port};
    }
    void Erase(uint32_t number);

    CUnproved m_order;
    std::map<uint32_t, Kept> m_kept;  // by number
    std::map<Key, uint32_t> m_byKey;
    uint32_t m_ulLast = 0;  // number given
};
