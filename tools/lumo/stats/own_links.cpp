#include "tools/lumo/stats/own_links.h"

#include "core/wire/commands.h"
#include "platform/lumonet/lumonet.h"

#include <lumomedia/statistics.h>
#include <nlohmann/json.hpp>

#include <string>
#include <utility>

namespace lumo {
namespace {

const char* MediumOf(uint8_t kind) {
    switch (static_cast<wire::Kind>(kind)) {
        case wire::Kind::Audio:
            return "audio";
        case wire::Kind::Video:
            return "video";
        case wire::Kind::Whiteboard:
            return "board";
        case wire::Kind::Desktop:
            return "desktop";
        case wire::Kind::File:
            return "file";
        default:
            return "signalling";
    }
}

nlohmann::json FlowOf(const LumoLinkStatistics& link) {
    const bool session = link.byTransport == 0 && static_cast<wire::Kind>(link.byKind) != wire::Kind::Audio;
    if (session) return link.byWide != 0 ? "wide" : "given";
    const bool known = link.szCongestionControl && *link.szCongestionControl != '\0';
    return known ? nlohmann::json(link.szCongestionControl) : nlohmann::json();
}

nlohmann::json JsonOf(const LumoLinkStatistics& link) {
    const auto ip = static_cast<uint32_t>(link.ulRemoteIP);
    nlohmann::json json = {
        {"medium", MediumOf(link.byKind)},
        {"transport", link.byTransport == 0 ? "udp" : "tcp"},
        {"address",
         ip == 0 ? nlohmann::json() : nlohmann::json(GetIpAddr(ip) + ":" + std::to_string(link.usRemotePort))},
        {"flow_control", FlowOf(link)},
        {"frames_sent", link.ullFramesSent},
        {"frames_received", link.ullFramesReceived},
        {"frames_dropped", link.ullFramesDropped},
        {"bytes_sent", link.ullBytesSent},
        {"bytes_received", link.ullBytesReceived},
        {"packets", link.ullPacketsSent},
        {"packets_received", link.ullPacketsReceived},
        {"retransmitted", link.ullRetransmitted},
        {"duplicates", link.ullDuplicates},
        {"round_trip_ms", link.ulRoundTripMs},
        {"queued_frames", link.ulQueuedFrames},
        {"queued_bytes", link.ullQueuedBytes}};
    if (link.byWide != 0)
        json["path"] = {{"bytes_per_second", link.ullBandwidth},
                        {"smallest_round_trip_us", link.ulSmallestRoundTripUs},
                        {"bytes_in_flight", link.ullBytesInFlight},
                        {"packets_lost", link.ullPacketsLost}};
    return json;
}

uint64_t PerSecond(uint64_t before, uint64_t now, uint64_t ms) {
    return ms == 0 || now < before ? 0 : (now - before) * 1000 / ms;
}

}  // namespace

void COwnLinks::Fill(uint64_t now, nlohmann::json& line) {
    const uint64_t ms = m_ullBeforeMs == 0 ? 0 : now - m_ullBeforeMs;
    line["links"] = Links(ms);
    line["totals"] = Totals(ms);
    m_ullBeforeMs = now;
}

nlohmann::json COwnLinks::Links(uint64_t ms) {
    nlohmann::json links = nlohmann::json::array();
    std::map<Key, Carried> carried;
    LumoLinkStatistics link{};
    for (unsigned long i = 0; GetLinkStatistics(i, link); ++i) {
        const Key key{link.byKind, link.byTransport, link.ulLinkID};
        const Carried is{link.ullBytesReceived, link.ullBytesSent};
        const auto before = m_before.find(key);
        const Carried was = before == m_before.end() ? Carried() : before->second;
        nlohmann::json json = JsonOf(link);
        json["bytes_per_second_in"] = PerSecond(was.in, is.in, ms);
        json["bytes_per_second_out"] = PerSecond(was.out, is.out, ms);
        links.push_back(std::move(json));
        carried[key] = is;
    }
    m_before.swap(carried);
    return links;
}

nlohmann::json COwnLinks::Totals(uint64_t ms) {
    LumoProcessStatistics all{};
    GetProcessStatistics(all);
    const Carried was = std::exchange(m_allBefore, {all.ullDatagramBytesReceived, all.ullDatagramBytesSent});
    return {{"datagrams_sent", all.ullDatagramsSent},
            {"datagrams_received", all.ullDatagramsReceived},
            {"datagram_bytes_sent", all.ullDatagramBytesSent},
            {"datagram_bytes_received", all.ullDatagramBytesReceived},
            {"datagrams_refused", all.ullDatagramsRefused},
            {"bytes_per_second_in", PerSecond(was.in, m_allBefore.in, ms)},
            {"bytes_per_second_out", PerSecond(was.out, m_allBefore.out, ms)},
            {"retransmitted", all.ullRetransmitted},
            {"duplicates", all.ullDuplicates},
            {"frames_dropped", all.ullFramesDropped}};
}

}  // namespace lumo
