// One process of a run: this program started again to play one side.
#pragma once

#include "bench/harness/control.h"
#include "bench/harness/driver.h"
#include "bench/harness/process.h"

#include <nlohmann/json.hpp>

#include <map>
#include <memory>
#include <string>

namespace bench {

class CChild {
public:
    CChild(Role role, const RunSpec& spec, uint16_t port, const CProcess::Options& options);

    void Tell(const char* what) { m_pControl->Send({{"do", what}}); }
    /// Takes one message in; false when the process has closed the line.
    bool TakeMessage();
    bool Has(const char* event) const { return m_events.count(event) > 0; }
    const nlohmann::json& Event(const char* event) const { return m_events.at(event); }
    void Pass(const nlohmann::json& message) { m_pControl->Send(message); }
    /// The event, which is then forgotten; null when there is none.
    nlohmann::json Take(const char* event);
    int Descriptor() const { return m_pControl->Descriptor(); }
    CProcess& Process() { return *m_pProcess; }
    const char* Name() const { return m_role == Role::Sender ? "sender" : "receiver"; }

private:
    const Role m_role;
    std::unique_ptr<CControl> m_pControl;
    std::unique_ptr<CProcess> m_pProcess;
    std::map<std::string, nlohmann::json> m_events;
};

/// The whole life of such a process; the descriptor is its end of the line.
int RunChild(int fd);

}  // namespace bench
