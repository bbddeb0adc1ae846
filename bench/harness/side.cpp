#include "bench/harness/side.h"

#include "bench/harness/clock.h"

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
    m_dCpuAtStart = CpuSeconds();
}

void CSide::Finish(const Values& values) {
    if (m_bFinished.exchange(true)) return;
    m_control.Send({{"event", "finished"}, {"values", values}, {"cpu", CpuSeconds() - m_dCpuAtStart}});
}

void CSide::Fail(const std::string& why) { m_control.Send({{"event", "failed"}, {"why", why}}); }

bool CSide::Stopped(int waitMs) {
    if (!m_bStopped && m_control.Receive(waitMs)) {
        m_bStopped = true;
        m_control.Send({{"event", "stopped"}, {"cpu", CpuSeconds() - m_dCpuAtStart}});
    }
    return m_bStopped;
}

}  // namespace bench
