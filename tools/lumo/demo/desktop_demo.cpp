#include "tools/lumo/demo/desktop_demo.h"

#include "tools/lumo/demo/demo_files.h"
#include "tools/lumo/demo/test_picture.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>

namespace lumo {
namespace {

constexpr uint32_t kPictures = 50;  // more than a subscriber takes part in
constexpr uint32_t kWidth = 320, kHeight = 200;
constexpr size_t kLeastPictures = 15;  // of 40 in four seconds: the machine may be slow
constexpr size_t kLeastLossy = 3;      // where each waits for what was lost of the one before

/// What the files of a directory hold, in the order of their names.
std::vector<std::string> ReadFolder(const std::string& path) {
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error))
        files.push_back(entry->path().string());
    std::sort(files.begin(), files.end());
    for (std::string& file : files) file = ReadFile(file);
    return files;
}

}  // namespace

PictureCount CountPictures(const std::vector<std::string>& published, const std::vector<std::string>& seen) {
    PictureCount count;
    std::optional<size_t> last;
    for (const std::string& picture : seen) {
        const auto found = std::find(published.begin(), published.end(), picture);
        if (found == published.end()) {
            ++count.foreign;
            continue;
        }
        const auto place = static_cast<size_t>(found - published.begin());
        if (last) count.skipped += (place + published.size() - *last - 1) % published.size();
        last = place;
    }
    return count;
}

IDemoStream::Words CDesktopDemo::Publish(const std::string& folder) {
    const std::string screens = folder + "/screens";
    if (!MakeDirectory(screens)) return {};
    for (uint32_t i = 0; i < kPictures; ++i) {
        m_pictures.push_back(TestPng(kWidth, kHeight, i));
        if (!WriteFile(screens + "/" + std::to_string(1000 + i) + ".png", m_pictures.back())) return {};
    }
    return {screens, "--fps", "10", "--loop"};
}

void CDesktopDemo::Judge(const nlohmann::json& end, StreamRow& row) {
    row.frames = end.value("pictures", uint64_t{0});
    row.delayMs = end.value("delay_p50_ms", 0.0);
    const std::vector<std::string> seen = ReadFolder(row.out);
    const PictureCount count = CountPictures(m_pictures, seen);
    char details[80];
    std::snprintf(details, sizeof details, "%zu skipped for the slowest viewer, p99 %.1f ms", count.skipped,
                  end.value("delay_p99_ms", 0.0));
    row.details = details;
    if (seen.size() < (row.lossy ? kLeastLossy : kLeastPictures))
        row.problem = "too little was seen";
    else if (count.foreign > 0 || seen.size() != row.frames)
        row.problem = std::to_string(count.foreign) + " pictures are not the publisher's";
}

}  // namespace lumo
