#include "tools/lumo/media/video_check.h"

#include "tools/lumo/demo/child_process.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

namespace lumo {
namespace {

constexpr uint64_t kDecodeMs = 60000;  // far more than it takes

std::vector<AccessUnit> UnitsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    CAnnexBReader reader;
    reader.Feed(bytes.data(), bytes.size());
    reader.Finish();
    std::vector<AccessUnit> units;
    for (AccessUnit unit; reader.Next(unit) == CAnnexBReader::Result::Unit;) units.push_back(unit);
    return units;
}

/// A hash of every picture in the order in which they are shown; nothing when there is no decoder.
std::optional<std::vector<std::string>> Decode(const std::string& path, std::string& problem) {
    constexpr int kNotThere = 127;
    CChildProcess decoder;
    const std::vector<std::string> words{"/usr/bin/env", "ffmpeg", "-nostdin",    "-v", "error",    "-f", "h264", "-i",
                                         path,           "-vsync", "passthrough", "-f", "framemd5", "-"};
    if (!decoder.Start(words) || !decoder.WaitForEnd(kDecodeMs) || decoder.ExitCode() == kNotThere) return std::nullopt;
    problem = decoder.Errors();
    if (problem.empty() && decoder.ExitCode() != 0) problem = "the decoder failed";
    std::vector<std::string> pictures;
    std::istringstream lines(decoder.Output());
    for (std::string line; std::getline(lines, line);)
        if (!line.empty() && line[0] != '#') pictures.push_back(line.substr(line.rfind(' ') + 1));
    return pictures;
}

}  // namespace

CVideoCheck::CVideoCheck(const std::string& published) : m_strPublished(published), m_units(UnitsOf(published)) {}

std::string CVideoCheck::CheckUnits(const std::vector<AccessUnit>& recorded) const {
    if (recorded.empty()) return "nothing was recorded";
    auto expected = m_units.end();
    for (size_t i = 0; i < recorded.size(); ++i) {
        const AccessUnit& unit = recorded[i];
        const auto same = [&unit](const AccessUnit& other) { return other.bytes == unit.bytes; };
        if (unit.key)
            expected = std::find_if(m_units.begin(), m_units.end(), same);
        else if (expected != m_units.end() && !same(*expected))
            expected = m_units.end();
        if (expected == m_units.end()) return "access unit " + std::to_string(i) + " is not what was published";
        ++expected;
    }
    return "";
}

bool CVideoCheck::KnowPictures() {
    if (!m_pictures.empty()) return true;
    std::string ignored;
    const auto pictures = Decode(m_strPublished, ignored);
    if (pictures) m_pictures.insert(pictures->begin(), pictures->end());
    return pictures.has_value();
}

VideoVerdict CVideoCheck::Check(const std::string& recorded) {
    VideoVerdict verdict;
    const std::vector<AccessUnit> units = UnitsOf(recorded);
    verdict.units = units.size();
    verdict.problem = CheckUnits(units);
    if (!verdict.problem.empty() || !KnowPictures()) return verdict;
    const auto pictures = Decode(recorded, verdict.problem);
    verdict.decoded = pictures.has_value();
    if (!verdict.decoded || !verdict.problem.empty()) return verdict;
    if (pictures->size() != units.size())
        verdict.problem =
            std::to_string(units.size()) + " access units decode to " + std::to_string(pictures->size()) + " pictures";
    else if (!std::all_of(pictures->begin(), pictures->end(),
                          [this](const std::string& picture) { return m_pictures.count(picture); }))
        verdict.problem = "a picture is not what was published";
    return verdict;
}

}  // namespace lumo
