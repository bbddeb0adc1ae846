// The application's side of the peer-to-peer manager, and the packets that a peer sends.
#pragma once

#include "support/test_manager.h"

#include "lumomedia/p2p.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

inline P2PItem Item(uint32_t natIP, uint16_t natPort, uint32_t localIP, uint16_t localPort, bool upnp = false) {
    return {localIP, natIP, localPort, natPort, 0, upnp};
}

inline CCmdPacket PeerPacket(const std::string& type, uint32_t from) {
    CCmdPacket cmd;
    cmd.PutAttrib("p2ptype", type);
    cmd.SetFromUID(from);
    return cmd;
}
inline CCmdPacket PeerPacket(const std::string& type, uint32_t from, const P2PItem& item) {
    CCmdPacket cmd = PeerPacket(type, from);
    cmd.PutAttribUL("localip", item.ulLocalIP);
    cmd.PutAttribUL("natip", item.ulNATIP);
    cmd.PutAttribUS("localudpport", item.usLocalUDPPort);
    cmd.PutAttribUS("natudpport", item.usNATUDPPort);
    cmd.PutAttribUS("nattype", item.usNATType);
    cmd.PutAttribBL("upnp", item.bUpnp);
    return cmd;
}

/// One user: what it announces, and what the manager told it.
class CP2PApplication : public IP2PNotify {
public:
    explicit CP2PApplication(uint32_t id = 7) : userID(id) {}
    virtual ~CP2PApplication() = default;

    void OnP2PNotifySendCmd(unsigned long ulUserID, CCmdPacket& cmd) override {
        sent.push_back(cmd.GetAttrib("p2ptype") + " " + std::to_string(ulUserID));
        last = cmd;
    }
    void OnP2PNotifyGetP2PItem(P2PItem& announced) override { announced = item; }
    unsigned long OnP2PNotifyGetUserID() override { return userID; }
    void OnP2PNotifyNATAddress(unsigned long ulNATIP, unsigned short usNATPort) override {
        natAddresses.emplace_back(static_cast<uint32_t>(ulNATIP), usNATPort);
    }

    /// Type and target of what was sent since the last call.
    std::vector<std::string> TakeSent() { return std::exchange(sent, {}); }

    uint32_t userID;
    P2PItem item{};
    CCmdPacket last;
    std::vector<std::string> sent;
    std::vector<std::pair<uint32_t, uint16_t>> natAddresses;
};

/// The peer-to-peer manager of a host, and a peer with a public address that answers it.
class CAnsweringPeer {
public:
    CAnsweringPeer() : m_pP2P(CreateP2P(m_app)) {}
    ~CAnsweringPeer() { m_pP2P->ReleaseConnections(); }

    void Announce(const char* type, uint32_t userID) {
        const auto item = Item(CTestHost::kPeerIP, CTestHost::kPeerPort, CTestHost::kPeerIP, CTestHost::kPeerPort);
        CCmdPacket cmd = PeerPacket(type, userID, item);
        m_pP2P->OnReceivedP2PCmd(cmd);
    }

private:
    CP2PApplication m_app;
    IP2P* m_pP2P;
};
