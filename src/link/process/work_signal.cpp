#include "link/process/work_signal.h"

#include "link/process/due_links.h"
#include "platform/lumobase/clock.h"
#include "platform/lumobase/event.h"

#include <algorithm>

namespace {

// Never destroyed: a worker of static storage may outlive this file's objects.
CEvent& WakeEvent() {
    static auto* event = new CEvent;
    return *event;
}

// Rounded up: a deadline is looked at when it is over.
uint32_t UntilDeadline(uint32_t most) {
    const uint64_t earliest = CDueLinks::Get().Earliest();
    if (earliest == 0) return most;
    const uint64_t now = Lumo_Base::GetMicroseconds();
    return earliest <= now ? 0 : static_cast<uint32_t>(std::min<uint64_t>((earliest - now + 999) / 1000, most));
}

}  // namespace

CWorkSignal& CWorkSignal::Get() {
    static CWorkSignal signal;
    return signal;
}

void CWorkSignal::LinkBusy() {
    m_nBusy.fetch_add(1, std::memory_order_seq_cst);
    if (m_bLongSleep.load(std::memory_order_seq_cst)) Wake();
}

void CWorkSignal::NewDeadline() {
    if (m_bLongSleep.load(std::memory_order_seq_cst)) Wake();
}

void CWorkSignal::Sleep() {
    // The flag goes up before the count is read, and LinkBusy does it the other way round: one of the two sees the
    // other.
    m_bLongSleep.store(true, std::memory_order_seq_cst);
    const bool busy = AnyBusy();
    if (busy) m_bLongSleep.store(false, std::memory_order_relaxed);
    WakeEvent().WaitFor(UntilDeadline(busy ? kShortSleepMs : kLongSleepMs));
    m_bLongSleep.store(false, std::memory_order_relaxed);
}

void CWorkSignal::Wake() {
    m_bLongSleep.store(false, std::memory_order_relaxed);
    WakeEvent().Signal();
}
