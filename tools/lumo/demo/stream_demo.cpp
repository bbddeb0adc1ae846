#include "tools/lumo/demo/stream_demo.h"

#include "tools/lumo/demo/audio_demo.h"
#include "tools/lumo/demo/desktop_demo.h"
#include "tools/lumo/demo/video_demo.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace lumo {
namespace {

constexpr uint32_t kFirstChannel = 2001;
constexpr const char* kSeconds = "4";  // that a subscriber takes part once it hears something

}  // namespace

std::vector<std::unique_ptr<IDemoStream>> DemoStreams() {
    std::vector<std::unique_ptr<IDemoStream>> streams;
    streams.push_back(std::make_unique<CAudioDemo>());
    streams.push_back(std::make_unique<CVideoDemo>());
    streams.push_back(std::make_unique<CDesktopDemo>());
    return streams;
}

bool CStreamDemo::StartPublishers(IDemoStream& stream, uint32_t channel) {
    const Words what = stream.Publish(m_stage.Folder());
    if (what.empty()) return CDemoStage::Fail(std::string("cannot make the ") + stream.Medium() + " to publish");
    // The first server's channel is heard in every way but the lossy one, which leads to the second server.
    for (const int server : {0, 1}) {
        Words words{"publish", stream.Medium()};
        words.insert(words.end(), what.begin(), what.end());
        words.insert(words.end(), {"--json", "--mcu", m_stage.Mcu(server), "--channel",
                                   std::to_string(channel + static_cast<uint32_t>(server))});
        if (server == 0) words.emplace_back("--peers");
        if (!m_stage.TakeLink(m_stage.Start(words), m_links[channel + static_cast<uint32_t>(server)])) return false;
    }
    return true;
}

bool CStreamDemo::AddRow(const IDemoStream& stream, const std::string& path, uint32_t channel, const Words& way) {
    StreamRow& row = m_rows.emplace_back();
    row.medium = stream.Medium();
    row.path = path;
    row.out = m_stage.Folder() + "/" + std::to_string(m_rows.size()) + "-" + stream.OutName();
    Words words{"subscribe", m_links[channel], "--json", "--wait", "20", "--seconds", kSeconds, "--out", row.out};
    words.insert(words.end(), way.begin(), way.end());
    if (std::find(way.begin(), way.end(), "--path") == way.end()) words.insert(words.end(), {"--path", "relay"});
    row.subscriber = m_stage.Start(words);
    return row.subscriber != nullptr;
}

bool CStreamDemo::StartSubscribers(const IDemoStream& stream, uint32_t channel) {
    const std::string first = m_stage.Mcu(0), second = m_stage.Mcu(1);
    if (!AddRow(stream, "UDP, losing " + m_stage.Options().loss, channel + 1, {"--mcu", m_impaired.address}))
        return false;
    m_rows.back().lossy = true;
    const std::pair<const char*, Words> ways[] = {
        {"UDP", {}},
        {"TCP", {"--tcp"}},
        {"UDP through both servers", {"--near", second}},
        {"TCP through both servers", {"--near", second, "--tcp"}},
        {"peer to peer", {"--path", "p2p"}},
    };
    for (const auto& [path, way] : ways) {
        Words words{"--mcu", first};
        words.insert(words.end(), way.begin(), way.end());
        if (!AddRow(stream, path, channel, words)) return false;
    }
    return true;
}

void CStreamDemo::Judge(IDemoStream& stream, StreamRow& row) {
    row.problem = CDemoStage::EndProblem(row.subscriber);
    if (!row.problem.empty()) return;
    stream.Judge(CDemoStage::LastEvent(*row.subscriber), row);
    if (row.problem.empty() && row.subscriber->ExitCode() != 0) row.problem = row.subscriber->Errors();
}

bool CStreamDemo::WaitForRows() {
    const auto ended = [](const StreamRow& row) { return !row.subscriber->Running(); };
    return m_stage.WaitUntil([&] { return std::all_of(m_rows.begin(), m_rows.end(), ended); });
}

bool CStreamDemo::RunCut() {
    CDemoStage::Say("killing the first relay server, and starting it again: its publishers must be heard soon");
    if (!m_stage.RestartFirstRelay()) return false;
    uint32_t channel = kFirstChannel;
    for (const auto& stream : m_streams) {
        if (!AddRow(*stream, "UDP, server killed before", channel, {"--mcu", m_stage.Mcu(0)})) return false;
        channel += 2;
    }
    return WaitForRows();
}

bool CStreamDemo::Run() {
    CDemoStage::Say("live streams, each over every path at once, " + std::string(kSeconds) + " seconds each");
    m_impaired = m_stage.StartImpaired(1);
    if (m_impaired.address.empty()) return false;
    uint32_t channel = kFirstChannel;
    for (const auto& stream : m_streams) {
        if (!StartPublishers(*stream, channel) || !StartSubscribers(*stream, channel)) return false;
        channel += 2;
    }
    if (!WaitForRows() || !RunCut()) return false;
    for (StreamRow& row : m_rows)
        for (const auto& stream : m_streams)
            if (row.medium == stream->Medium()) Judge(*stream, row);
    return true;
}

bool CStreamDemo::Report() const {
    CDemoStage::Say("\n" + StreamTable(m_rows));
    bool well = true;
    for (const StreamRow& row : m_rows)
        well = (row.problem.empty() || CDemoStage::Fail(row.medium + ", " + row.path + ": " + row.problem)) && well;
    return well;
}

std::string StreamTable(const std::list<StreamRow>& rows) {
    char line[200];
    std::snprintf(line, sizeof line, "%-10s %-26s %8s %9s  %-6s  %s\n", "stream", "over", "frames", "delay ms",
                  "result", "besides");
    std::string table = line;
    for (const StreamRow& row : rows) {
        char delay[20] = "-";
        if (row.delayMs) std::snprintf(delay, sizeof delay, "%.1f", *row.delayMs);
        std::snprintf(line, sizeof line, "%-10s %-26s %8llu %9s  %-6s  ", row.medium.c_str(), row.path.c_str(),
                      static_cast<unsigned long long>(row.frames), delay, row.problem.empty() ? "good" : "BAD");
        table += line + row.details + "\n";
    }
    return table;
}

}  // namespace lumo
