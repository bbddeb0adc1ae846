// A local MCU with a peer-to-peer manager, as an application makes them.
#pragma once

#include "support/p2p_peer.h"
#include "support/test_manager.h"

#include <cstdint>
#include <string>
#include <vector>

struct CPeerScene {
    static constexpr uint32_t kUser = 8;  // the peer

    static constexpr uint32_t kOwnIP = 0x05060708;

    CPeerScene() : p2p(CreateP2P(app)) { app.item = Item(kOwnIP, 1234, 0xc0a80105, 40000); }
    ~CPeerScene() {
        host.Release();
        p2p->ReleaseConnections();
    }
    CPeerScene(const CPeerScene&) = delete;
    CPeerScene& operator=(const CPeerScene&) = delete;

    void Command(const std::string& type, uint32_t from = kUser) { Command(PeerPacket(type, from)); }
    void Command(const std::string& type, const P2PItem& item, uint32_t from = kUser) {
        Command(PeerPacket(type, from, item));
    }
    void Command(CCmdPacket cmd) { p2p->OnReceivedP2PCmd(cmd); }
    /// A probe, or the answer to one.
    void Probe(const char* kind, uint32_t user, uint32_t ip = CTestHost::kPeerIP) {
        host.Deliver(Hex(kind) + std::string(reinterpret_cast<const char*>(&user), sizeof user), ip);
    }
    P2PPeer Peer(uint32_t user = kUser) const {
        P2PPeer peer{};
        if (!GetP2PPeer(user, peer)) peer.byState = 0xff;
        return peer;
    }

    static P2PItem FarItem() { return Item(0x0a000002, 7001, 0xc0a80202, 40000); }

    CP2PApplication app;
    IP2P* p2p;
    CTestHost host;
};

inline constexpr const char* kTypes[] = {"P2P_START",   "P2P_START_ACK", "P2P_CMD",
                                         "P2P_CMD_ACK", "P2P_FETCH",     "P2P_FETCH_ACK"};
inline constexpr unsigned char kUnknown = 0xff, kNegotiating = 0, kConnected = 1, kFailed = 2;
