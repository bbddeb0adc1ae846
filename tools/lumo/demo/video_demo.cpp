#include "tools/lumo/demo/video_demo.h"

#include "tools/lumo/demo/demo_files.h"
#include "tools/lumo/demo/samples.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace lumo {
namespace {

constexpr const char* kFilm = "sample.h264";
constexpr uint64_t kLeastFrames = 50;       // of 100 in four seconds: the machine may be slow
constexpr uint64_t kFramesPerDropped = 10;  // one frame in ten may have given way to a key frame where nothing is lost

}  // namespace

IDemoStream::Words CVideoDemo::Publish(const std::string& folder) {
    const std::string path = folder + "/" + kFilm;
    if (!WriteFile(path, Sample(kFilm))) return {};
    m_check.emplace(path);
    return {path, "--loop"};
}

void CVideoDemo::Judge(const nlohmann::json& end, StreamRow& row) {
    const auto count = [&end](const char* key) { return end.value(key, uint64_t{0}); };
    row.frames = count("frames");
    const uint64_t dropped = count("skipped");
    const VideoVerdict verdict = m_check->Check(row.out);
    row.problem = verdict.problem;
    if (row.problem.empty() && (verdict.units != row.frames || verdict.units < kLeastFrames))
        row.problem = "too little was seen";
    if (row.problem.empty() && !row.lossy && dropped > row.frames / kFramesPerDropped)
        row.problem = std::to_string(dropped) + " frames were dropped where nothing is lost";
    char details[100];
    std::snprintf(details, sizeof details, "%llu key frames, %llu dropped before one, %s",
                  static_cast<unsigned long long>(count("key_frames")), static_cast<unsigned long long>(dropped),
                  verdict.decoded ? "decoded" : "not decoded: there is no ffmpeg");
    row.details = details;
}

}  // namespace lumo
