#include "bench/harness/run.h"

#include "bench/harness/clock.h"
#include "bench/harness/flow.h"
#include "bench/harness/relay_server.h"
#include "bench/path/path_emulator.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <optional>
#include <stdexcept>

namespace bench {

namespace {

constexpr int64_t kNsPerSecond = 1000000000;
constexpr int64_t kConnectNs = kNsPerSecond;  // what a pair beside another one is given to connect

/// The core of "one core" runs: the last one, since interrupts and everybody else prefer the first.
int TheCore() { return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)) - 1; }

int64_t Nanoseconds(double seconds) { return static_cast<int64_t>(seconds * kNsPerSecond); }

class CRun {
public:
    CRun(const RunSpec& spec, const RunOptions& options)
        : m_spec(spec),
          m_options(options),
          m_nDeadline(NowNs() + options.deadlineSeconds * kNsPerSecond + Nanoseconds(spec.LeastSeconds())) {
        m_spec.lumoProgram = options.lumoProgram;
        m_spec.folder = options.tempFolder;
    }

    Values Perform();

private:
    Values Alone();
    Values Beside();
    CProcess::Options ProcessOptions(const char* name) const;
    CFlow& Begin(const RunSpec& spec);
    void StartSides(CFlow& flow);
    void Start(CFlow& flow, Role role, uint16_t port);
    void WaitFor(CChild& child, const char* event);
    void WaitForAny(int64_t untilNs);
    Values Collect(CFlow& flow);
    void AddPath(Values& values) const;

    RunSpec m_spec;
    const RunOptions& m_options;
    const int64_t m_nDeadline;
    std::optional<CPathEmulator> m_path;
    std::optional<CRelayServer> m_server;
    double m_dServerCpuAtStart = 0;
    std::deque<CFlow> m_flows;
};

Values CRun::Perform() {
    const CDriver* driver = FindDriver(m_spec.driver);
    const bool relayed = driver && driver->listener == Listener::RelayServer;
    if (m_spec.path.IsEmulated()) m_path.emplace(m_spec.path, relayed);
    Values values = m_spec.beside.empty() ? Alone() : Beside();
    for (CFlow& flow : m_flows) flow.Stop();
    if (m_path) AddPath(values);
    return values;
}

Values CRun::Alone() {
    CFlow& flow = Begin(m_spec);
    WaitFor(flow.Measuring(), "finished");
    Values values = Collect(flow);
    auto rate = m_path ? values.extract("MB/s") : Values::node_type();
    if (!rate) return values;
    rate.key() = "path_MB/s";  // not to be taken for one over loopback
    values.insert(std::move(rate));
    return values;
}

Values CRun::Beside() {
    const int64_t second = NowNs() + kConnectNs + Nanoseconds(m_spec.pauseSeconds);
    RunSpec one = m_spec;
    one.countFromNs = second + kConnectNs;  // for both alike
    RunSpec other = one;
    other.driver = m_spec.beside;
    CFlow& early = Begin(m_spec.besideFirst ? other : one);
    while (NowNs() < second) WaitForAny(second);
    CFlow& late = Begin(m_spec.besideFirst ? one : other);
    for (CFlow* flow : {&early, &late}) WaitFor(flow->Measuring(), "finished");
    const double earlyRate = Collect(early).at("MB/s"), lateRate = Collect(late).at("MB/s");
    const double rate = m_spec.besideFirst ? lateRate : earlyRate;
    const double besideRate = m_spec.besideFirst ? earlyRate : lateRate;
    return {{"shared_MB/s", rate}, {"beside_MB/s", besideRate}, {"shared_ratio", rate / besideRate}};
}

void CRun::AddPath(Values& values) const {
    const double packets = std::max(1.0, static_cast<double>(m_path->Out().Packets()));
    values["dropped_percent"] = 100 * static_cast<double>(m_path->Out().QueueDrops()) / packets;
    values["queue_p50_ms"] = m_path->Out().MedianQueueMs();
}

CProcess::Options CRun::ProcessOptions(const char* name) const {
    CProcess::Options options;
    if (m_spec.oneCore) options.core = TheCore();
    if (!m_options.tempFolder.empty()) options.environment["TMPDIR"] = m_options.tempFolder;
    options.environment["LUMO_LOG"] = m_spec.logOn ? m_options.tempFolder + "/" + name + ".log" : "off";
    return options;
}

/// From here on the driver's two processes are at work.
CFlow& CRun::Begin(const RunSpec& spec) {
    CFlow& flow = m_flows.emplace_back(spec);
    if (flow.Driver().listener == Listener::RelayServer && !m_server) {
        m_server.emplace(m_options.lumoProgram, ProcessOptions("server"), m_path ? &m_path->Server() : nullptr);
        m_server->WaitUntilServing(m_nDeadline);
    }
    StartSides(flow);
    for (const Role role : {Role::Sender, Role::Receiver}) WaitFor(flow.Side(role), "connected");
    if (m_server) m_dServerCpuAtStart = m_server->Process().CpuSeconds();
    for (const Role role : {Role::Sender, Role::Receiver}) flow.Side(role).Tell("start");
    return flow;
}

void CRun::Start(CFlow& flow, Role role, uint16_t port) {
    const bool sends = role == Role::Sender;
    CProcess::Options options = ProcessOptions(sends ? "sender" : "receiver");
    if (m_path) options.networkSpace = (sends ? m_path->Sender() : m_path->Receiver()).Descriptor();
    flow.Start(role, port, options);
}

void CRun::StartSides(CFlow& flow) {
    if (m_server) {
        Start(flow, Role::Sender, m_server->Port());
        Start(flow, Role::Receiver, m_server->Port());
        return;
    }
    const Role first = flow.Driver().listener == Listener::Sender ? Role::Sender : Role::Receiver;
    Start(flow, first, 0);
    WaitFor(flow.Side(first), "listening");
    const auto port = flow.Side(first).Event("listening").at("port").get<uint16_t>();
    Start(flow, first == Role::Sender ? Role::Receiver : Role::Sender, port);
}

void CRun::WaitFor(CChild& child, const char* event) {
    while (!child.Has(event)) WaitForAny(m_nDeadline);
}

void CRun::WaitForAny(int64_t untilNs) {
    std::vector<pollfd> waits;
    for (const CFlow& flow : m_flows)
        for (const int descriptor : flow.Descriptors()) waits.push_back({descriptor, POLLIN, 0});
    if (NowNs() >= m_nDeadline)
        throw std::runtime_error("not done within " + std::to_string(m_options.deadlineSeconds) + " s");
    const int64_t left = std::max<int64_t>(untilNs - NowNs(), 0) / kNsPerMs;
    poll(waits.data(), waits.size(), static_cast<int>(std::min<int64_t>(left + 1, 200)));
    for (size_t i = 0; i < waits.size(); ++i)
        if (waits[i].revents != 0) m_flows[i / 2].TakeIn(i % 2);
    if (m_server && m_server->Process().WaitForEnd(0)) throw std::runtime_error("the relay server ended");
}

Values CRun::Collect(CFlow& flow) {
    std::optional<double> serverCpu;
    if (m_server) serverCpu = m_server->Process().CpuSeconds() - m_dServerCpuAtStart;
    flow.Other().Tell("stop");
    WaitFor(flow.Other(), "stopped");
    return flow.Numbers(serverCpu);
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
