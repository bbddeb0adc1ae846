// The way of a publisher's frames into its channels.
#pragma once

#include "tools/lumo/net/relay_route.h"
#include "tools/lumo/seal/stream_seal.h"

#include <optional>
#include <string>

namespace lumo {

/// Seals each frame once for all ways, where there is a secret. One thread.
class CFrameOut {
public:
    void Begin(const RelayRoute& route, SealMedium medium) {
        m_sealer.emplace(route.secret, LumoSealStream{medium, SEAL_DOWN, route.channel});
    }
    /// Makes it what the channels get, which stays as it is until the next frame. False: they get nothing.
    template <class Byte>
    bool Seal(Byte*& data, int& length) {
        const bool done = m_sealer && m_sealer->Seal(data, length);
        m_bFailed = m_bFailed || !done;
        return done;
    }
    bool Seals() const { return m_sealer && m_sealer->Overhead() > 0; }
    bool Failed() const { return m_bFailed; }
    std::string Problem() const { return m_bFailed ? "a frame could not be sealed, and nothing is sent plain" : ""; }

private:
    std::optional<CStreamSealer> m_sealer;
    bool m_bFailed = false;
};

}  // namespace lumo
