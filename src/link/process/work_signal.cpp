#include "link/process/work_signal.h"

#include "platform/lumobase/event.h"

namespace {

// Never destroyed: a worker of static storage may outlive this file's objects.
CEvent& WakeEvent() {
    static auto* event = new CEvent;
    return *event;
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

void CWorkSignal::Sleep() {
    // The flag goes up before the count is read, and LinkBusy does it the other way round: one of the two sees the
    // other.
    m_bLongSleep.store(true, std::memory_order_seq_cst);
    const bool busy = AnyBusy();
    if (busy) m_bLongSleep.store(false, std::memory_order_relaxed);
    WakeEvent().WaitFor(busy ? kShortSleepMs : kLongSleepMs);
    m_bLongSleep.store(false, std::memory_order_relaxed);
}

void CWorkSignal::Wake() {
    m_bLongSleep.store(false, std::memory_order_relaxed);
    WakeEvent().Signal();
}
