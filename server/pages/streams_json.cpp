#include "server/pages/streams_json.h"

#include "platform/lumonet/lumonet.h"
#include "server/server_options.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

const char* Transport(bool tcp) { return tcp ? "tcp" : "udp"; }

Json Listener(const CListenerStatus& listener) {
    Json json{{"address", EndpointText(listener.peer.ip, listener.peer.port)},
              {"transport", Transport(listener.tcp)},
              {"queued_frames", listener.queuedFrames}};
    if (listener.tcp) return json;
    json["queued_bytes"] = listener.queuedBytes;
    json["round_trip_ms"] = listener.roundTripMs;
    json["packets"] = listener.link.packets;
    json["retransmitted"] = listener.link.retransmitted;
    return json;
}

Json Source(const CStreamStatus& stream) {
    if (!stream.hasSource) return nullptr;
    return {{"address", EndpointText(stream.source.peer.ip, stream.source.peer.port)},
            {"transport", Transport(stream.source.tcp)},
            {"queued_frames", stream.source.queuedFrames}};
}

Json Traffic(const CTraffic& traffic) {
    return {{"frames_in", traffic.framesIn}, {"bytes_in", traffic.bytesIn},   {"frames_out", traffic.framesOut},
            {"bytes_out", traffic.bytesOut}, {"frames_up", traffic.framesUp}, {"bytes_up", traffic.bytesUp},
            {"dropped_up", traffic.dropped}};
}

Json Stream(const CStreamStatus& stream) {
    Json json{{"medium", stream.medium}, {"channel", stream.channelID}, {"publisher", Source(stream)}};
    json["relayed_from"] = stream.home.ip == 0 ? Json(nullptr) : Json(EndpointText(stream.home.ip, stream.home.port));
    json["listener_count"] = stream.listenerCount;
    json["listeners"] = Json::array();
    for (const CListenerStatus& listener : stream.listeners) json["listeners"].push_back(Listener(listener));
    json["traffic"] = Traffic(stream.traffic);
    json["bytes_per_second"] = stream.bytesPerSecond;
    json["loss_permille"] = stream.lossPermille;
    Json rates = Json::array();
    Json losses = Json::array();
    for (const CRateSample& sample : stream.history) {
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
              {"stream_count", status.streamCount},
              {"signalling",
               {{"clients", status.signalling.clients},
                {"forwarded", status.signalling.forwarded},
                {"dropped", status.signalling.dropped}}}};
    for (const CBudgetStatus& budget : status.budgets)
        json["memory"][budget.budget] = {
            {"bytes", budget.bytes}, {"limit", budget.limit}, {"gave_way", budget.gaveWay}};
    json["streams"] = Json::array();
    for (const CStreamStatus& stream : status.streams) json["streams"].push_back(Stream(stream));
    return json.dump() + "\n";
}
