#include "mcu/manager_use.h"

#include "link/process/instances.h"
#include "platform/lumobase/thread.h"

#include <atomic>

namespace {
std::atomic<int> g_nUses{0};
}

// Counting and withdrawing are one total order: either the wait sees the count, or the use sees the withdrawal.
CManagerUse::CManagerUse() {
    if (!GetLocalMcuMgr()) return;
    g_nUses.fetch_add(1, std::memory_order_seq_cst);
    m_pManager = Instances().pManager.load(std::memory_order_seq_cst);
    if (!m_pManager) g_nUses.fetch_sub(1, std::memory_order_release);
}

CManagerUse::~CManagerUse() {
    if (m_pManager) g_nUses.fetch_sub(1, std::memory_order_release);
}

void CManagerUse::WaitForOthers() {
    while (g_nUses.load(std::memory_order_seq_cst) != 0) CThread::YieldTurn();
}
