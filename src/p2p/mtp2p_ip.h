// What is known of one peer.
#pragma once

#include "link/mcu_address.h"

#include <atomic>
#include <cstdint>

/// Shared by the peer map and the threads that work with it: a replaced entry lives on for those that hold it.
struct CMTP2PIP {
    static constexpr uint8_t kNegotiating = 0;
    static constexpr uint8_t kConnected = 1;  // a probe or its answer has come from this peer
    static constexpr uint8_t kFailed = 2;     // all punches are spent

    CMTP2PIP(uint32_t natIP, uint16_t natPort, uint32_t localIP, uint16_t localPort, bool upnp)
        : m_ulNATIP(natIP), m_usNATUDPPort(natPort), m_ulLocalIP(localIP), m_usLocalUDPPort(localPort), m_bUpnp(upnp) {}

    bool IsConnected() const { return m_byState.load(std::memory_order_relaxed) == kConnected; }
    bool IsFailed() const { return m_byState.load(std::memory_order_relaxed) == kFailed; }

    const uint32_t m_ulNATIP;              // public address
    std::atomic<uint16_t> m_usNATUDPPort;  // public port, corrected by what arrives
    const uint32_t m_ulLocalIP;            // LAN address
    const uint16_t m_usLocalUDPPort;       // LAN port, of its UDP endpoint and of its TCP listener
    std::atomic<uint8_t> m_byState{kNegotiating};
    std::atomic<uint8_t> m_byTryCount{0};  // punches asked for; wraps
    const bool m_bUpnp;                    // its LAN port is mapped to the public address
    CRemoteAddress m_heard;                // where its last probe or answer came from; unset until then
};
