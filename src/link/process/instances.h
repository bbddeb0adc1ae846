// The one instance of each shared object of a process, in one place, so that a simulator can be many processes.
#pragma once

#include "link/bounds/first_sends.h"

#include <atomic>

class CLocalMCUManager;
class CMTP2P;
class CDueLinks;
class CLocalMCUAudio;
class CLocalMCUVideo;
class CLocalMCUDesktop;
class CLocalMCUFile;
class CLocalMCUWB;
class IServerHooks;

/// Each class stores itself here when it is made and clears its entry when it goes.
struct CInstances {
    std::atomic<CLocalMCUManager*> pManager{nullptr};
    std::atomic<CMTP2P*> pP2P{nullptr};
    std::atomic<CLocalMCUAudio*> pAudio{nullptr};
    std::atomic<CLocalMCUVideo*> pVideo{nullptr};
    std::atomic<CLocalMCUDesktop*> pDesktop{nullptr};
    std::atomic<CLocalMCUFile*> pFile{nullptr};
    std::atomic<CLocalMCUWB*> pWB{nullptr};
    std::atomic<IServerHooks*> pServer{nullptr};  // null in clients

    // A connect request of 38 bytes, headers included, may be forged: all of them together must not make this host a
    // source of much. Peers whom the signalling has introduced may come many at once.
    CFirstSends strangers{{64ULL << 20, 1ULL << 20, 128ULL << 10}};
    CFirstSends introduced{{64ULL << 20, 16ULL << 20, 4ULL << 20}};

    CDueLinks* pDueLinks = nullptr;  // a simulated process's own; null in real ones
};

CInstances& Instances();
/// Makes another struct the process's; null gives the first one back. For the simulator, on one thread.
void UseInstances(CInstances* instances);

CLocalMCUManager* GetLocalMcuMgr();
CLocalMCUAudio* GetLocalMCUAudio();
CLocalMCUVideo* GetLocalMCUVideo();
CLocalMCUDesktop* GetLocalMCUDesktop();
CLocalMCUFile* GetLocalMCUFile();
CLocalMCUWB* GetLocalMCUWB();
CMTP2P* GetP2PMgr();
IServerHooks* GetServerHooks();
