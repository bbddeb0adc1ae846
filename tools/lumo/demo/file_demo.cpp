#include "tools/lumo/demo/file_demo.h"

#include "tools/lumo/demo/demo_files.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace lumo {
namespace {

constexpr uint32_t kChannel = 1001, kLossyChannel = 1002, kCutChannel = 1003;

bool HasEnded(const CChildProcess* child) { return !child || !child->Running(); }

}  // namespace

CChildProcess* CFileDemo::StartSender(const std::string& file, uint32_t channel, const Words& more) {
    Words words{"send", file, "--channel", std::to_string(channel), "--json"};
    words.insert(words.end(), more.begin(), more.end());
    CChildProcess* const sender = m_stage.Start(words);
    return m_stage.TakeLink(sender, m_links[channel]) ? sender : nullptr;
}

FileRow& CFileDemo::AddRow(const std::string& path, const std::string& file, uint32_t channel, const Words& way) {
    FileRow& row = m_rows.emplace_back();
    row.path = path;
    row.file = file;
    row.folder = m_stage.Folder() + "/" + std::to_string(m_rows.size());
    const auto says = [&way](const char* word) { return std::find(way.begin(), way.end(), word) != way.end(); };
    row.udp = !says("--tcp") && !says("p2p-tcp");
    Words words{"receive", m_links[channel], "--json", "--out", row.folder};
    words.insert(words.end(), way.begin(), way.end());
    if (!says("--path")) words.insert(words.end(), {"--path", "relay"});
    if (MakeDirectory(row.folder)) row.receiver = m_stage.Start(words);
    return row;
}

uint64_t CFileDemo::BytesOf(const FileRow& row) {
    const nlohmann::json event = row.receiver ? CDemoStage::LastEvent(*row.receiver) : nlohmann::json();
    return event.is_object() ? event.value("bytes", uint64_t{0}) : 0;
}

bool CFileDemo::WaitForRows(const std::vector<FileRow*>& rows) {
    const auto ended = [](const FileRow* row) { return HasEnded(row->receiver); };
    if (!m_stage.WaitUntil([&] { return std::all_of(rows.begin(), rows.end(), ended); })) return false;
    for (FileRow* row : rows) Judge(*row);
    return true;
}

bool CFileDemo::RunTogether() {
    const std::string& loss = m_stage.Options().loss;
    const std::string first = m_stage.Mcu(0), second = m_stage.Mcu(1);
    CDemoStage::Say(
        "one sender, receivers at once over UDP, TCP, a proxy, a relay between and peer to peer; beside them a path "
        "that loses " +
        loss);
    m_impaired = m_stage.StartImpaired(1);
    if (m_impaired.address.empty() || !StartSender(m_strSmall, kLossyChannel, {"--mcu", second})) return false;
    m_pLossyRow = &AddRow("UDP, losing " + loss, m_strSmall, kLossyChannel, {"--mcu", m_impaired.address});

    const CChildProcess* sender = StartSender(m_strBig, kChannel, {"--mcu", first, "--receivers", "7"});
    if (!sender) return false;
    const std::pair<const char*, Words> ways[] = {
        {"UDP", {}},
        {"TCP", {"--tcp"}},
        {"TCP through a proxy", {"--tcp", "--proxy", m_stage.Proxy()}},
        {"UDP through both servers", {"--near", second}},
        {"TCP through both servers", {"--near", second, "--tcp"}},
        {"peer to peer, UDP", {"--path", "p2p"}},
        {"peer to peer, TCP", {"--path", "p2p-tcp"}},
    };
    std::vector<FileRow*> rows;
    for (const auto& [path, way] : ways) {
        Words words{"--mcu", first};
        words.insert(words.end(), way.begin(), way.end());
        rows.push_back(&AddRow(path, m_strBig, kChannel, words));
    }
    return WaitForRows(rows) && m_stage.WaitUntil([&] { return HasEnded(sender); });
}

bool CFileDemo::RunCut() {
    const uint64_t size = SizeOf(m_strCut);
    const std::string rate = std::to_string(std::max<uint64_t>(size / 3, 1000000));
    const std::string first = m_stage.Mcu(0);
    if (!StartSender(m_strCut, kCutChannel, {"--mcu", first, "--receivers", "2", "--rate", rate})) return false;
    FileRow& udp = AddRow("UDP, server killed midway", m_strCut, kCutChannel, {"--mcu", first});
    FileRow& tcp = AddRow("TCP, server killed midway", m_strCut, kCutChannel, {"--mcu", first, "--tcp"});
    const auto midway = [&](const FileRow& row) { return HasEnded(row.receiver) || BytesOf(row) * 5 > size; };
    if (!m_stage.WaitUntil([&] { return midway(udp) && midway(tcp); })) return false;
    CDemoStage::Say("killing the first relay server midway, and starting it again");
    return m_stage.RestartFirstRelay() && WaitForRows({&udp, &tcp});
}

void CFileDemo::Judge(FileRow& row) {
    row.problem = CDemoStage::EndProblem(row.receiver);
    if (!row.problem.empty()) return;
    const nlohmann::json event = CDemoStage::LastEvent(*row.receiver);
    row.bytes = event.value("bytes", uint64_t{0});
    row.seconds = event.value("seconds", 0.0);
    row.repeated = event.value("duplicate_packets", uint64_t{0});
    row.problem = event.value("problem", "");
    row.equal = row.receiver->ExitCode() == 0 && SameContent(row.file, row.folder);
}

void CFileDemo::FinishLossyRow() {
    m_impaired.process->Stop();
    const nlohmann::json event = CDemoStage::LastEvent(*m_impaired.process);
    if (event.is_object()) m_pLossyRow->repeated = event.value("retransmitted", uint64_t{0});
}

bool CFileDemo::Run() {
    if (!MakeDemoFiles(m_stage.Options().file, m_stage.Folder(), m_strBig, m_strSmall, m_strCut))
        return CDemoStage::Fail("cannot make the files to send");
    if (!RunTogether() || !RunCut() || !WaitForRows({m_pLossyRow})) return false;
    FinishLossyRow();
    return true;
}

bool CFileDemo::Report() const {
    CDemoStage::Say("\n" + FileTable(m_rows));
    bool whole = true;
    for (const FileRow& row : m_rows) whole = (row.equal || CDemoStage::Fail(row.path + ": " + row.problem)) && whole;
    return whole;
}

std::string FileTable(const std::list<FileRow>& rows) {
    char line[160];
    std::snprintf(line, sizeof line, "%-28s %12s %8s %8s %14s  %s\n", "file over", "bytes", "seconds", "MB/s",
                  "retransmitted", "SHA-256");
    std::string table = line;
    for (const FileRow& row : rows) {
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
