#include "tools/lumo/load/load_meter.h"

#include "tools/lumo/transfer/byte_codec.h"

#include <algorithm>
#include <chrono>

namespace lumo {
namespace {

constexpr uint32_t kMark = 0x4c4f4144;

}  // namespace

uint64_t LoadClockUs() {
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count());
}

CLoadMeter::CLoadMeter(uint32_t subscribers, uint32_t frames)
    : m_nFrames(frames), m_subscribers(subscribers), m_seen(subscribers, std::vector<uint64_t>(frames / 64 + 1)) {}

void CLoadMeter::Stamp(std::string& frame, size_t at, uint32_t number, uint64_t nowUs) {
    const std::string head = CByteWriter().U32(kMark).U32(number).U64(nowUs).Result();
    frame.replace(at, head.size(), head);
}

bool CLoadMeter::IsGreeting(const std::string& frame) {
    CByteReader reader(frame.data(), frame.size());
    return reader.U32() == kMark && reader.U32() == 0 && reader.Ok();
}

void CLoadMeter::OnFrame(uint32_t subscriber, const char* data, int length, uint64_t nowUs) {
    CByteReader reader(data, static_cast<size_t>(length));
    const uint32_t mark = reader.U32(), number = reader.U32();
    const uint64_t sentUs = reader.U64();
    if (reader.Ok() && mark == kMark) Count(subscriber, number, sentUs, nowUs);
}

void CLoadMeter::Count(uint32_t subscriber, uint32_t number, uint64_t sentUs, uint64_t nowUs) {
    if (number > m_nFrames) return;
    Subscriber& one = m_subscribers.at(subscriber);
    if (!one.hears) {
        one.hears = true;
        m_nHearing.fetch_add(1, std::memory_order_relaxed);
    }
    if (number == 0) return;
    uint64_t& seen = m_seen[subscriber][number / 64];
    const uint64_t bit = uint64_t{1} << number % 64;
    if ((seen & bit) != 0) {
        m_nRepeated.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    seen |= bit;
    one.arrived.fetch_add(1, std::memory_order_relaxed);
    m_nArrived.fetch_add(1, std::memory_order_relaxed);
    m_delaysUs.Add(static_cast<uint32_t>(std::min<uint64_t>(nowUs - std::min(nowUs, sentUs), UINT32_MAX)));
}

LoadReport CLoadMeter::Report(uint32_t published) const {
    LoadReport report;
    report.arrived = Arrived();
    report.repeated = m_nRepeated.load(std::memory_order_relaxed);
    for (const Subscriber& one : m_subscribers)
        report.unlucky += one.arrived.load(std::memory_order_relaxed) < published ? 1 : 0;
    report.p50Ms = m_delaysUs.Percentile(0.5) / 1000.0;
    report.p90Ms = m_delaysUs.Percentile(0.9) / 1000.0;
    report.p99Ms = m_delaysUs.Percentile(0.99) / 1000.0;
    report.mostMs = m_delaysUs.Most() / 1000.0;
    return report;
}

}  // namespace lumo
