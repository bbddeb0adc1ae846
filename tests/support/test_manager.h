// A local MCU on the fake network whose worker turns only when a test says so.
#pragma once

#include "mcu/local_mcu_manager.h"
#include "support/fake_net.h"
#include "support/virtual_clock.h"

/// Release it through its destructor's owner: Release() ends it as the application would.
class CTestManager : public CLocalMCUManager {
public:
    bool Open() { return OpenEndpoints(5000); }
};

/// Clock, network and manager of a test.
struct CTestHost {
    CTestHost() : manager(new CTestManager) { manager->Open(); }
    ~CTestHost() {
        if (manager) manager->ReleaseConnections();
    }
    CTestHost(const CTestHost&) = delete;
    CTestHost& operator=(const CTestHost&) = delete;

    void Release() {
        manager->ReleaseConnections();
        manager = nullptr;
    }
    /// Lets the clock run and gives the worker its turns, once every `step` ms.
    void Run(uint32_t milliseconds, uint32_t step = 1) {
        for (uint32_t passed = 0; passed < milliseconds; passed += step) {
            clock.Advance(step);
            manager->RunTurn();
        }
    }
    void Deliver(const std::string& bytes, uint32_t ip = kPeerIP, uint16_t port = kPeerPort) {
        net.Udp().Deliver(bytes, ip, port);
    }
    std::vector<CSentDatagram> TakeSent() { return net.Udp().TakeSent(); }
    std::vector<std::string> TakeSentHex() {
        std::vector<std::string> hex;
        for (const CSentDatagram& datagram : TakeSent()) hex.push_back(ToHex(datagram.bytes));
        return hex;
    }

    static constexpr uint32_t kPeerIP = 0x0a000002;
    static constexpr uint16_t kPeerPort = 7001;

    CVirtualClock clock;
    CFakeNet net;
    CTestManager* manager;
};
