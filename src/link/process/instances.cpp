#include "link/process/instances.h"

namespace {

CInstances g_process;
std::atomic<CInstances*> g_pCurrent{&g_process};

}  // namespace

CInstances& Instances() { return *g_pCurrent.load(std::memory_order_acquire); }

void UseInstances(CInstances* instances) {
    g_pCurrent.store(instances ? instances : &g_process, std::memory_order_release);
}

CLocalMCUManager* GetLocalMcuMgr() { return Instances().pManager.load(std::memory_order_acquire); }

CLocalMCUAudio* GetLocalMCUAudio() { return Instances().pAudio.load(std::memory_order_acquire); }

CLocalMCUVideo* GetLocalMCUVideo() { return Instances().pVideo.load(std::memory_order_acquire); }

CLocalMCUDesktop* GetLocalMCUDesktop() { return Instances().pDesktop.load(std::memory_order_acquire); }

CLocalMCUFile* GetLocalMCUFile() { return Instances().pFile.load(std::memory_order_acquire); }

CLocalMCUWB* GetLocalMCUWB() { return Instances().pWB.load(std::memory_order_acquire); }

CMTP2P* GetP2PMgr() { return Instances().pP2P.load(std::memory_order_acquire); }

IServerHooks* GetServerHooks() { return Instances().pServer.load(std::memory_order_acquire); }
