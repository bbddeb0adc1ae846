#include "server/pages/page.h"

#include "server/pages/graph.h"
#include "server/pages/overview.h"
#include "server/pages/units.h"
#include "server/server_options.h"

#include <algorithm>

namespace {

constexpr size_t kOpenListeners = 8;  // longer lists are folded

std::string Lost(const CLinkSums& link) {
    return PermilleText(link.packets == 0 ? 0 : std::min<uint64_t>(link.retransmitted * 1000 / link.packets, 1000));
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

std::string ListenerTable(const CChannelStatus& channel, const std::string& name) {
    const size_t count = channel.listenerCount;
    if (count == 0) return "<p class=\"quiet\">Nobody listens.</p>";
    std::string html = "<details id=\"" + name + "\"" + (count <= kOpenListeners ? " open" : "") + "><summary>" +
                       CountText(count) + (count == 1 ? " listener" : " listeners") +
                       "</summary><div class=\"wide\"><table><thead><tr><th>listener</th><th>frames waiting</th>"
                       "<th>round trip</th><th>sent again</th></tr></thead><tbody>";
    for (const CListenerStatus& listener : channel.listeners) html += ListenerRow(listener);
    html += "</tbody></table></div>";
    if (count > channel.listeners.size())
        html += "<p class=\"quiet\">and " + CountText(count - channel.listeners.size()) + " more</p>";
    return html + "</details>";
}

std::string Graphs(const CChannelStatus& channel) {
    std::vector<uint64_t> rates;
    std::vector<uint64_t> losses;
    for (const CRateSample& sample : channel.history) {
        rates.push_back(sample.bytesPerSecond);
        losses.push_back(sample.lossPermille);
    }
    return "<div class=\"graphs\">" +
           GraphHtml({"From the publisher", {{"", "a", rates}}, CRateHistory::kBuckets, "5 min", 1000, RateText}) +
           GraphHtml(
               {"Packets sent again", {{"", "warn", losses}}, CRateHistory::kBuckets, "5 min", 50, PermilleText}) +
           "</div>";
}

std::string ChannelHtml(const CChannelStatus& channel) {
    const std::string number = std::to_string(channel.channelID);
    const std::string name = EscapeHtml(channel.medium) + "-" + number + "-" + std::to_string(channel.home.ip) + "-" +
                             std::to_string(channel.home.port);
    return "<article><h3>" + EscapeHtml(channel.medium) + " " + number +
           "</h3><p>Publisher: " + EscapeHtml(Publisher(channel)) + "</p>" + Graphs(channel) +
           ListenerTable(channel, name) + "</article>";
}

std::string Uptime(uint32_t seconds) {
    return std::to_string(seconds / 3600) + " h " + std::to_string(seconds / 60 % 60) + " min";
}

}  // namespace

std::string StreamsPage(const CServerStatus& status, const CPageLoad& load) {
    std::string html =
        "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\">"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"><title>lumo mcu</title>"
        "<link rel=\"icon\" href=\"data:,\"><link rel=\"stylesheet\" href=\"/page.css\">"
        "<script src=\"/page.js\" defer></script></head><body><header><h1>lumo mcu</h1><p>" +
        EscapeHtml(EndpointText(status.listenIP, status.port)) + ", up " + Uptime(status.uptimeSeconds) +
        ". <a href=\"/api/streams\">JSON</a> <a href=\"/metrics\">metrics</a></p></header>"
        "<p id=\"away\" role=\"alert\" hidden></p><main>" +
        OverviewHtml(status, load) + "<section id=\"streams\"><h2>Live streams</h2>";
    if (status.channels.empty()) html += "<p class=\"quiet\">No streams at the moment.</p>";
    for (const CChannelStatus& channel : status.channels) html += ChannelHtml(channel);
    if (status.channelCount > status.channels.size())
        html += "<p class=\"quiet\">The busiest " + std::to_string(status.channels.size()) + " of " +
                CountText(status.channelCount) + " are shown.</p>";
    return html + "</section></main></body></html>\n";
}
