// Processes of a simulated network: any with a local MCU, and a relay server.
#pragma once

#include "link/process/instances.h"
#include "server/server_manager.h"
#include "sim/harness.h"
#include "support/fake_net.h"
#include "support/test_manager.h"

#include <memory>
#include <string>
#include <vector>

namespace sim {

/// One process: its manager on its own endpoint.
class CNode {
public:
    template <class MakeManager>
    CNode(CWorld& world, CFakeNet& net, Address address, MakeManager make) : m_world(world), m_address(address) {
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

    CWorld& m_world;

private:
    bool Turn() {
        Do([&] {
            OnTurn();
            m_pManager->RunTurn();
        });
        const std::vector<CSentDatagram> sent = m_pUdp->TakeSent();
        for (const CSentDatagram& one : sent)
            m_world.Send(m_address, {one.ip, one.port}, one.bytes.data(), static_cast<int>(one.bytes.size()));
        return !sent.empty();
    }

    const Address m_address;
    CInstances m_instances;
    CLocalMCUManager* m_pManager = nullptr;
    CFakeUdp* m_pUdp = nullptr;
};

inline CLocalMCUManager* MakeClient() {
    auto* manager = new CTestManager;
    manager->Open();
    return manager;
}

constexpr Address kServer{0x7f000001, 40000};

class CServerNode : public CNode {
public:
    CServerNode(CWorld& world, CFakeNet& net)
        : CServerNode(world, net, std::make_shared<CServerLog>([](const std::string&) {})) {}
    ~CServerNode() override { Release(); }

private:
    class CServer : public CServerManager {
    public:
        using CServerManager::CServerManager;
        bool Open() { return OpenEndpoints(0); }
    };

    CServerNode(CWorld& world, CFakeNet& net, std::shared_ptr<CServerLog> log)
        : CNode(world, net, kServer,
                [&] {
                    CServerOptions options;
                    options.listenIP = kServer.ip;
                    options.port = kServer.port;
                    auto* server = new CServer(options, *log);
                    server->Open();
                    return server;
                }),
          m_pLog(std::move(log)) {}

    const std::shared_ptr<CServerLog> m_pLog;
};

}  // namespace sim
