#include "server/pages/verdict.h"

#include "server/pages/units.h"

#include <algorithm>

namespace {

constexpr size_t kMinute = 60000 / CHour::kBucketMs;
constexpr size_t kQuarter = 15 * kMinute;

struct Bounds {
    uint64_t look, bad;
};
constexpr Bounds kCpu{700, 900};   // permille of all cores
constexpr Bounds kLoss{30, 100};   // permille of the packets
constexpr Bounds kRoom{700, 900};  // permille of a memory budget
constexpr uint64_t kBusyThread = 900;

void Compare(uint64_t value, const Bounds& bounds, const std::string& text, std::vector<CFinding>& findings) {
    if (value >= bounds.look) findings.push_back({value >= bounds.bad, text});
}

void JudgeLoad(const CPageLoad& load, std::vector<CFinding>& findings) {
    const uint64_t cpu = load.CpuPermille() / std::max(load.cores, 1U);
    Compare(cpu, kCpu, "The processor is busy: " + PermilleText(cpu) + " of all cores within the last minute.",
            findings);
    const uint64_t thread = SumOfLast(load.hour, kMinute, [](const CHourSample& one) { return one.threadPermille; }) /
                            std::max<size_t>(std::min(kMinute, load.hour.size()), 1);
    if (thread >= kBusyThread && cpu < kCpu.look)
        findings.push_back({false, "One thread is at its limit, though cores are free: " + PermilleText(thread) + "."});
    const uint64_t loss = load.LossPermille();
    Compare(loss, kLoss, "Packets get lost: " + PermilleText(loss) + " were sent again within the last minute.",
            findings);
}

void JudgeRoom(const CServerStatus& status, const CPageLoad& load, std::vector<CFinding>& findings) {
    for (const CBudgetStatus& budget : status.budgets) {
        if (budget.limit == 0) continue;
        const uint64_t used = budget.bytes * 1000 / budget.limit;
        Compare(used, kRoom,
                "Memory to " + std::string(budget.budget) + " is short: " + PermilleText(used) + " is used.", findings);
    }
    const uint64_t gaveWay = SumOfLast(load.hour, kQuarter, [](const CHourSample& one) { return one.gaveWay; });
    if (gaveWay != 0)
        findings.push_back({true, "For want of memory " + CountText(gaveWay) + (gaveWay == 1 ? " link" : " links") +
                                      " gave way within a quarter of an hour."});
    const uint64_t dropped = SumOfLast(load.hour, kQuarter, [](const CHourSample& one) { return one.dropped; });
    if (dropped != 0)
        findings.push_back(
            {false, "Frames were dropped at a limit within a quarter of an hour: " + CountText(dropped) + "."});
}

// Who is not allowed is meant to be refused: that is no reason to look.
void JudgeRefusals(const CServerStatus& status, const CPageLoad& load, std::vector<CFinding>& findings) {
    for (size_t i = 0; i < status.refusals.size(); ++i) {
        const uint64_t count = SumOfLast(load.hour, kQuarter, [i](const CHourSample& one) { return one.refused[i]; });
        if (count != 0 && i != static_cast<size_t>(Refusal::NotAllowed))
            findings.push_back({false, "Refused within a quarter of an hour, " + CountText(count) +
                                           (count == 1 ? " time: " : " times: ") + status.refusals[i].text + "."});
    }
}

}  // namespace

uint64_t CPageLoad::CpuPermille() const {
    const size_t count = std::min(kMinute, hour.size());
    return count == 0 ? 0 : SumOfLast(hour, count, [](const CHourSample& one) { return one.cpuPermille; }) / count;
}

uint64_t CPageLoad::LossPermille() const {
    const uint64_t packets = SumOfLast(hour, kMinute, [](const CHourSample& one) { return one.packets; });
    const uint64_t again = SumOfLast(hour, kMinute, [](const CHourSample& one) { return one.again; });
    return packets == 0 ? 0 : again * 1000 / packets;
}

uint64_t CPageLoad::RefusedFor(size_t reason) const {
    return SumOfLast(hour, hour.size(), [reason](const CHourSample& one) { return one.refused[reason]; });
}

std::vector<CFinding> Judge(const CServerStatus& status, const CPageLoad& load) {
    std::vector<CFinding> findings;
    if (!status.health.ready) findings.push_back({true, "It takes no newcomers: " + status.health.reason + "."});
    JudgeLoad(load, findings);
    JudgeRoom(status, load, findings);
    JudgeRefusals(status, load, findings);
    std::stable_partition(findings.begin(), findings.end(), [](const CFinding& one) { return one.bad; });
    return findings;
}
