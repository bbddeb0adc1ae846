// What the media need of the local MCU manager: a way out over UDP, and the confirmation of accepted TCP sessions.
// Declared here and defined above, so that no medium knows the manager.
#pragma once

#include "core/wire/wire_io.h"
#include "link/mcu_address.h"
#include "platform/lumobase/clock.h"

#include <cstdint>

class ITcpSession;

/// Sends one datagram through the process's endpoint; nothing without one. Never blocks.
void SendUdpData(const char* data, int length, uint32_t ip, uint16_t port);
inline void SendDatagram(const wire::CWireWriter& datagram, uint32_t ip, uint16_t port) {
    SendUdpData(datagram.Data(), datagram.Length(), ip, port);
}
inline void SendDatagram(const wire::CWireWriter& datagram, const CRemoteAddress& to) {
    SendDatagram(datagram, to.IP(), to.Port());
}
/// One frame behind its head as one datagram, when it fits the room of the media that send frames plainly; else it is
/// dropped. Nothing is allocated.
void SendPlainFrame(wire::CWireWriter head, const void* data, int length, const CRemoteAddress& to);
/// Writes the envelope into the room before a session packet and sends both as one datagram.
void SendInEnvelope(const wire::CWireWriter& envelope, char* packet, int length, const CRemoteAddress& to);

/// Whether the signalling has told of a peer at this address.
bool IsIntroducedPeer(uint32_t ip);

/// Confirms an accepted session inside its validate callback.
bool AcceptTcpSession(ITcpSession* session);

/// Sends what this thread has collected so far.
void FlushUdpBatch();

/// What the thread sends during this object's life leaves as one batch, stamped with one time. Nests.
class CUdpBatch {
public:
    CUdpBatch();
    ~CUdpBatch();
    CUdpBatch(const CUdpBatch&) = delete;
    CUdpBatch& operator=(const CUdpBatch&) = delete;

private:
    Lumo_Base::CTimeHold m_time;
};
