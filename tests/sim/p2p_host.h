// A host of a simulated network with a local MCU, a peer-to-peer manager and an application that does what it should.
#pragma once

#include "sim/nat.h"
#include "sim/nodes.h"
#include "support/medium_app.h"
#include "support/p2p_peer.h"

#include <cstdint>
#include <memory>
#include <string>

namespace sim {

/// Publishes files, and takes those of user CMediumApp::kPeerUser.
class CP2PHost : public CNode, public CP2PApplication {
public:
    static constexpr uint16_t kPort = 40000;
    static constexpr uint16_t kSignalling = 1;  // the network number of the signalling channel in the world

    CP2PHost(CWorld& world, CFakeNet& net, CNetwork& network, uint32_t address, uint32_t id)
        : CNode(world, net, {address, kPort}), CP2PApplication(id), ip(address), m_network(network) {
        Do([&] {
            p2p = CreateP2P(*this);
            app = kFile.make(CMediumApp::kChannelID);
        });
        m_network.Join(ip, [this](const Packet& packet) { Hear(packet.bytes, packet.from); });
        m_world.Attach({id, kSignalling}, [this](const std::string& bytes, Address from) { OnCommand(bytes, from); });
    }
    ~CP2PHost() override {
        Do([&] {
            receiver.Release();
            app->ReleaseChannel();
            app.reset();
        });
        Release();
        Do([&] { p2p->ReleaseConnections(); });
    }
    void OnP2PNotifySendCmd(unsigned long ulUserID, CCmdPacket& cmd) override {
        const std::string bytes = cmd.Serialize();
        m_world.Send({userID, kSignalling}, {static_cast<uint32_t>(ulUserID), kSignalling}, bytes.data(),
                     static_cast<int>(bytes.size()));
    }
    void OnP2PNotifyGetP2PItem(P2PItem& announced) override {
        announced.ulLocalIP = ip;
        announced.usLocalUDPPort = kPort;
        if (natAddresses.empty()) return;
        announced.ulNATIP = natAddresses.front().first;
        announced.usNATUDPPort = natAddresses.front().second;
    }

    const uint32_t ip;
    int probes = 0;  // that left this host
    IP2P* p2p = nullptr;
    std::unique_ptr<CMediumApp> app;
    CMade receiver;

private:
    void Send(const CSentDatagram& one) override {
        probes += one.bytes[0] == 2 ? 1 : 0;
        m_network.Send({m_address, {one.ip, one.port}, one.bytes});
    }
    void OnCommand(const std::string& bytes, Address from) {
        CCmdPacket cmd;
        if (!CCmdPacket::Parse(bytes, cmd)) return;
        cmd.SetFromUID(from.ip);
        Do([&] { p2p->OnReceivedP2PCmd(cmd); });
    }

    CNetwork& m_network;
};

}  // namespace sim
