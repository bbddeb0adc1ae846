#include "server/pages/page.h"

#include "platform/lumonet/lumonet.h"
#include "server/pages/graph.h"
#include "server/server_options.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string Rate(uint64_t bytes) {
    const char* const units[] = {"B/s", "kB/s", "MB/s", "GB/s"};
    auto value = static_cast<double>(bytes);
    size_t unit = 0;
    while (value >= 1000 && unit < 3) {
        value /= 1000;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof(text), unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text;
}

std::string Percent(uint64_t permille) {
    return std::to_string(permille / 10) + "." + std::to_string(permille % 10) + " %";
}

std::string Lost(const CLinkSums& link) {
    return Percent(link.packets == 0 ? 0 : std::min<uint64_t>(link.retransmitted * 1000 / link.packets, 1000));
}

std::string Address(const CEndpointAddress& address, bool tcp, const CFlowStatus& flow) {
    const std::string control = *flow.control == 0 ? "" : std::string(", ") + flow.control;
    return EndpointText(address.ip, address.port) + (tcp ? " (tcp" : " (udp") + control + ")";
}

std::string Cell(const std::string& text) { return "<td>" + EscapeHtml(text) + "</td>"; }

std::string Publisher(const CChannelStatus& channel) {
    if (channel.home.ip != 0) return "relayed from " + EndpointText(channel.home.ip, channel.home.port);
    if (!channel.hasSource) return "nobody at the moment";
    return Address(channel.source.address, channel.source.tcp, channel.source.flow);
}

std::string ListenerRow(const CListenerStatus& listener) {
    std::string row = "<tr>" + Cell(Address(listener.address, listener.tcp, listener.flow)) +
                      Cell(std::to_string(listener.queuedFrames));
    if (listener.tcp) return row + Cell("-") + Cell("-") + "</tr>";
    return row + Cell(std::to_string(listener.roundTripMs) + " ms") + Cell(Lost(listener.link)) + "</tr>";
}

std::string ListenerTable(const CChannelStatus& channel) {
    if (channel.listenerCount == 0) return "<p class=\"quiet\">Nobody listens.</p>";
    std::string html =
        "<table><thead><tr><th>listener</th><th>frames waiting</th><th>round trip</th><th>sent again</th></tr></thead>"
        "<tbody>";
    for (const CListenerStatus& listener : channel.listeners) html += ListenerRow(listener);
    html += "</tbody></table>";
    if (channel.listenerCount > channel.listeners.size())
        html +=
            "<p class=\"quiet\">and " + std::to_string(channel.listenerCount - channel.listeners.size()) + " more</p>";
    return html;
}

std::string Graphs(const CChannelStatus& channel) {
    std::vector<uint32_t> rates;
    std::vector<uint32_t> losses;
    for (const CRateSample& sample : channel.history) {
        rates.push_back(sample.bytesPerSecond);
        losses.push_back(sample.lossPermille);
    }
    return "<div class=\"graphs\"><figure>" +
           GraphSvg(rates, CRateHistory::kBuckets, 1000, "rate", "rate over the last five minutes") + "<figcaption>" +
           EscapeHtml(Rate(channel.bytesPerSecond)) + "</figcaption></figure><figure>" +
           GraphSvg(losses, CRateHistory::kBuckets, 50, "loss", "packets sent again over the last five minutes") +
           "<figcaption>" + EscapeHtml(Percent(channel.lossPermille)) + " sent again</figcaption></figure></div>";
}

std::string Channel(const CChannelStatus& channel) {
    return "<section><h2>" + EscapeHtml(channel.medium) + " " + std::to_string(channel.channelID) +
           "</h2><p>Publisher: " + EscapeHtml(Publisher(channel)) + "</p>" + Graphs(channel) + ListenerTable(channel) +
           "</section>";
}

std::string Uptime(uint32_t seconds) {
    return std::to_string(seconds / 3600) + " h " + std::to_string(seconds / 60 % 60) + " min";
}

std::string Memory(const std::vector<CBudgetStatus>& budgets) {
    std::string html;
    for (const CBudgetStatus& budget : budgets)
        html += (html.empty() ? "Memory to " : "; to ") + EscapeHtml(budget.budget) + " " +
                std::to_string(budget.bytes >> 20) + " of " + std::to_string(budget.limit >> 20) + " MiB, " +
                std::to_string(budget.gaveWay) + " gave way";
    return html.empty() ? html : "<p>" + html + ".</p>";
}

}  // namespace

std::string StreamsPage(const CServerStatus& status) {
    std::string html =
        "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\">"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"><title>lumo mcu</title>"
        "<link rel=\"stylesheet\" href=\"/page.css\"><script src=\"/page.js\" defer></script></head><body>"
        "<header><h1>lumo mcu</h1><p>" +
        EscapeHtml(EndpointText(status.listenIP, status.port)) + ", up " + Uptime(status.uptimeSeconds) + ", " +
        std::to_string(status.channelCount) + " live streams, " + std::to_string(status.signalling.clients) +
        " signalling clients. <a href=\"/api/streams\">JSON</a> <a href=\"/metrics\">metrics</a></p>" +
        Memory(status.budgets) + "</header><main>";
    if (status.channels.empty()) html += "<p class=\"quiet\">No streams at the moment.</p>";
    for (const CChannelStatus& channel : status.channels) html += Channel(channel);
    if (status.channelCount > status.channels.size())
        html += "<p class=\"quiet\">The busiest " + std::to_string(status.channels.size()) + " are shown.</p>";
    return html + "</main></body></html>\n";
}
