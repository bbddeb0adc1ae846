#include "tools/lumo/demo/stream_rows.h"

#include "tools/lumo/media/ogg_opus_writer.h"
#include "tools/lumo/media/stream_files.h"

#include <algorithm>
#include <cstdio>

namespace lumo {
namespace {

/// A quarter of a minute in packets of 20 ms: nobody decodes them here.
bool MakeAudio(const std::string& path) {
    constexpr int kPackets = 750, kLength = 60;
    constexpr uint32_t kSamples = 960;
    std::string problem;
    const StreamFilePtr file = OpenStreamOutput(path, problem);
    if (!file) return false;
    COggOpusWriter writer(file.get());
    std::string head("OpusHead\x01\x01", 10);
    head += std::string("\0\0\x80\xbb\0\0\0\0\0", 9);  // no pre-skip, 48 kHz, no gain, one stream
    std::string tags("OpusTags");
    tags += std::string(8, '\0');
    writer.Begin(head, tags);
    for (int i = 0; i < kPackets; ++i)
        writer.Write("\xf8" + std::string(kLength, static_cast<char>(i)), (static_cast<uint64_t>(i) + 1) * kSamples);
    writer.End();
    return writer.Good();
}

std::string Cell(const std::optional<double>& value) {
    if (!value) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", *value);
    return text;
}

std::optional<double> Number(const nlohmann::json& event, const char* key) {
    const auto found = event.find(key);
    return found != event.end() && found->is_number() ? std::optional<double>(found->get<double>()) : std::nullopt;
}

}  // namespace

const std::vector<StreamMedium>& StreamMedia() {
    static const std::vector<StreamMedium> media = {
        {"audio", "stream.opus", "packets", "lost", 2001, 80, MakeAudio},
    };
    return media;
}

std::vector<StreamWay> StreamWays(const StreamPlaces& places) {
    return {{"UDP", {"--mcu", places.mcu, "--path", "relay"}},
            {"TCP", {"--mcu", places.mcu, "--path", "relay", "--tcp"}},
            {"UDP, losing " + places.loss, {"--mcu", places.lossyMcu, "--path", "relay"}, true},
            {"UDP through both servers", {"--mcu", places.mcu, "--near", places.secondMcu}},
            {"TCP through both servers", {"--mcu", places.mcu, "--near", places.secondMcu, "--tcp"}},
            {"peer to peer", {"--mcu", places.mcu, "--path", "p2p"}}};
}

void JudgeStream(StreamRow& row, int exitCode, const nlohmann::json& end) {
    if (exitCode != 0 || !end.is_object() || end.value("event", "") != "end") {
        row.problem = row.subscriber.Errors().empty() ? "it ended without a word" : row.subscriber.Errors();
        return;
    }
    row.frames = end.value(row.medium->frames, uint64_t{0});
    row.lost = end.value(row.medium->lost, uint64_t{0});
    row.jitterMs = Number(end, "jitter_ms");
    row.delayMs = Number(end, "delay_p50_ms");
    row.lateDelayMs = Number(end, "delay_p99_ms");
    const uint64_t whole = row.frames + row.lost;
    // Chance takes more than its share now and then, but not three times as much of a hundred.
    const auto bearable = static_cast<uint64_t>(row.loss > 0 ? 3 * row.loss * static_cast<double>(whole) + 5 : 0);
    if (whole < row.medium->fewest)
        row.problem = "only " + std::to_string(row.frames) + " " + row.medium->frames + " came";
    else if (row.lost > bearable)
        row.problem =
            std::to_string(row.lost) + " of " + std::to_string(whole) + " " + row.medium->frames + " are lost";
    row.good = row.problem.empty();
}

std::string StreamTable(const std::list<StreamRow>& rows) {
    char line[160];
    std::snprintf(line, sizeof line, "%-36s %8s %6s %9s %8s %8s\n", "stream", "arrived", "lost", "jitter ms",
                  "delay ms", "p99 ms");
    std::string table = line;
    for (const StreamRow& row : rows) {
        const std::string name = std::string(row.medium->name) + ", " + row.path;
        std::snprintf(line, sizeof line, "%-36s %8llu %6llu %9s %8s %8s%s\n", name.c_str(),
                      static_cast<unsigned long long>(row.frames), static_cast<unsigned long long>(row.lost),
                      Cell(row.jitterMs).c_str(), Cell(row.delayMs).c_str(), Cell(row.lateDelayMs).c_str(),
                      row.good ? "" : "  NOT GOOD");
        table += line;
    }
    return table;
}

}  // namespace lumo
