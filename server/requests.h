// Requests of those who have not shown themselves: anybody can send them in any number, so they come last.
#pragma once

#include "link/activity.h"
#include "link/mcu_services.h"
#include "platform/lumobase/processor.h"
#include "server/status.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Answered once the rest of their burst has been dealt with, as long as they cost no more than a tenth of a processor
/// core; those beyond it are dropped, for whoever is there asks again. UDP thread but Dropped.
class CRequests {
public:
    static constexpr size_t kRoom = 1024;             ///< requests of one burst
    static constexpr uint64_t kNsEveryMs = 100000;    ///< processor time they get
    static constexpr int64_t kNsSaved = 100'000'000;  ///< of it at most, while few come
    static constexpr size_t kSlice = 16;              ///< requests between two looks at the clock

    CRequests() : m_waiting(kRoom) {}

    /// A datagram that waits for the end of its burst, if it is a request.
    bool Add(const char* data, int length, const CPeer& peer) {
        if (!IsOne(data, length)) return false;
        if (m_nWaiting == kRoom) {
            Drop(1);
            return true;
        }
        CRequest& request = m_waiting[m_nWaiting++];
        std::copy_n(data, length, request.data.begin());
        request.length = length;
        request.peer = peer;
        return true;
    }
    /// The burst ends. `serve` is called with each request as its datagram came.
    template <class Serve>
    void OnBurstEnd(Serve serve) {
        if (m_nWaiting == 0) return;
        Refill();
        Drop(m_nWaiting - (m_nLeft > 0 ? ServeWaiting(serve) : 0));
        m_nWaiting = 0;
    }
    /// Any thread.
    uint64_t Dropped() const { return m_nDropped.load(std::memory_order_relaxed); }

private:
    /// How many were served.
    template <class Serve>
    size_t ServeWaiting(Serve& serve) {
        FlushUdpBatch();  // what others are owed leaves first, and is not counted
        uint64_t before = Lumo_Base::ThreadTime();
        size_t served = 0;
        while (served < m_nWaiting && m_nLeft > 0) {
            for (const size_t end = std::min(m_nWaiting, served + kSlice); served < end; ++served)
                ServeOne(serve, m_waiting[served]);
            if (served == m_nWaiting || served % (4 * kSlice) == 0) FlushUdpBatch();  // their answers cost, too
            const uint64_t after = Lumo_Base::ThreadTime();
            m_nLeft -= static_cast<int64_t>(after - before);
            before = after;
        }
        return served;
    }

    static constexpr int kLongest = 40;  // no request is as long
    struct CRequest {
        std::array<char, kLongest> data;
        int length;
        CPeer peer;
    };

    static bool IsOne(const char* data, int length);
    template <class Serve>
    static void ServeOne(Serve& serve, const CRequest& request) {
        try {
            serve(request.data.data(), request.length, request.peer);
        } catch (...) {  // for want of memory, say: it costs itself and not the others
        }
    }
    void Refill();
    void Drop(size_t count) { m_nDropped.fetch_add(count, std::memory_order_relaxed); }

    std::vector<CRequest> m_waiting;
    size_t m_nWaiting = 0;
    int64_t m_nLeft = kNsSaved;
    uint32_t m_ulRefilled = CActivity::Now();
    std::atomic<uint64_t> m_nDropped{0};
};
