// A host of a simulated network with a local MCU, a peer-to-peer manager and an application that does what it should.
#pragma once

#include "link/process/instances.h"
#include "lumomedia/file.h"
#include "sim/nat.h"
#include "support/p2p_peer.h"
#include "support/test_manager.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// The world's network library must be a CFakeNet that outlives the host.
class CP2PHost : public CP2PApplication, public IFileReceiverNotify {
public:
    static constexpr uint32_t kChannelID = 77;
    static constexpr uint16_t kSignalling = 1;  // the network number of the signalling channel in the world

    CP2PHost(CWorld& world, CFakeNet& net, CNetwork& network, uint32_t ip, uint32_t id);
    ~CP2PHost() override;
    CP2PHost(const CP2PHost&) = delete;
    CP2PHost& operator=(const CP2PHost&) = delete;

    /// Runs something as this host's process.
    template <class Action>
    void Do(Action action) {
        UseInstances(&m_instances);
        action();
        UseInstances(nullptr);
    }
    /// Learns its public address from a reflector.
    void Ask(Address reflector) {
        Do([&] { m_pP2P->SetSunServer(reflector.ip, reflector.port); });
    }
    void Call(uint32_t user) {
        Do([&] { m_pP2P->StartP2PCaller(user); });
    }
    /// Takes the channel from that user's host.
    void Receive(uint32_t user) {
        Do([&] { m_pReceiver = CreateFileReceiverP2P(*this, kChannelID, user); });
    }
    bool Poll() {
        Do([&] { m_bGaveUp = m_pReceiver->IsDisconnected(); });
        return m_bGaveUp;
    }
    void Publish(const std::string& frame) {
        Do([&] { m_pChannel->OnFileChannelData(frame.data(), static_cast<int>(frame.size())); });
    }
    std::optional<P2PPeer> Peer(uint32_t user) {
        P2PPeer peer{};
        bool known = false;
        Do([&] { known = GetP2PPeer(user, peer); });
        return known ? std::optional<P2PPeer>(peer) : std::nullopt;
    }

    void OnP2PNotifySendCmd(unsigned long ulUserID, CCmdPacket& cmd) override;
    void OnP2PNotifyGetP2PItem(P2PItem& announced) override;
    void OnFileReceiverNotifyConnected(unsigned long ip) override { connectedTo.push_back(static_cast<uint32_t>(ip)); }
    void OnFileReceiverNotifyData(const char* data, int length) override {
        delivered.emplace_back(data, static_cast<size_t>(length));
    }

    const uint32_t ip;
    int probes = 0;  // that left this host
    std::vector<uint32_t> connectedTo;
    std::vector<std::string> delivered;

private:
    class CChannel : public CFileChannel {
    public:
        CChannel() : CFileChannel(kChannelID) { Connect(); }
        void OnFileSinkData(const void*, int) override {}
    };

    bool Turn();
    void OnCommand(const std::string& bytes, Address from);

    CWorld& m_world;
    CNetwork& m_network;
    CInstances m_instances;
    IP2P* m_pP2P = nullptr;
    CTestManager* m_pManager = nullptr;
    CFakeUdp* m_pUdp = nullptr;
    std::unique_ptr<CChannel> m_pChannel;
    IFileReceiver* m_pReceiver = nullptr;
    bool m_bGaveUp = false;
};

}  // namespace sim
