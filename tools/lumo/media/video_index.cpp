#include "tools/lumo/media/video_index.h"

#include "tools/lumo/media/annexb_reader.h"

#include <algorithm>

namespace lumo {

const VideoIndex::Key* VideoIndex::Nearest(uint64_t number) const {
    const Key* nearest = nullptr;
    const auto away = [number](const Key& key) { return std::max(key.number, number) - std::min(key.number, number); };
    const auto after = std::lower_bound(keys.begin(), keys.end(), number,
                                        [](const Key& key, uint64_t wanted) { return key.number < wanted; });
    if (after != keys.end()) nearest = &*after;
    if (after != keys.begin() && (!nearest || away(*std::prev(after)) < away(*nearest))) nearest = &*std::prev(after);
    return nearest;
}

const VideoIndex::Key* VideoIndex::After(uint64_t number, bool loop) const {
    const auto after = std::upper_bound(keys.begin(), keys.end(), number,
                                        [](uint64_t wanted, const Key& key) { return wanted < key.number; });
    if (after != keys.end()) return &*after;
    return loop && !keys.empty() ? &keys.front() : nullptr;
}

bool ReadVideoIndex(const VideoBytes& read, VideoIndex& index, std::string& problem) {
    std::string piece(256 * size_t{1024}, '\0');
    CAnnexBReader reader;
    AccessUnit unit;
    for (;;) {
        switch (reader.Next(unit)) {
            case CAnnexBReader::Result::Unit:
                if (unit.key) index.keys.push_back({unit.offset, index.units});
                ++index.units;
                break;
            case CAnnexBReader::Result::NeedMore: {
                const ssize_t got = read(piece.data(), piece.size());
                if (got < 0) {
                    problem = "it cannot be read";
                    return false;
                }
                if (got == 0) reader.Finish();
                reader.Feed(piece.data(), static_cast<size_t>(got));
                break;
            }
            case CAnnexBReader::Result::End:
                if (index.keys.empty()) problem = "there is no IDR picture in it, which decoding could begin with";
                return problem.empty();
            case CAnnexBReader::Result::Broken:
                problem = reader.Problem();
                return false;
        }
    }
}

}  // namespace lumo
