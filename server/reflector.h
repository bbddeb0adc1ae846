// Tells whoever asks which address it has, seen from here: so clients behind address translators learn theirs.
#pragma once

#include "core/wire/datagram.h"
#include "link/cidr.h"
#include "platform/lumonet/lumonet.h"

#include <atomic>
#include <cstdint>

/// Whether this body (the bytes after the kind) is a question. A longer one could be an answer: two reflectors that
/// answered it would never stop.
inline bool IsReflectorRequest(int bodyLength) { return bodyLength == 0; }
wire::CDatagram ReflectorAnswer(uint32_t ip, uint16_t port);

/// An endpoint of its own that answers nothing else: seen from a second port, a client learns whether its translator
/// gives it one address for all.
class CReflector final : public IUdpClientNotify {
public:
    /// Those in `allow` may ask; everybody when it is empty. The list outlives this.
    explicit CReflector(const CCidrList& allow) : m_allow(allow) {}
    ~CReflector();
    CReflector(const CReflector&) = delete;
    CReflector& operator=(const CReflector&) = delete;

    /// Port 0 takes any free one. False when the endpoint is not to be had.
    bool Open(uint32_t ip, uint16_t port);
    uint16_t Port() const;

    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port) override;

private:
    const CCidrList& m_allow;
    std::atomic<IUdpClient*> m_pEndpoint{nullptr};  // the receive thread may run before it is stored
};
