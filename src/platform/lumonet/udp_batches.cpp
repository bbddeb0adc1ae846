#include "platform/lumonet/udp_batches.h"

#include <array>
#include <atomic>
#include <new>

namespace {

std::atomic<uint64_t> g_nLastNumber{0};

}  // namespace

std::unique_ptr<CUdpArena> CUdpArena::Make() {
    std::unique_ptr<CUdpArena> arena(new (std::nothrow) CUdpArena);
    if (arena) arena->m_bytes.reset(new (std::nothrow) char[udp::kArenaBytes]);
    return arena && arena->m_bytes ? std::move(arena) : nullptr;
}

/// All of one thread. An arena stays for the next batch, whichever endpoint's.
struct CUdpBatchOwner::Batches {
    ~Batches() { t_pLast = nullptr; }

    CUdpThreadBatch* FindOpen(uint64_t owner) {
        for (CUdpThreadBatch& batch : all) {
            if (batch.owner == owner && batch.depth > 0) return &batch;
        }
        return nullptr;
    }
    CUdpThreadBatch* FindFree() {
        for (CUdpThreadBatch& batch : all) {
            if (batch.depth > 0 && !batch.ownerLives.expired()) continue;
            if (!batch.arena) batch.arena = CUdpArena::Make();
            if (batch.arena) return &batch;
        }
        return nullptr;
    }

    std::array<CUdpThreadBatch, udp::kArenasPerThread> all;

    static thread_local Batches t_batches;
};

thread_local CUdpBatchOwner::Batches CUdpBatchOwner::Batches::t_batches;
constinit thread_local CUdpThreadBatch* CUdpBatchOwner::t_pLast = nullptr;

CUdpBatchOwner::CUdpBatchOwner() : m_nNumber(++g_nLastNumber), m_alive(std::make_shared<char>()) {}

CUdpThreadBatch* CUdpBatchOwner::FindOpen() const {
    CUdpThreadBatch* batch = Batches::t_batches.FindOpen(m_nNumber);
    if (batch) t_pLast = batch;
    return batch;
}

void CUdpBatchOwner::Begin() {
    if (CUdpThreadBatch* open = Open()) {
        ++open->depth;
        return;
    }
    CUdpThreadBatch* batch = Batches::t_batches.FindFree();
    if (!batch) return;
    batch->arena->Clear();
    if (batch->owner != m_nNumber) {
        batch->owner = m_nNumber;
        batch->ownerLives = m_alive;
    }
    batch->depth = 1;
    t_pLast = batch;
}

CUdpThreadBatch* CUdpBatchOwner::End() {
    CUdpThreadBatch* batch = Open();
    if (!batch) return nullptr;
    if (batch->depth > 1) {
        --batch->depth;
        return nullptr;
    }
    return batch;
}
