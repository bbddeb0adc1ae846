#include "server/signalling/reflector.h"

wire::CWireWriter ReflectorAnswer(uint32_t ip, uint16_t port) {
    return wire::CWireWriter().U8(static_cast<uint8_t>(wire::Kind::Stun)).U32(ip).U16(port);
}

CReflector::~CReflector() {
    if (IUdpClient* endpoint = m_pEndpoint.exchange(nullptr)) endpoint->ReleaseConnections();
}

bool CReflector::Open(uint32_t ip, uint16_t port) {
    m_pEndpoint = CreateUdpClientAt(this, {ip, port, ip == 0});
    return m_pEndpoint != nullptr;
}

uint16_t CReflector::Port() const {
    IUdpClient* endpoint = m_pEndpoint;
    return endpoint ? endpoint->GetLocalPort() : uint16_t{0};
}

void CReflector::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port) {
    if (length < 1 || static_cast<uint8_t>(data[0]) != static_cast<uint8_t>(wire::Kind::Stun)) return;
    const auto asker = static_cast<uint32_t>(ip);
    if (!IsReflectorRequest(length - 1) || !m_mayAsk(asker)) return;
    const wire::CWireWriter answer = ReflectorAnswer(asker, port);
    if (IUdpClient* endpoint = m_pEndpoint) endpoint->SendData(answer.Data(), answer.Length(), ip, port);
}
