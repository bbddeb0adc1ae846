// What link/ declares of the manager.
#include "link/process/mcu_services.h"

#include "core/session_constants.h"
#include "link/bounds/limits.h"
#include "mcu/manager_use.h"
#include "p2p/mtp2p.h"

#include <cassert>
#include <cstring>

void SendUdpData(const char* data, int length, uint32_t ip, uint16_t port) {
    const CManagerUse use;
    if (CLocalMCUManager* manager = use.Manager()) manager->SendUdpData(data, length, ip, port);
}

void SendPlainFrame(wire::CWireWriter head, const void* data, int length, const CRemoteAddress& to) {
    if (length < 0 || length > limits::kMaxPlainDatagram - head.Length()) return;
    SendDatagram(head.Bytes(data, length), to);
}

void SendInEnvelope(const wire::CWireWriter& envelope, char* packet, int length, const CRemoteAddress& to) {
    const int room = envelope.Length();
    assert(room <= session::kEnvelopeRoom);
    std::memcpy(packet - room, envelope.Data(), static_cast<size_t>(room));
    SendUdpData(packet - room, length + room, to.IP(), to.Port());
}

bool IsIntroducedPeer(uint32_t ip) {
    CMTP2P* peers = GetP2PMgr();
    return peers && peers->IsAnnounced(ip);
}

// In a callback of the listener, which the manager waits for before it goes.
bool AcceptTcpSession(ITcpSession* session) {
    CLocalMCUManager* manager = GetLocalMcuMgr();
    return manager && manager->AcceptTcpSession(session);
}

void FlushUdpBatch() {
    const CManagerUse use;
    if (IUdpClient* endpoint = use.Endpoint()) endpoint->FlushBatch();
}

// The endpoint may be closed in between: each end of the batch asks for it anew, and the endpoint forgives an end
// without a begin.
CUdpBatch::CUdpBatch() {
    const CManagerUse use;
    if (IUdpClient* endpoint = use.Endpoint()) endpoint->BeginBatch();
}

CUdpBatch::~CUdpBatch() {
    const CManagerUse use;
    if (IUdpClient* endpoint = use.Endpoint()) endpoint->EndBatch();
}
