#include "bench/harness/child.h"

#include "bench/harness/sockets.h"

#include <unistd.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>

using nlohmann::json;

namespace bench {

namespace {

Hosts HostsOnPath(bool relayed, bool sends) {
    if (!relayed)
        return sends ? Hosts{PathSpec::kSender, PathSpec::kReceiver} : Hosts{PathSpec::kReceiver, PathSpec::kSender};
    return sends ? Hosts{PathSpec::kSender, PathSpec::kServerOfSender}
                 : Hosts{PathSpec::kReceiverBehind, PathSpec::kServerOfReceiver};
}

}  // namespace

CChild::CChild(Role role, const RunSpec& spec, uint16_t port, const CProcess::Options& options) : m_role(role) {
    const auto [mine, its] = CControl::MakePair();
    m_pControl = std::make_unique<CControl>(mine);
    m_pProcess =
        std::make_unique<CProcess>(std::vector<std::string>{"/proc/self/exe", "--child", std::to_string(its)}, options);
    close(its);
    m_pControl->Send({{"spec", spec}, {"role", role == Role::Sender ? "sender" : "receiver"}, {"port", port}});
}

bool CChild::TakeMessage() {
    const auto message = m_pControl->Receive(0);
    if (!message) return true;
    if (!message->is_object()) return false;
    m_events[message->value("event", "")] = *message;
    return true;
}

json CChild::Take(const char* event) {
    const auto found = m_events.find(event);
    if (found == m_events.end()) return {};
    json taken = std::move(found->second);
    m_events.erase(found);
    return taken;
}

int RunChild(int fd) {
    CControl control(fd);
    try {
        const auto first = control.Receive(-1);
        if (!first || !first->is_object()) return 1;
        CSide side(control, first->at("spec").get<RunSpec>(), first->at("port").get<uint16_t>());
        const bool sends = first->at("role") == "sender";
        const CDriver* driver = FindDriver(side.Spec().driver);
        if (!driver) throw std::runtime_error("no driver " + side.Spec().driver);
        if (side.Spec().path.IsEmulated()) RunHosts() = HostsOnPath(driver->listener == Listener::RelayServer, sends);
        (sends ? driver->sender : driver->receiver)(side);
        return 0;
    } catch (const std::exception& error) {
        control.Send({{"event", "failed"}, {"why", error.what()}});
        return 1;
    }
}

}  // namespace bench
