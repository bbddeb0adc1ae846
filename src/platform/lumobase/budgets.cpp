// The budgets of this process.
#include "platform/lumobase/machine_memory.h"
#include "platform/lumobase/memory_budget.h"

#include <algorithm>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

constexpr uint64_t kWorthTrimming = 16ULL << 20;
constexpr uint64_t kUnknownMachine = 4ULL << 30;
constexpr uint64_t kUsualEarly = 64ULL << 20;

struct Budgets {
    CMemoryBudget send{0};
    CMemoryBudget receive{0};
    CMemoryBudget early{0};

    Budgets() { Divide(0); }
    // One half for what waits, the other for what is not whole, of which packets before their turn get an eighth, or
    // what suffices for some long paths.
    void Divide(uint64_t bytes) {
        const uint64_t all = bytes != 0 ? bytes : Default();
        send.SetLimit(all / 2);
        early.SetLimit(bytes != 0 ? all / 16 : kUsualEarly);
        receive.SetLimit(all / 2 - std::min(early.Limit(), all / 4));
    }
    static uint64_t Default() {
        const uint64_t machine = MachineMemory();
        return (machine != 0 ? machine : kUnknownMachine) / 4;
    }
};

// Never destroyed: connections of static storage may outlive it.
Budgets& All() {
    static auto* all = new Budgets;
    return *all;
}

}  // namespace

CMemoryBudget& SendBudget() { return All().send; }
CMemoryBudget& ReceiveBudget() { return All().receive; }
CMemoryBudget& EarlyBudget() { return All().early; }

namespace budgets {

void SetLimit(uint64_t bytes) { All().Divide(bytes); }

void SetExempt(const std::function<bool(uint32_t ip)>& exempt) {
    All().send.SetExempt(exempt);
    All().receive.SetExempt(exempt);
    All().early.SetExempt(exempt);
}

void SetAlarm(void (*alarm)()) {
    All().send.SetAlarm(alarm);
    All().receive.SetAlarm(alarm);
}

void Relieve() {
    All().send.Relieve();
    All().receive.Relieve();
}

void OnSecond() {
    All().send.OnSecond();
    All().receive.OnSecond();
}

void ReturnFreedMemory() {
    const bool sent = All().send.HasFallen(kWorthTrimming);
    const bool received = All().receive.HasFallen(kWorthTrimming);
#if defined(__GLIBC__)
    if (sent || received) malloc_trim(0);
#else
    static_cast<void>(sent || received);
#endif
}

}  // namespace budgets
