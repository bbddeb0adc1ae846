// Keeps the manager and its UDP endpoint in being while a thread uses them.
#pragma once

#include "mcu/local_mcu_manager.h"

/// One use. The thread that takes the manager or the endpoint away first withdraws the pointer and then waits for the
/// uses that may have seen it. A use is counted before it reads, and withdrawn pointers are not counted, so that the
/// wait ends whatever other threads do. Holds no lock; never across a callback.
class CManagerUse {
public:
    CManagerUse();
    ~CManagerUse();
    CManagerUse(const CManagerUse&) = delete;
    CManagerUse& operator=(const CManagerUse&) = delete;

    /// Null when there is none.
    CLocalMCUManager* Manager() const { return m_pManager; }
    IUdpClient* Endpoint() const { return m_pManager ? m_pManager->UdpEndpoint() : nullptr; }

    /// Returns once nobody uses what the caller has withdrawn.
    static void WaitForOthers();

private:
    CLocalMCUManager* m_pManager = nullptr;
};
