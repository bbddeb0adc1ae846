#include "tools/lumo/demo/demo_stage.h"

#include "tools/lumo/demo/demo_files.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace lumo {
namespace {

constexpr uint64_t kLittleMs = 10000;  // for what takes milliseconds

}  // namespace

CDemoStage::~CDemoStage() {
    for (CChildProcess& child : m_children) child.Stop(0);
    if (!m_strFolder.empty()) RemoveFolder(m_strFolder);
}

void CDemoStage::Say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

bool CDemoStage::Fail(const std::string& problem) {
    std::fprintf(stderr, "lumo: %s\n", problem.c_str());
    return false;
}

std::string CDemoStage::Mcu(int server) const {
    return "127.0.0." + std::to_string(server + 1) + ":" + std::to_string(m_usPort);
}

double CDemoStage::Seconds() const { return static_cast<double>(CToolLoop::Now() - m_ullStart) / 1000; }

CChildProcess* CDemoStage::Start(Words words) {
    words.insert(words.begin(), m_strProgram);
    CChildProcess& child = m_children.emplace_back();
    if (child.Start(words)) return &child;
    m_children.pop_back();
    Fail("cannot start a process");
    return nullptr;
}

bool CDemoStage::StartRelay(int server) {
    CChildProcess* relay = Start({"mcu", "--listen", "127.0.0." + std::to_string(server + 1), "--port",
                                  std::to_string(m_usPort), "--http", "off"});
    if (!relay) return false;
    if (server == 0) m_pFirstRelay = relay;
    return relay->WaitForText("listening on", kLittleMs) || Fail("a relay server did not start: " + relay->Errors());
}

bool CDemoStage::RestartFirstRelay() {
    m_pFirstRelay->Stop(0);
    return StartRelay(0);
}

uint16_t CDemoStage::PortOf(CChildProcess* helper) {
    if (!helper) return 0;
    const nlohmann::json event = helper->WaitForText("\n", kLittleMs) ? LastEvent(*helper) : nlohmann::json();
    const uint16_t port = event.is_object() ? event.value("port", uint16_t{0}) : uint16_t{0};
    if (port == 0) Fail("a helper did not say its port: " + helper->Errors());
    return port;
}

ImpairedPath CDemoStage::StartImpaired(int server) {
    ImpairedPath path;
    path.process = Start({"impair", "--to", Mcu(server), "--loss", m_options.loss, "--delay",
                          std::to_string(m_options.delayMs), "--seed", std::to_string(m_options.seed)});
    const uint16_t port = PortOf(path.process);
    if (port != 0) path.address = "127.0.0.1:" + std::to_string(port);
    return path;
}

bool CDemoStage::Open() {
    m_ullStart = CToolLoop::Now();
    m_strProgram = OwnProgram();
    m_strFolder = MakeFolder();
    if (m_strProgram.empty() || m_strFolder.empty()) return Fail("cannot make a temporary directory");
    // One port on two addresses: a relay asks for streams from another one at its own port.
    m_usPort = FreePortOnBoth("127.0.0.1", "127.0.0.2");
    if (m_usPort == 0) return Fail("no port is free on 127.0.0.1 and 127.0.0.2");
    if (!StartRelay(0) || !StartRelay(1)) return false;
    Say("two relay servers: " + Mcu(0) + " and " + Mcu(1));
    m_usProxyPort = PortOf(Start({"connect-proxy"}));
    return m_usProxyPort != 0;
}

bool CDemoStage::Turn(uint64_t mostMs) {
    if (m_loop.Interrupted()) return Fail("interrupted");
    if (CToolLoop::Now() - m_ullStart > kBudgetMs) return Fail("it takes too long");
    std::vector<CChildProcess*> children;
    for (CChildProcess& child : m_children) children.push_back(&child);
    CChildProcess::ListenAny(children, mostMs, m_loop.SignalFd());
    m_loop.Wait(-1, 0);
    return true;
}

bool CDemoStage::TakeLink(const CChildProcess* child, std::string& link) {
    if (!child || !WaitUntil([child] { return child->Output().find('\n') != std::string::npos; })) return false;
    const std::string& said = child->Output();
    const auto ready = nlohmann::json::parse(said.substr(0, said.find('\n')), nullptr, false);
    const std::string line = ready.is_object() ? ready.value("command", "") : "";
    const size_t at = line.find("lumo://");
    if (at == std::string::npos) return Fail("a sender does not say how it is reached: " + child->Errors());
    link = line.substr(at, line.find(' ', at) - at);
    return true;
}

nlohmann::json CDemoStage::LastEvent(const CChildProcess& child) {
    const size_t end = child.Output().rfind('\n');
    if (end == std::string::npos) return {};
    const size_t line = child.Output().rfind('\n', end == 0 ? 0 : end - 1);
    const size_t start = line == std::string::npos || line == end ? 0 : line + 1;
    return nlohmann::json::parse(child.Output().substr(start, end - start), nullptr, false);
}

std::string CDemoStage::EndProblem(const CChildProcess* child) {
    if (!child) return "it was not started";
    const nlohmann::json event = LastEvent(*child);
    if (event.is_object() && event.value("event", "") == "end") return "";
    return child->Errors().empty() ? "it ended without a word" : child->Errors();
}

}  // namespace lumo
