// Connections through a proxy: libcurl talks to it, the caller gets the connected socket.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "platform/lumonet/proxy_failure.h"
#include "platform/lumonet/proxy_server.h"

#include <cstdint>
#include <functional>
#include <string>

/// One dial in progress. All dials share one thread, which lives while there is any.
class CProxyDial {
public:
    /// Called once on the dial thread, unless cancelled before: the connected socket, or none and why.
    using Done = std::function<void(CFileDescriptor, const CProxyFailure&)>;

    CProxyDial() = default;
    /// Throws when the dial cannot begin.
    CProxyDial(const CProxyServer& proxy, const std::string& targetIP, uint16_t targetPort, Done done);
    ~CProxyDial() { Cancel(); }
    CProxyDial(CProxyDial&& other) noexcept : m_nID(std::exchange(other.m_nID, 0)) {}
    CProxyDial& operator=(CProxyDial&& other) noexcept {
        std::swap(m_nID, other.m_nID);
        return *this;
    }

    /// Returns at once; Done may still be running on the dial thread.
    void Cancel();

private:
    uint64_t m_nID = 0;
};
