#include "tools/lumo/demo/demo.h"

#include "tools/lumo/demo/demo_files.h"
#include "tools/lumo/demo/sockets.h"

#include <signal.h>

#include <algorithm>
#include <cstdio>

namespace lumo {
namespace {

constexpr uint32_t kChannel = 1001, kLossyChannel = 1002, kCutChannel = 1003;
constexpr uint64_t kLittleMs = 10000;  // for what takes milliseconds

/// The port that the last object a process has written tells of.
uint16_t PortIn(const nlohmann::json& event) {
    return event.is_object() ? event.value("port", uint16_t{0}) : uint16_t{0};
}

void Say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

}  // namespace

CDemo::CDemo(const DemoOptions& options) : m_options(options) {}

CDemo::~CDemo() {
    for (CChildProcess* child : Children()) child->Stop(0);
    if (!m_strFolder.empty()) RemoveFolder(m_strFolder);
}

std::vector<CChildProcess*> CDemo::Children() {
    std::vector<CChildProcess*> children{&m_relays[0], &m_relays[1],   &m_secondLife, &m_impair,
                                         &m_proxy,     &m_lossySender, &m_sender,     &m_cutSender};
    for (DemoRow& row : m_rows) children.push_back(&row.receiver);
    for (CChildProcess& publisher : m_publishers) children.push_back(&publisher);
    for (StreamRow& row : m_streams) children.push_back(&row.subscriber);
    return children;
}

bool CDemo::Fail(const std::string& problem) {
    std::fprintf(stderr, "lumo: %s\n", problem.c_str());
    return false;
}

std::string CDemo::Mcu(int server) const {
    return "127.0.0." + std::to_string(server + 1) + ":" + std::to_string(m_usPort);
}

bool CDemo::StartProgram(CChildProcess& child, Words words) {
    words.insert(words.begin(), m_strProgram);
    return child.Start(words) || Fail("cannot start a process");
}

bool CDemo::StartRelay(CChildProcess& relay, const std::string& address) {
    const Words words{"mcu", "--listen", address, "--port", std::to_string(m_usPort), "--http", "off"};
    if (!StartProgram(relay, words)) return false;
    return relay.WaitForText("listening on", kLittleMs) || Fail("a relay server did not start: " + relay.Errors());
}

bool CDemo::StartRelays() {
    // One port on two addresses: a relay asks for files from another one at its own port.
    m_usPort = FreePortOnBoth("127.0.0.1", "127.0.0.2");
    if (m_usPort == 0) return Fail("no port is free on 127.0.0.1 and 127.0.0.2");
    return StartRelay(m_relays[0], "127.0.0.1") && StartRelay(m_relays[1], "127.0.0.2");
}

bool CDemo::StartHelpers() {
    const Words impair{"impair",
                       "--to",
                       Mcu(1),
                       "--loss",
                       m_options.loss,
                       "--delay",
                       std::to_string(m_options.delayMs),
                       "--seed",
                       std::to_string(m_options.seed)};
    if (!StartProgram(m_impair, impair) || !StartProgram(m_proxy, {"connect-proxy"})) return false;
    if (!m_impair.WaitForText("\n", kLittleMs) || !m_proxy.WaitForText("\n", kLittleMs))
        return Fail("a helper did not start: " + m_impair.Errors() + m_proxy.Errors());
    m_usImpairPort = PortIn(LastEvent(m_impair));
    m_usProxyPort = PortIn(LastEvent(m_proxy));
    return (m_usImpairPort != 0 && m_usProxyPort != 0) || Fail("a helper did not say its port");
}

bool CDemo::Prepare() {
    m_ullStart = CToolLoop::Now();
    m_strProgram = OwnProgram();
    m_strFolder = MakeFolder();
    if (m_strProgram.empty() || m_strFolder.empty()) return Fail("cannot make a temporary directory");
    if (!MakeDemoFiles(m_options.file, m_strFolder, m_strBig, m_strSmall, m_strCut))
        return Fail("cannot make the files to send");
    if (!StartRelays()) return false;
    Say("two relay servers: " + Mcu(0) + " and " + Mcu(1));
    return StartHelpers();
}

bool CDemo::StartSender(CChildProcess& sender, const std::string& file, uint32_t channel, const Words& more) {
    Words words{"send", file, "--channel", std::to_string(channel), "--json"};
    words.insert(words.end(), more.begin(), more.end());
    return StartProgram(sender, words);
}

DemoRow& CDemo::AddRow(const std::string& path, const std::string& file, uint32_t channel, const Words& way) {
    DemoRow& row = m_rows.emplace_back();
    row.path = path;
    row.file = file;
    row.folder = m_strFolder + "/" + std::to_string(m_rows.size());
    const auto says = [&way](const char* word) { return std::find(way.begin(), way.end(), word) != way.end(); };
    row.udp = !says("--tcp") && !says("p2p-tcp");
    Words words{"receive", std::to_string(channel), "--json", "--out", row.folder};
    words.insert(words.end(), way.begin(), way.end());
    if (!says("--path")) words.insert(words.end(), {"--path", "relay"});
    row.started = MakeDirectory(row.folder) && StartProgram(row.receiver, words);
    return row;
}

nlohmann::json CDemo::LastEvent(const CChildProcess& child) {
    const size_t end = child.Output().rfind('\n');
    if (end == std::string::npos) return {};
    const size_t line = child.Output().rfind('\n', end == 0 ? 0 : end - 1);
    const size_t start = line == std::string::npos || line == end ? 0 : line + 1;
    return nlohmann::json::parse(child.Output().substr(start, end - start), nullptr, false);
}

uint64_t CDemo::BytesOf(const DemoRow& row) {
    const nlohmann::json event = LastEvent(row.receiver);
    return event.is_object() ? event.value("bytes", uint64_t{0}) : 0;
}

template <class Done>
bool CDemo::WaitUntil(Done done) {
    while (!done()) {
        if (m_loop.Interrupted()) return Fail("interrupted");
        if (CToolLoop::Now() - m_ullStart > kBudgetMs) return Fail("it takes too long");
        CChildProcess::ListenAny(Children(), 200, m_loop.SignalFd());
        m_loop.Wait(-1, 0);
    }
    return true;
}

bool CDemo::WaitForRows(const std::vector<DemoRow*>& rows) {
    const auto ended = [](const DemoRow* row) { return !row->receiver.Running(); };
    if (!WaitUntil([&] { return std::all_of(rows.begin(), rows.end(), ended); })) return false;
    for (DemoRow* row : rows) Judge(*row);
    return true;
}

bool CDemo::RunTogether() {
    Say("one sender, receivers at once over UDP, TCP, a proxy, a relay between and peer to peer; beside them a path "
        "that loses " +
        m_options.loss);
    const std::string proxy = "http://127.0.0.1:" + std::to_string(m_usProxyPort);
    const std::string lossy = "127.0.0.1:" + std::to_string(m_usImpairPort);
    if (!StartSender(m_lossySender, m_strSmall, kLossyChannel, {"--mcu", Mcu(1)})) return false;
    m_pLossyRow = &AddRow("UDP, losing " + m_options.loss, m_strSmall, kLossyChannel, {"--mcu", lossy});
    m_pLossyRow->lossy = true;

    if (!StartSender(m_sender, m_strBig, kChannel, {"--mcu", Mcu(0), "--receivers", "7"})) return false;
    std::vector<DemoRow*> rows;
    rows.push_back(&AddRow("UDP", m_strBig, kChannel, {"--mcu", Mcu(0)}));
    rows.push_back(&AddRow("TCP", m_strBig, kChannel, {"--mcu", Mcu(0), "--tcp"}));
    rows.push_back(&AddRow("TCP through a proxy", m_strBig, kChannel, {"--mcu", Mcu(0), "--tcp", "--proxy", proxy}));
    rows.push_back(&AddRow("UDP through both servers", m_strBig, kChannel, {"--mcu", Mcu(0), "--near", Mcu(1)}));
    rows.push_back(
        &AddRow("TCP through both servers", m_strBig, kChannel, {"--mcu", Mcu(0), "--near", Mcu(1), "--tcp"}));
    rows.push_back(&AddRow("peer to peer, UDP", m_strBig, kChannel, {"--mcu", Mcu(0), "--path", "p2p"}));
    rows.push_back(&AddRow("peer to peer, TCP", m_strBig, kChannel, {"--mcu", Mcu(0), "--path", "p2p-tcp"}));
    return WaitForRows(rows) && WaitUntil([&] { return !m_sender.Running(); });
}

bool CDemo::StartStream(const StreamMedium& medium, uint32_t channel, const std::string& mcu) {
    const std::string file = m_strFolder + "/" + medium.file, number = std::to_string(channel);
    CChildProcess& publisher = m_publishers.emplace_back();
    return StartProgram(
        publisher, {"publish", medium.name, file, "--mcu", mcu, "--channel", number, "--loop", "--peers", "--quiet"});
}

bool CDemo::RunStreams() {
    const StreamPlaces places{Mcu(0), Mcu(1), "127.0.0.1:" + std::to_string(m_usImpairPort), m_options.loss};
    Say("live streams by the same ways, heard for " + std::to_string(kStreamSeconds) + " seconds each");
    for (const StreamMedium& medium : StreamMedia()) {
        if (!medium.make(m_strFolder + "/" + medium.file)) return Fail("cannot make the stream to publish");
        if (!StartStream(medium, medium.channel, Mcu(0)) || !StartStream(medium, medium.channel + 1, Mcu(1)))
            return false;
        for (const StreamWay& way : StreamWays(places)) {
            StreamRow& row = m_streams.emplace_back();
            row.medium = &medium;
            row.path = way.path;
            row.loss = way.lossy ? m_options.lossShare : 0;
            const std::string channel = std::to_string(medium.channel + (way.lossy ? 1 : 0));
            Words words{"subscribe", medium.name, channel, "--json", "--seconds", std::to_string(kStreamSeconds),
                        "--wait",    "20"};
            words.insert(words.end(), way.words.begin(), way.words.end());
            if (!StartProgram(row.subscriber, words)) return false;
        }
    }
    const auto ended = [](const StreamRow& row) { return !row.subscriber.Running(); };
    if (!WaitUntil([&] { return std::all_of(m_streams.begin(), m_streams.end(), ended); })) return false;
    for (StreamRow& row : m_streams) JudgeStream(row, row.subscriber.ExitCode(), LastEvent(row.subscriber));
    for (CChildProcess& publisher : m_publishers) publisher.Stop();
    return true;
}

bool CDemo::RunCut() {
    const uint64_t size = SizeOf(m_strCut);
    const std::string rate = std::to_string(std::max<uint64_t>(size / 3, 1000000));
    if (!StartSender(m_cutSender, m_strCut, kCutChannel, {"--mcu", Mcu(0), "--receivers", "2", "--rate", rate}))
        return false;
    DemoRow& udp = AddRow("UDP, server killed midway", m_strCut, kCutChannel, {"--mcu", Mcu(0)});
    DemoRow& tcp = AddRow("TCP, server killed midway", m_strCut, kCutChannel, {"--mcu", Mcu(0), "--tcp"});
    const auto midway = [&](const DemoRow& row) { return !row.receiver.Running() || BytesOf(row) * 5 > size; };
    if (!WaitUntil([&] { return midway(udp) && midway(tcp); })) return false;
    Say("killing the first relay server midway, and starting it again");
    m_relays[0].Stop(0);
    return StartRelay(m_secondLife, "127.0.0.1") && WaitForRows({&udp, &tcp});
}

void CDemo::Judge(DemoRow& row) {
    const nlohmann::json event = LastEvent(row.receiver);
    if (!row.started || !event.is_object() || event.value("event", "") != "end") {
        row.problem = row.receiver.Errors().empty() ? "it ended without a word" : row.receiver.Errors();
        return;
    }
    row.bytes = event.value("bytes", uint64_t{0});
    row.seconds = event.value("seconds", 0.0);
    row.repeated = event.value("duplicate_packets", uint64_t{0});
    row.problem = event.value("problem", "");
    row.equal = row.receiver.ExitCode() == 0 && SameContent(row.file, row.folder);
}

void CDemo::FinishLossyRow() {
    m_impair.Stop();
    const nlohmann::json event = LastEvent(m_impair);
    if (event.is_object()) m_pLossyRow->repeated = event.value("retransmitted", uint64_t{0});
}

bool CDemo::Report() {
    Say("\n" + DemoTable(m_rows) + "\n" + StreamTable(m_streams));
    bool whole = true, heard = true;
    for (const DemoRow& row : m_rows) {
        whole = whole && row.equal;
        if (!row.equal) Fail(row.path + ": " + row.problem);
    }
    for (const StreamRow& row : m_streams) {
        heard = heard && row.good;
        if (!row.good) Fail(std::string(row.medium->name) + ", " + row.path + ": " + row.problem);
    }
    const double seconds = static_cast<double>(CToolLoop::Now() - m_ullStart) / 1000;
    char line[120];
    std::snprintf(line, sizeof line, "%s, %s, in %.1f seconds",
                  whole ? "every file arrived whole" : "not every file arrived",
                  heard ? "every stream was heard" : "not every stream was heard", seconds);
    Say(line);
    return whole && heard;
}

bool CDemo::Run() {
    if (!Prepare() || !RunTogether() || !RunStreams() || !RunCut() || !WaitForRows({m_pLossyRow})) return false;
    FinishLossyRow();
    return Report();
}

std::string DemoTable(const std::list<DemoRow>& rows) {
    char line[160];
    std::snprintf(line, sizeof line, "%-28s %12s %8s %8s %14s  %s\n", "path", "bytes", "seconds", "MB/s",
                  "retransmitted", "SHA-256");
    std::string table = line;
    for (const DemoRow& row : rows) {
        const double rate = row.seconds > 0 ? static_cast<double>(row.bytes) / row.seconds / 1e6 : 0;
        const std::string repeated = row.udp ? std::to_string(row.repeated) : "-";
        std::snprintf(line, sizeof line, "%-28s %12llu %8.2f %8.1f %14s  %s\n", row.path.c_str(),
                      static_cast<unsigned long long>(row.bytes), row.seconds, rate, repeated.c_str(),
                      row.equal ? "equal" : "NOT EQUAL");
        table += line;
    }
    return table;
}

}  // namespace lumo
