// What link/ declares of the manager.
#include "link/mcu_services.h"

#include "core/session_constants.h"
#include "mcu/local_mcu_manager.h"

#include <cassert>
#include <cstring>

namespace {

IUdpClient* Endpoint() {
    CLocalMCUManager* manager = GetLocalMcuMgr();
    return manager ? manager->UdpEndpoint() : nullptr;
}

}  // namespace

void SendUdpData(const char* data, int length, uint32_t ip, uint16_t port) {
    if (CLocalMCUManager* manager = GetLocalMcuMgr()) manager->SendUdpData(data, length, ip, port);
}

void SendInEnvelope(const wire::CDatagram& envelope, char* packet, int length, const CRemoteAddress& to) {
    const int room = envelope.Length();
    assert(room <= session::kEnvelopeRoom);
    std::memcpy(packet - room, envelope.Data(), static_cast<size_t>(room));
    SendUdpData(packet - room, length + room, to.IP(), to.Port());
}

bool AcceptTcpSession(ITcpSession* session) {
    CLocalMCUManager* manager = GetLocalMcuMgr();
    return manager && manager->AcceptTcpSession(session);
}

void FlushUdpBatch() {
    if (IUdpClient* endpoint = Endpoint()) endpoint->FlushBatch();
}

// The endpoint may be closed in between: each end of the batch asks for it anew, and the endpoint forgives an end
// without a begin.
CUdpBatch::CUdpBatch() {
    if (IUdpClient* endpoint = Endpoint()) endpoint->BeginBatch();
}

CUdpBatch::~CUdpBatch() {
    if (IUdpClient* endpoint = Endpoint()) endpoint->EndBatch();
}
