// Processes of a simulated network: any with a local MCU, and a relay server.
#pragma once

#include "link/process/due_links.h"
#include "link/process/instances.h"
#include "server/server_manager.h"
#include "sim/harness.h"
#include "support/fake_net.h"
#include "support/test_manager.h"

#include <string>
#include <vector>

namespace sim {

inline CLocalMCUManager* MakeClient() {
    auto* manager = new CTestManager;
    manager->Open();
    return manager;
}

/// One process: its manager on its own endpoint.
class CNode {
public:
    CNode(CWorld& world, CFakeNet& net, Address address, CLocalMCUManager* (*make)() = MakeClient)
        : m_world(world), m_address(address) {
        m_instances.pDueLinks = &m_dueLinks;
        Do([&] { m_pManager = make(); });
        m_pUdp = &net.Udp();
        world.Attach(address, [this](const std::string& bytes, Address from) { Hear(bytes, from); });
        world.AddTurn([this] { return Turn(); });
    }
    virtual ~CNode() = default;
    CNode(const CNode&) = delete;
    CNode& operator=(const CNode&) = delete;

    /// Runs something as this process.
    template <class Action>
    void Do(Action action) {
        UseInstances(&m_instances);
        action();
        UseInstances(nullptr);
    }
    void Release() {
        Do([&] { m_pManager->ReleaseConnections(); });
    }
    /// One datagram arrives.
    void Hear(const std::string& bytes, Address from) {
        const Address seen = Seen(from);
        Do([&] { m_pUdp->Deliver(bytes, seen.ip, seen.port); });
    }

protected:
    /// What the application does of its own.
    virtual void OnTurn() {}
    /// By which address it knows who sends from that one.
    virtual Address Seen(Address from) const { return from; }
    virtual void Send(const CSentDatagram& one) {
        m_world.Send(m_address, {one.ip, one.port}, one.bytes.data(), static_cast<int>(one.bytes.size()));
    }

    CWorld& m_world;
    const Address m_address;

private:
    bool Turn() {
        Do([&] {
            OnTurn();
            m_pManager->RunTurn();
        });
        const std::vector<CSentDatagram> sent = m_pUdp->TakeSent();
        for (const CSentDatagram& one : sent) Send(one);
        return !sent.empty();
    }

    CDueLinks m_dueLinks;
    CInstances m_instances;
    CLocalMCUManager* m_pManager = nullptr;
    CFakeUdp* m_pUdp = nullptr;
};

constexpr Address kServer{0x7f000001, 40000};

inline CLocalMCUManager* MakeServer() {
    class CServer : public CServerManager {
    public:
        using CServerManager::CServerManager;
        bool Open() { return OpenEndpoints(0); }
    };
    static CServerLog log(std::function<void(const std::string&)>([](const std::string&) {}));
    CServerOptions options;
    options.listenIP = kServer.ip;
    options.port = kServer.port;
    auto* server = new CServer(options, log);
    server->Open();
    return server;
}

class CServerNode : public CNode {
public:
    CServerNode(CWorld& world, CFakeNet& net) : CNode(world, net, kServer, MakeServer) {}
    ~CServerNode() override { Release(); }
};

}  // namespace sim
