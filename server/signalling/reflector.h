// Tells clients the address that they have as seen from here, so that those behind a NAT learn their public one.
#pragma once

#include "core/wire/wire_io.h"
#include "platform/lumonet/lumonet.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>

/// Whether this body (the bytes after the kind) is a question. A longer one could be an answer: two reflectors that
/// answered it would never stop.
inline bool IsReflectorRequest(int bodyLength) { return bodyLength == 0; }
wire::CWireWriter ReflectorAnswer(uint32_t ip, uint16_t port);

/// An endpoint of its own that answers nothing else: seen from a second port, a client learns whether its NAT maps it
/// to one address for all destinations.
class CReflector final : public IUdpClientNotify {
public:
    /// `mayAsk` is asked on the endpoint's thread.
    explicit CReflector(std::function<bool(uint32_t ip)> mayAsk) : m_mayAsk(std::move(mayAsk)) {}
    ~CReflector();
    CReflector(const CReflector&) = delete;
    CReflector& operator=(const CReflector&) = delete;

    /// Port 0 takes any free one. False when the endpoint is not to be had.
    bool Open(uint32_t ip, uint16_t port);
    uint16_t Port() const;

    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port) override;

private:
    const std::function<bool(uint32_t ip)> m_mayAsk;
    std::atomic<IUdpClient*> m_pEndpoint{nullptr};  // the receive thread may run before it is stored
};
