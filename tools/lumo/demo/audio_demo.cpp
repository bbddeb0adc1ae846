#include "tools/lumo/demo/audio_demo.h"

#include "tools/lumo/demo/demo_files.h"
#include "tools/lumo/demo/samples.h"
#include "tools/lumo/media/ogg_opus_reader.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace lumo {
namespace {

constexpr const char* kSample = "sample.opus";
constexpr uint64_t kLeastPackets = 150;  // of 200 in four seconds: the first may be missed, the machine may be slow
constexpr size_t kWorstShare = 10;       // one packet in ten may be lost where the path loses

/// The packets of a whole Ogg Opus file; none when it is not one.
std::vector<std::string> PacketsOf(std::string_view file) {
    COggOpusReader reader;
    reader.Feed(file.data(), file.size());
    reader.Finish();
    std::vector<std::string> packets(1);
    COggOpusReader::Result result;
    while ((result = reader.Next(packets.back())) == COggOpusReader::Result::Packet) packets.emplace_back();
    packets.pop_back();
    if (result == COggOpusReader::Result::Broken) packets.clear();
    return packets;
}

}  // namespace

size_t PacketsThatDiffer(const std::vector<std::string>& source, const std::vector<std::string>& heard) {
    size_t least = heard.size();
    for (size_t start = 0; start < source.size() && least > 0; ++start) {
        size_t differ = 0;
        for (size_t i = 0; i < heard.size() && differ < least; ++i)
            if (heard[i] != source[(start + i) % source.size()]) ++differ;
        least = std::min(least, differ);
    }
    return least;
}

IDemoStream::Words CAudioDemo::Publish(const std::string& folder) {
    const std::string path = folder + "/" + kSample;
    if (!WriteFile(path, Sample(kSample))) return {};
    return {path, "--loop"};
}

void CAudioDemo::Judge(const nlohmann::json& end, StreamRow& row) {
    row.frames = end.value("packets", uint64_t{0});
    row.delayMs = end.value("delay_p50_ms", 0.0);
    char details[80];
    std::snprintf(details, sizeof details, "%llu lost, jitter %.2f ms, p99 %.1f ms",
                  static_cast<unsigned long long>(end.value("lost", uint64_t{0})), end.value("jitter_ms", 0.0),
                  end.value("delay_p99_ms", 0.0));
    row.details = details;
    const std::vector<std::string> heard = PacketsOf(ReadFile(row.out));
    const size_t differ = PacketsThatDiffer(PacketsOf(Sample(kSample)), heard);
    if (heard.size() < kLeastPackets)
        row.problem = "too little was heard";
    else if (differ > (row.lossy ? heard.size() / kWorstShare : 0))
        row.problem = std::to_string(differ) + " packets are not the publisher's";
}

}  // namespace lumo
