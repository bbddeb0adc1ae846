// The one instance of each shared object of a process, in one place, so that a simulator can be many processes.
#pragma once

#include <atomic>

class CLocalMCUManager;
class CMTP2P;
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
