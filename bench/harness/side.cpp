#include "bench/harness/side.h"

#include "bench/harness/clock.h"

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <utility>

using nlohmann::json;

namespace bench {

CSide::CSide(CControl& control, RunSpec spec, uint16_t port)
    : m_control(control), m_spec(std::move(spec)), m_usPort(port) {}

void CSide::Listening(uint16_t port) { m_control.Send({{"event", "listening"}, {"port", port}}); }

void CSide::Connected() {
    m_control.Send({{"event", "connected"}});
    const auto message = m_control.Receive(-1);
    if (!message || message->value("do", "") != "start") throw std::runtime_error("not started");
    m_dCpuAtStart = 0;
    m_dCpuAtStart = CpuSinceStart();
}

double CSide::CpuSinceStart() const {
    double seconds = CpuSeconds() - m_dCpuAtStart;
    for (const CProcess* program : m_programs) seconds += program->CpuSeconds();
    return seconds;
}

void CSide::Finish(const Values& values) {
    if (m_bFinished.exchange(true)) return;
    m_control.Send({{"event", "finished"}, {"values", values}, {"cpu", CpuSinceStart()}});
}

void CSide::Fail(const std::string& why) { m_control.Send({{"event", "failed"}, {"why", why}}); }

void CSide::Tell(uint64_t step, double number) {
    m_control.Send({{"event", "told"}, {"step", step}, {"number", number}});
}

bool CSide::Hear(uint64_t step, int waitMs) {
    const int64_t deadline = NowNs() + waitMs * kNsPerMs;
    while (m_nHeard < step) {
        const int64_t left = deadline - NowNs();
        if (left <= 0 || Stopped(static_cast<int>(left / kNsPerMs) + 1)) return false;
    }
    return true;
}

bool CSide::Stopped(int waitMs) {
    if (m_bStopped) return true;
    const auto message = m_control.Receive(waitMs);
    if (!message) return false;
    if (message->is_object() && message->value("do", "") == "hear") {
        m_nHeard = message->at("step").get<uint64_t>();
        m_dHeard = message->at("number").get<double>();
        return false;
    }
    m_bStopped = true;
    m_control.Send({{"event", "stopped"}, {"values", m_added}, {"cpu", CpuSinceStart()}});
    return true;
}

}  // namespace bench
