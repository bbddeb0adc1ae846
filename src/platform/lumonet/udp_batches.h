// The open batches of the calling thread.
#pragma once

#include "platform/lumonet/udp_arena.h"

#include <cstdint>
#include <memory>

/// One thread's batch for one endpoint.
struct CUdpThreadBatch {
    uint64_t owner = 0;  ///< the endpoint's number, never used twice
    std::weak_ptr<const void> ownerLives;
    int depth = 0;
    std::unique_ptr<CUdpArena> arena;
};

/// Names an endpoint to the batches of all threads. A batch holds no pointer to its endpoint, so one that was left open
/// is harmless: it goes unsent when the endpoint has ended, or the thread.
class CUdpBatchOwner {
public:
    /// Throws when there is no memory.
    CUdpBatchOwner();
    CUdpBatchOwner(const CUdpBatchOwner&) = delete;
    CUdpBatchOwner& operator=(const CUdpBatchOwner&) = delete;

    /// The calling thread's open batch for this endpoint, or null.
    CUdpThreadBatch* Open() const {
        CUdpThreadBatch* last = t_pLast;
        if (!last) return nullptr;
        return last->owner == m_nNumber && last->depth > 0 ? last : FindOpen();
    }
    /// Opens one more level; without memory for it nothing is collected.
    void Begin();
    /// The batch whose outermost level this would close, still open; null when there is none or a level remains.
    CUdpThreadBatch* End();

private:
    struct Batches;

    CUdpThreadBatch* FindOpen() const;

    static constinit thread_local CUdpThreadBatch* t_pLast;  // the one last used; null in a thread that never had any

    const uint64_t m_nNumber;
    const std::shared_ptr<const void> m_alive;
};
