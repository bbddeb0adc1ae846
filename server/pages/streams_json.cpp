#include "server/pages/streams_json.h"

#include "platform/lumonet/lumonet.h"
#include "server/server_options.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

const char* Transport(bool tcp) { return tcp ? "tcp" : "udp"; }

void AddFlow(Json& json, const CFlowStatus& flow) {
    json["flow_control"] = *flow.control == 0 ? Json(nullptr) : Json(flow.control);
    if (!flow.wide) return;
    json["path"] = {{"bytes_per_second", flow.bytesPerSecond},
                    {"smallest_round_trip_us", flow.smallestRoundTripUs},
                    {"bytes_in_flight", flow.bytesInFlight},
                    {"packets_lost", flow.packetsLost}};
}

Json Listener(const CListenerStatus& listener) {
    Json json{{"address", EndpointText(listener.address.ip, listener.address.port)},
              {"transport", Transport(listener.tcp)},
              {"queued_frames", listener.queuedFrames}};
    AddFlow(json, listener.flow);
    if (listener.tcp) return json;
    json["queued_bytes"] = listener.queuedBytes;
    json["round_trip_ms"] = listener.roundTripMs;
    json["packets"] = listener.link.packets;
    json["retransmitted"] = listener.link.retransmitted;
    return json;
}

Json Source(const CChannelStatus& channel) {
    if (!channel.hasSource) return nullptr;
    Json json{{"address", EndpointText(channel.source.address.ip, channel.source.address.port)},
              {"transport", Transport(channel.source.tcp)},
              {"queued_frames", channel.source.queuedFrames}};
    AddFlow(json, channel.source.flow);
    return json;
}

Json Traffic(const CTraffic& traffic) {
    return {{"frames_in", traffic.framesIn}, {"bytes_in", traffic.bytesIn},   {"frames_out", traffic.framesOut},
            {"bytes_out", traffic.bytesOut}, {"frames_up", traffic.framesUp}, {"bytes_up", traffic.bytesUp},
            {"dropped_up", traffic.dropped}};
}

Json Channel(const CChannelStatus& channel) {
    Json json{{"medium", channel.medium}, {"channel", channel.channelID}, {"publisher", Source(channel)}};
    json["relayed_from"] =
        channel.home.ip == 0 ? Json(nullptr) : Json(EndpointText(channel.home.ip, channel.home.port));
    json["listener_count"] = channel.listenerCount;
    json["listeners"] = Json::array();
    for (const CListenerStatus& listener : channel.listeners) json["listeners"].push_back(Listener(listener));
    json["traffic"] = Traffic(channel.traffic);
    json["bytes_per_second"] = channel.bytesPerSecond;
    json["loss_permille"] = channel.lossPermille;
    Json rates = Json::array();
    Json losses = Json::array();
    for (const CRateSample& sample : channel.history) {
        rates.push_back(sample.bytesPerSecond);
        losses.push_back(sample.lossPermille);
    }
    json["history"] = {{"every_ms", CRateHistory::kBucketMs}, {"bytes_per_second", rates}, {"loss_permille", losses}};
    return json;
}

}  // namespace

std::string StreamsJson(const CServerStatus& status) {
    Json json{{"uptime_seconds", status.uptimeSeconds},
              {"listen", EndpointText(status.listenIP, status.port)},
              {"stream_count", status.channelCount},
              {"signalling",
               {{"clients", status.signalling.clients},
                {"forwarded", status.signalling.forwarded},
                {"dropped", status.signalling.dropped}}}};
    for (const CBudgetStatus& budget : status.budgets)
        json["memory"][budget.budget] = {
            {"bytes", budget.bytes}, {"limit", budget.limit}, {"gave_way", budget.gaveWay}};
    json["ready"] = status.health.ready;
    for (const CRefusalStatus& refusal : status.refusals) json["refused"][refusal.reason] = refusal.count;
    json["streams"] = Json::array();
    for (const CChannelStatus& channel : status.channels) json["streams"].push_back(Channel(channel));
    return json.dump() + "\n";
}
