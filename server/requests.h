// Requests over UDP of unvalidated senders: any host can send them in any number, so they come last.
#pragma once

#include "link/activity.h"
#include "link/bounds/cidr.h"
#include "link/process/mcu_services.h"
#include "platform/lumobase/clock.h"
#include "server/status.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// Answered once the rest of their burst has been dealt with, as long as they cost no more than a tenth of a processor
/// core; those beyond it are dropped, since a real client asks again. Half of the saved time is for addresses that ask
/// seldom. UDP thread but Dropped.
class CRequests {
public:
    static constexpr size_t kRoom = 1024;             ///< requests of one burst
    static constexpr uint64_t kNsEveryMs = 100000;    ///< processor time they get
    static constexpr int64_t kNsSaved = 100'000'000;  ///< of it at most, while few come
    static constexpr size_t kSlice = 32;              ///< requests between two looks at the clock
    static constexpr unsigned kSeldom = 16;           ///< requests of one address in a second
    static constexpr unsigned kRestUs = 10;           ///< after a burst while requests have to be dropped; twice as
    static constexpr unsigned kLongestRestUs = 400;   ///< long after each that brings nothing else, up to this

    /// Those of `trusted` count as addresses that ask seldom.
    explicit CRequests(CCidrList trusted);

    /// A datagram that waits for the end of its burst, if it is a request.
    bool Add(const char* data, int length, const CEndpointAddress& address);
    /// The burst ends. `serve` is called with each request as its datagram came.
    template <class Serve>
    void OnBurstEnd(Serve serve) {
        if (m_nWaiting == 0) return;
        Refill();
        size_t served = ServeThose(false, 0, serve);
        served += ServeThose(true, kNsSaved / 2, serve);
        Drop(m_nWaiting - served);
        m_nWaiting = 0;
    }
    /// Datagrams taken one by one cost most: in a flood the receive thread rests and takes them together. Microseconds.
    unsigned Rest() {
        const bool dropping = std::exchange(m_bDropping, false);
        if (std::exchange(m_bOthers, false))
            m_ulRestUs = kRestUs;
        else if (dropping)
            m_ulRestUs = std::min(2 * m_ulRestUs, kLongestRestUs);
        return dropping ? m_ulRestUs : 0;
    }
    /// Any thread.
    uint64_t Dropped() const { return m_nDropped.load(std::memory_order_relaxed); }

private:
    static constexpr int kLongest = 40;   // no request is as long
    static constexpr int kSlotBits = 12;  // of what is counted by address
    struct CRequest {
        std::array<char, kLongest> data;
        int length;
        bool often;
        CEndpointAddress address;
    };

    /// Until only `left` of the time is left. How many were served.
    template <class Serve>
    size_t ServeThose(bool often, int64_t left, Serve& serve) {
        size_t served = 0;
        uint64_t since = 0;
        for (size_t i = 0; i < m_nWaiting && m_nLeft > left; ++i) {
            if (m_waiting[i].often != often) continue;
            if (served == 0) {
                FlushUdpBatch();  // what others are owed leaves first, and is not counted
                since = Lumo_Base::ThreadTime();
            }
            ServeOne(serve, m_waiting[i]);
            if (++served % kSlice == 0) Pay(since);
        }
        if (served % kSlice != 0) Pay(since);
        return served;
    }
    template <class Serve>
    static void ServeOne(Serve& serve, const CRequest& request) {
        try {
            serve(request.data.data(), request.length, request.address);
        } catch (...) {  // for want of memory, say: it costs itself and not the others
        }
    }
    static bool IsOne(const char* data, int length);
    bool AsksOften(uint32_t ip);
    void Refill();
    void Pay(uint64_t& since);
    void Drop(size_t count);

    const CCidrList m_trusted;
    std::vector<CRequest> m_waiting;
    size_t m_nWaiting = 0;
    int64_t m_nLeft = kNsSaved;
    uint32_t m_ulRefilled = CActivity::Now();
    const uint64_t m_ullMix;  // nobody outside knows which addresses share a slot
    std::array<uint16_t, size_t{1} << kSlotBits> m_asked{};
    uint32_t m_ulAskedSince = CActivity::Now();
    bool m_bDropping = false;
    bool m_bOthers = false;
    unsigned m_ulRestUs = kRestUs;
    std::atomic<uint64_t> m_nDropped{0};
};
