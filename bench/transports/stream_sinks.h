// Subscribers of a stream, each behind a socket of its own, as those on many hosts are.
#pragma once

#include "bench/harness/driver.h"
#include "bench/harness/sockets.h"
#include "core/wire/wire_io.h"
#include "link/media.h"

#include <cstdint>
#include <span>
#include <vector>

namespace bench {

struct StreamSink {
    CSocket socket{SOCK_DGRAM};
    uint32_t receiverID = 0;
    uint32_t sinkID = 0;  // 0 until it is taken
    bool started = false;
};

/// One thread. Nothing may be published while it grows.
class CStreamSinks {
public:
    /// Listener::RelayServer asks a relay server, anything else a publisher.
    CStreamSinks(const CMediumRow& medium, uint16_t port, Listener where);

    /// Until there are so many and each is told frames; throws when that takes too long.
    void GrowTo(size_t count);
    std::span<StreamSink> All() { return m_sinks; }
    uint16_t Port() const { return m_usPort; }

private:
    static constexpr size_t kAtOnce = 32;  // a server takes 64 subscribers from one address on trust

    bool TakeAnswers(std::span<StreamSink> asking, int waitMs);
    void Ask(const StreamSink& sink) const;

    const CMediumRow& m_medium;
    const uint16_t m_usPort;
    const Listener m_where;
    std::vector<StreamSink> m_sinks;
};

}  // namespace bench
