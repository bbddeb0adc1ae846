#include "p2p/p2p_packets.h"

namespace p2p {

void PutItem(CCmdPacket& cmd, const P2PItem& item) {
    cmd.PutAttribUL("localip", item.ulLocalIP);
    cmd.PutAttribUL("natip", item.ulNATIP);
    cmd.PutAttribUS("localudpport", item.usLocalUDPPort);
    cmd.PutAttribUS("natudpport", item.usNATUDPPort);
    cmd.PutAttribUS("nattype", item.usNATType);
    cmd.PutAttribBL("upnp", item.bUpnp);
}

P2PItem GetItem(const CCmdPacket& cmd) {
    P2PItem item{};
    item.ulLocalIP = cmd.GetAttribUL("localip");
    item.ulNATIP = cmd.GetAttribUL("natip");
    item.usLocalUDPPort = cmd.GetAttribUS("localudpport");
    item.usNATUDPPort = cmd.GetAttribUS("natudpport");
    item.usNATType = cmd.GetAttribUS("nattype");
    item.bUpnp = cmd.GetAttribBL("upnp");
    return item;
}

wire::CWireWriter Probe(wire::Kind kind, uint32_t userID) {
    char user[kProbeBody];
    Lumo_Base::PutLittleEndian(user, userID);
    return wire::CWireWriter().U8(static_cast<uint8_t>(kind)).Bytes(user, kProbeBody);
}

uint32_t ProbeUser(const char* body) { return Lumo_Base::LittleEndian(body, kProbeBody); }

bool IsHostAddress(uint32_t ip, uint16_t port) {
    const uint32_t first = ip >> 24;
    return first != 0 && first < 224 && port != 0;  // from 224 on: multicast, reserved, broadcast
}

}  // namespace p2p
