#include "server/pages/overview.h"

#include "platform/lumonet/lumonet.h"
#include "server/pages/graph.h"
#include "server/pages/units.h"

#include <algorithm>

namespace {

std::string Verdict(const std::vector<CFinding>& findings) {
    const bool bad = !findings.empty() && findings.front().bad;
    const char* const cssClass = bad ? "bad" : findings.empty() ? "good" : "look";
    const char* const words = bad ? "✖ Something is wrong" : findings.empty() ? "✔ All is well" : "! Worth a look";
    std::string html = std::string("<section id=\"verdict\" class=\"") + cssClass + "\"><h2>" + words + "</h2>";
    if (findings.empty()) return html + "</section>";
    html += "<ul>";
    for (const CFinding& finding : findings) html += "<li>" + EscapeHtml(finding.text) + "</li>";
    return html + "</ul></section>";
}

std::string Tile(const char* name, const std::string& value, const std::string& more) {
    return std::string("<div><dt>") + name + "</dt><dd>" + EscapeHtml(value) + "<small>" + EscapeHtml(more) +
           "</small></dd></div>";
}

std::string Waiting(const std::vector<CBudgetStatus>& budgets) {
    std::string text;
    for (const CBudgetStatus& budget : budgets)
        text += (text.empty() ? "" : ", ") + std::string(budget.budget) + " " + BytesText(budget.bytes) + " of " +
                BytesText(budget.limit);
    return text;
}

std::string Tiles(const CServerStatus& status, const CPageLoad& load) {
    const bool measured = !load.hour.empty();
    const CHourSample last = measured ? load.hour.back() : CHourSample{};
    const auto when = [&](const std::string& text) { return measured ? text : std::string("–"); };
    size_t listeners = 0, relayed = 0, publishers = 0;
    for (const CMediumStatus& medium : status.media) {
        listeners += medium.sinksUdp + medium.sinksTcp;
        publishers += medium.sourcesUdp + medium.sourcesTcp;
        relayed += medium.relays;
    }
    const auto ofHour = [&](auto field) { return CountText(SumOfLast(load.hour, load.hour.size(), field)); };
    const unsigned cores = std::max(load.cores, 1U);
    return "<dl class=\"tiles\">" +
           Tile("Processor", when(PermilleText(load.CpuPermille() / cores)),
                "of " + std::to_string(cores) + (cores == 1 ? " core" : " cores") + ", busiest thread " +
                    when(PermilleText(last.threadPermille))) +
           Tile("Memory", when(BytesText(last.memoryBytes)), Waiting(status.budgets)) +
           Tile("Streams", CountText(status.channelCount),
                CountText(publishers) + " published here, " + CountText(relayed) + " relayed") +
           Tile("Listeners", CountText(listeners), CountText(status.signalling.clients) + " signalling clients") +
           Tile("Traffic out", when(RateText(last.bytesOut)), "in " + when(RateText(last.bytesIn))) +
           Tile("Sent again", when(PermilleText(load.LossPermille())), "of the packets, within a minute") +
           Tile("Dropped", ofHour([](const CHourSample& one) { return one.dropped; }), "frames, within an hour") +
           Tile("Refused", ofHour([](const CHourSample& one) { return one.Refused(); }), "requests, within an hour") +
           "</dl>";
}

template <class Field>
std::vector<uint64_t> Values(const CPageLoad& load, Field field) {
    std::vector<uint64_t> values;
    for (const CHourSample& sample : load.hour) values.push_back(field(sample));
    return values;
}

std::string HourGraph(const char* title, std::vector<CGraphLine> lines, uint64_t least, std::string (*text)(uint64_t)) {
    return GraphHtml({title, std::move(lines), CHour::kBuckets, "1 h", least, text});
}

std::string Hour(const CPageLoad& load) {
    using One = const CHourSample&;
    const uint64_t cores = std::max(load.cores, 1U);
    const auto mebibytes = [](uint64_t value) { return CountText(value) + " MiB"; };
    return "<section><h2>The last hour</h2><div class=\"graphs\">" +
           HourGraph("Processor, of all cores",
                     {{"", "a", Values(load, [&](One one) { return one.cpuPermille / cores; })}}, 100, PermilleText) +
           HourGraph("Traffic",
                     {{"out", "a", Values(load, [](One one) { return one.bytesOut; })},
                      {"in", "b", Values(load, [](One one) { return one.bytesIn; })}},
                     1000, RateText) +
           HourGraph("Who is there",
                     {{"listeners", "a", Values(load, [](One one) { return one.listeners; })},
                      {"streams", "b", Values(load, [](One one) { return one.streams; })}},
                     5, CountText) +
           HourGraph("Packets sent again", {{"", "warn", Values(load, [](One one) { return one.LossPermille(); })}}, 50,
                     PermilleText) +
           HourGraph("Requests refused, in 10 s", {{"", "warn", Values(load, [](One one) { return one.Refused(); })}},
                     5, CountText) +
           HourGraph("Memory of the process", {{"", "a", Values(load, [](One one) { return one.memoryBytes >> 20; })}},
                     10, mebibytes) +
           "</div></section>";
}

std::string Refusals(const CServerStatus& status, const CPageLoad& load) {
    std::string rows;
    for (size_t i = 0; i < status.refusals.size(); ++i) {
        const CRefusalStatus& one = status.refusals[i];
        if (one.count == 0) continue;
        rows += "<tr><td>" + EscapeHtml(one.text) + "</td><td>" + CountText(load.RefusedFor(i)) + "</td><td>" +
                CountText(one.count) + "</td><td>" + GetIpAddr(one.lastIP) + ", " + AgeText(one.secondsAgo) +
                " ago</td></tr>";
    }
    if (rows.empty()) return "<section><h2>Refused</h2><p class=\"quiet\">Nobody, since the start.</p></section>";
    return "<section><h2>Refused</h2><div class=\"wide\"><table><thead><tr><th>why</th><th>last hour</th><th>since the "
           "start</th><th>the last one</th></tr></thead><tbody>" +
           rows + "</tbody></table></div></section>";
}

}  // namespace

std::string OverviewHtml(const CServerStatus& status, const CPageLoad& load) {
    return Verdict(Judge(status, load)) + Tiles(status, load) + Hour(load) + Refusals(status, load);
}
