#include "bench/harness/run.h"

#include "bench/harness/child.h"
#include "bench/harness/clock.h"
#include "bench/harness/relay_server.h"
#include "bench/path/path_emulator.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <utility>

using nlohmann::json;

namespace bench {

namespace {

constexpr int kGoodbyeMs = 5000;  // for a process to clean up behind itself

/// The core of "one core" runs: the last one, since interrupts and everybody else prefer the first.
int TheCore() { return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)) - 1; }

class CRun {
public:
    CRun(const RunSpec& spec, const RunOptions& options)
        : m_spec(spec), m_options(options), m_nDeadline(NowNs() + options.deadlineSeconds * int64_t{1000000000}) {
        m_spec.lumoProgram = options.lumoProgram;
        m_spec.folder = options.tempFolder;
    }

    Values Perform();

private:
    CProcess::Options ProcessOptions(const char* name) const;
    void StartSides(const CDriver& driver);
    void Start(Role role, uint16_t port);
    CChild& Side(Role role) { return *m_children[role == Role::Sender ? 0 : 1]; }
    void WaitFor(CChild& child, const char* event);
    void WaitForAny();
    static void PassOn(CChild& from, std::optional<CChild>& to);
    void StopSides();
    Values Collect(const CDriver& driver);
    std::optional<CChild>& Slot(Role role) { return m_children[role == Role::Sender ? 0 : 1]; }

    RunSpec m_spec;
    const RunOptions& m_options;
    const int64_t m_nDeadline;
    std::optional<CPathEmulator> m_path;
    std::optional<CRelayServer> m_server;
    double m_dServerCpuAtStart = 0;
    std::array<std::optional<CChild>, 2> m_children;
};

Values CRun::Perform() {
    const CDriver* driver = FindDriver(m_spec.driver);
    if (!driver) throw std::runtime_error("no driver " + m_spec.driver);
    const bool relayed = driver->listener == Listener::RelayServer;
    if (m_spec.path.IsEmulated()) m_path.emplace(m_spec.path, relayed);
    if (relayed) {
        m_server.emplace(m_options.lumoProgram, ProcessOptions("server"), m_path ? &m_path->Server() : nullptr);
        m_server->WaitUntilServing(m_nDeadline);
    }
    StartSides(*driver);
    for (auto& child : m_children) WaitFor(*child, "connected");
    if (m_server) m_dServerCpuAtStart = m_server->Process().CpuSeconds();
    for (auto& child : m_children) child->Tell("start");
    WaitFor(Side(driver->measures), "finished");
    Values values = Collect(*driver);
    StopSides();
    if (m_path) {
        const double packets = std::max(1.0, static_cast<double>(m_path->Out().Packets()));
        values["dropped_percent"] = 100 * static_cast<double>(m_path->Out().QueueDrops()) / packets;
        values["queue_p50_ms"] = m_path->Out().MedianQueueMs();
        if (auto rate = values.extract("MB/s")) {  // not to be taken for one over loopback
            rate.key() = "path_MB/s";
            values.insert(std::move(rate));
        }
    }
    return values;
}

CProcess::Options CRun::ProcessOptions(const char* name) const {
    CProcess::Options options;
    if (m_spec.oneCore) options.core = TheCore();
    options.environment["LUMO_LOG"] = m_spec.logOn ? m_options.tempFolder + "/" + name + ".log" : "off";
    return options;
}

void CRun::Start(Role role, uint16_t port) {
    const bool sends = role == Role::Sender;
    CProcess::Options options = ProcessOptions(sends ? "sender" : "receiver");
    if (m_path) options.networkSpace = (sends ? m_path->Sender() : m_path->Receiver()).Descriptor();
    Slot(role).emplace(role, m_spec, port, options);
}

void CRun::StartSides(const CDriver& driver) {
    if (m_server) {
        Start(Role::Sender, m_server->Port());
        Start(Role::Receiver, m_server->Port());
        return;
    }
    const Role first = driver.listener == Listener::Sender ? Role::Sender : Role::Receiver;
    Start(first, 0);
    WaitFor(Side(first), "listening");
    const auto port = Side(first).Event("listening").at("port").get<uint16_t>();
    Start(first == Role::Sender ? Role::Receiver : Role::Sender, port);
}

void CRun::WaitFor(CChild& child, const char* event) {
    while (!child.Has(event)) WaitForAny();
}

void CRun::WaitForAny() {
    std::array<pollfd, 2> waits{};
    for (size_t i = 0; i < m_children.size(); ++i)
        waits[i] = {m_children[i] ? m_children[i]->Descriptor() : -1, POLLIN, 0};
    const int64_t left = (m_nDeadline - NowNs()) / 1000000;
    if (left <= 0) throw std::runtime_error("not done within " + std::to_string(m_options.deadlineSeconds) + " s");
    poll(waits.data(), waits.size(), static_cast<int>(std::min<int64_t>(left + 1, 200)));
    for (size_t i = 0; i < m_children.size(); ++i) {
        if (waits[i].revents == 0) continue;
        CChild& child = *m_children[i];
        const bool open = child.TakeMessage();
        if (child.Has("failed")) throw std::runtime_error(child.Event("failed").at("why").get<std::string>());
        if (!open) {
            child.Process().WaitForEnd(kGoodbyeMs);
            throw std::runtime_error(std::string(child.Name()) + " left early, " + child.Process().Complaint());
        }
        PassOn(child, m_children[1 - i]);
    }
    if (m_server && m_server->Process().WaitForEnd(0)) throw std::runtime_error("the relay server ended");
}

/// What one side tells the other.
void CRun::PassOn(CChild& from, std::optional<CChild>& to) {
    json told = from.Take("told");
    if (told.is_null() || !to) return;
    to->Pass({{"do", "hear"}, {"step", told["step"]}, {"number", told["number"]}});
}

Values CRun::Collect(const CDriver& driver) {
    CChild& measuring = Side(driver.measures);
    CChild& other = Side(driver.measures == Role::Sender ? Role::Receiver : Role::Sender);
    Values values = measuring.Event("finished").at("values").get<Values>();
    double cpu = 0;
    if (m_server) {
        values["server_cpu_s"] = m_server->Process().CpuSeconds() - m_dServerCpuAtStart;
        cpu += values["server_cpu_s"];
    }
    other.Tell("stop");
    WaitFor(other, "stopped");
    values.merge(other.Event("stopped").at("values").get<Values>());
    for (const auto& [child, event] : {std::pair{&measuring, "finished"}, std::pair{&other, "stopped"}}) {
        const double its = child->Event(event).at("cpu").get<double>();
        values[std::string(child->Name()) + "_cpu_s"] = its;
        cpu += its;
    }
    values["cpu_s"] = cpu;
    if (values.count("datagrams"))
        values["cpu_us_per_datagram"] = kMega * (cpu - values["receiver_cpu_s"]) / values["datagrams"];
    if (values.count("bytes")) {
        values["MB/s"] = values["bytes"] / kMega / values["seconds"];
        values["cpu_s_per_GB"] = cpu / (values["bytes"] / kGiga);
    }
    return values;
}

void CRun::StopSides() {
    for (auto& child : m_children) child->Tell("stop");
    for (auto& child : m_children) {
        if (!child->Process().WaitForEnd(kGoodbyeMs))
            throw std::runtime_error(std::string(child->Name()) + " did not end");
        const std::string complaint = child->Process().Complaint();
        if (!complaint.empty()) throw std::runtime_error(std::string(child->Name()) + " " + complaint);
    }
}

}  // namespace

RunResult Run(const RunSpec& spec, const RunOptions& options) {
    RunResult result;
    try {
        CRun run(spec, options);
        result.values = run.Perform();
        result.ok = true;
    } catch (const std::exception& error) {
        result.why = error.what();
    }
    return result;
}

}  // namespace bench
