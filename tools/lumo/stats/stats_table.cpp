#include "tools/lumo/stats/stats_table.h"

#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/ui/progress.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>
#include <vector>

namespace lumo {
namespace {

using Json = nlohmann::json;

// Eighty columns hold all of them.
enum Column { kLink, kVia, kIn, kOut, kRoundTrip, kAgain, kWaiting, kColumns };
using Row = std::array<std::string, kColumns>;
const Row kAboveHead = {"", "", "", "", "ROUND", "SENT", ""},
          kHead = {"LINK", "VIA", "IN/s", "OUT/s", "TRIP", "AGAIN", "WAITING"};

const Json& At(const Json& object, const char* name) {
    static const Json kNothing;
    const auto found = object.is_object() ? object.find(name) : object.end();
    return object.is_object() && found != object.end() ? *found : kNothing;
}
uint64_t Number(const Json& object, const char* name) {
    const Json& value = At(object, name);
    return value.is_number_unsigned() ? value.get<uint64_t>() : 0;
}
std::string Word(const Json& object, const char* name) {
    const Json& value = At(object, name);
    return value.is_string() ? Printable(value.get<std::string>()) : "";
}
const Json& List(const Json& object, const char* name) {
    static const Json kNone = Json::array();
    const Json& value = At(object, name);
    return value.is_array() ? value : kNone;
}

std::string Rate(uint64_t bytes) { return bytes == 0 ? "-" : BytesText(static_cast<double>(bytes)); }
std::string Percent(uint64_t permille) {
    return std::to_string(permille / 10) + "." + std::to_string(permille % 10) + " %";
}

Row NameRow(const std::string& name) {
    Row row;
    row[kLink] = name;
    return row;
}

/// The columns that every link has.
Row LinkRow(const Json& link, const std::string& way) {
    Row row;
    const std::string address = Word(link, "address"), flow = Word(link, "flow_control");
    row[kLink] = way + (address.empty() ? "nobody yet" : address);
    row[kVia] = Word(link, "transport") + (flow.empty() ? "" : " " + flow);
    const uint64_t roundTrip = Number(link, "round_trip_ms"), packets = Number(link, "packets");
    const uint64_t again = std::min(Number(link, "retransmitted"), packets);
    row[kRoundTrip] = roundTrip == 0 ? "-" : std::to_string(roundTrip) + " ms";
    row[kAgain] =
        packets == 0 ? "-"
                     : Percent(static_cast<uint64_t>(static_cast<double>(again) * 1000 / static_cast<double>(packets)));
    const uint64_t frames = Number(link, "queued_frames"), bytes = Number(link, "queued_bytes");
    row[kWaiting] = std::to_string(frames) + (bytes == 0 ? "" : ", " + BytesText(static_cast<double>(bytes)));
    return row;
}

std::vector<Row> ProgramRows(const Json& stats) {
    std::vector<Row> rows;
    for (const Json& link : List(stats, "links")) {
        Row row = LinkRow(link, Word(link, "medium") + " ");
        row[kIn] = Rate(Number(link, "bytes_per_second_in"));
        row[kOut] = Rate(Number(link, "bytes_per_second_out"));
        rows.push_back(std::move(row));
    }
    return rows;
}

std::string StreamName(const Json& stream) {
    return Word(stream, "medium") + " " + std::to_string(Number(stream, "channel"));
}

void AddStream(const Json& stream, const std::string& out, std::vector<Row>& rows) {
    const Json& publisher = At(stream, "publisher");
    const std::string home = Word(stream, "relayed_from");
    Row& row = rows.emplace_back(NameRow(StreamName(stream)));
    row[kIn] = Rate(Number(stream, "bytes_per_second"));
    row[kOut] = out;
    row[kAgain] = Percent(Number(stream, "loss_permille"));
    if (publisher.is_object())
        rows.push_back(LinkRow(publisher, "  from "));
    else
        rows.push_back(NameRow(home.empty() ? "  nobody publishes" : "  relayed from " + home));
    const Json& listeners = List(stream, "listeners");
    for (const Json& listener : listeners) rows.push_back(LinkRow(listener, "  to "));
    const uint64_t count = Number(stream, "listener_count");
    if (count > listeners.size())
        rows.push_back(NameRow("  and " + std::to_string(count - listeners.size()) + " more"));
}

/// A name with nothing beside it may reach into the next column.
size_t WidthIn(const Row& row, size_t column) {
    const bool alone = std::all_of(row.begin() + 1, row.end(), [](const std::string& cell) { return cell.empty(); });
    return alone ? 0 : row.at(column).size();
}

/// Columns move together where they would not fit otherwise.
std::string Aligned(const std::vector<Row>& rows, size_t width, size_t most) {
    std::array<size_t, kColumns> widths{};
    for (const Row& row : rows)
        for (size_t i = 0; i < kColumns; ++i) widths.at(i) = std::max(widths.at(i), WidthIn(row, i));
    const size_t all = std::accumulate(widths.begin(), widths.end(), size_t{0});
    const size_t gap = all + size_t{2} * (kColumns - 1) <= width ? 2 : 1;
    std::string text;
    for (size_t number = 0; number < std::min(rows.size(), most); ++number) {
        std::string line;
        for (size_t i = 0; i < kColumns; ++i) {
            const std::string& cell = rows.at(number).at(i);
            line += cell + std::string(std::max(widths.at(i), cell.size()) - cell.size() + gap, ' ');
        }
        line.resize(std::min(line.size(), width));
        line.resize(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::string ServerHead(const Json& stats) {
    uint64_t listeners = 0;
    for (const Json& stream : List(stats, "streams")) listeners += Number(stream, "listener_count");
    const std::string up = DurationText(static_cast<double>(Number(stats, "uptime_seconds")));
    return "server " + Word(stats, "listen") + ", up " + up + ", " + Counted(Number(stats, "stream_count"), "stream") +
           ", " + Counted(listeners, "listener") + "\n";
}

std::string ProgramHead(const Json& stats) {
    const Json& totals = At(stats, "totals");
    return "lumo " + Word(stats, "command") + ", process " + std::to_string(Number(stats, "process")) + ", " +
           BytesText(static_cast<double>(Number(totals, "bytes_per_second_out"))) + "/s sent and " +
           BytesText(static_cast<double>(Number(totals, "bytes_per_second_in"))) + "/s received over UDP\n";
}

}  // namespace

std::string CStatsTable::Text(const Json& stats, uint64_t now, size_t width, size_t most) {
    std::vector<Row> rows = {kAboveHead, kHead};
    if (At(stats, "links").is_array()) {
        for (Row& row : ProgramRows(stats)) rows.push_back(std::move(row));
        return ProgramHead(stats) + Aligned(rows, width, most - 1);
    }
    if (!At(stats, "streams").is_array()) return "";
    std::map<std::string, uint64_t> bytesOut;
    const uint64_t passed = now - m_ullBeforeMs;
    for (const Json& stream : List(stats, "streams")) {
        const std::string name = StreamName(stream) + Word(stream, "relayed_from");
        const uint64_t out = bytesOut[name] = Number(At(stream, "traffic"), "bytes_out");
        const auto before = m_bytesOut.find(name);
        const bool known = before != m_bytesOut.end() && before->second <= out && passed > 0;
        AddStream(stream, known ? Rate((out - before->second) * 1000 / passed) : "-", rows);
    }
    m_bytesOut.swap(bytesOut);
    m_ullBeforeMs = now;
    return ServerHead(stats) + Aligned(rows, width, most - 1);
}

}  // namespace lumo
