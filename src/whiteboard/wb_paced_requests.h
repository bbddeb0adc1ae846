// Requests for objects whose answers would pile up before a slow client.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"
#include "whiteboard/wb_message.h"

#include <atomic>
#include <cstdint>
#include <deque>

/// A client that joins a board asks for all of it at once. The requests wait here, and the answers are made as what was
/// sent before leaves: a board may be far larger than what may wait for one client. Any thread.
class CWBPacedRequests {
public:
    CWBPacedRequests() = default;
    ~CWBPacedRequests();
    CWBPacedRequests(const CWBPacedRequests&) = delete;
    CWBPacedRequests& operator=(const CWBPacedRequests&) = delete;

    /// Whether a message asks for an object.
    static bool IsRequest(const char* message, int length);
    /// Keeps a request that has to wait, in `mostBytes` of them at most: false for what comes beyond, which is answered
    /// at once and so ends who asks without reading. The worker stays awake while one is kept.
    bool Add(const char* request, uint64_t mostBytes);
    /// The oldest request of those kept; false when there is none.
    bool Take(char (&message)[wb::kHeaderLen]);
    bool IsEmpty() const { return m_nKept.load(std::memory_order_relaxed) == 0; }

private:
    struct Request {
        uint32_t command, objectID, tag;
    };

    CCritSec m_cs{lock_order::kLeaf};
    std::deque<Request> m_requests LUMO_GUARDED_BY(m_cs);
    std::atomic<size_t> m_nKept{0};
};
