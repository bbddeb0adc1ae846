// How much of what a transfer is.
#pragma once

#include "tools/lumo/transfer/messages.h"
#include "tools/lumo/ui/progress.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

struct EntryCounts {
    static constexpr std::array<const char*, 4> kNames{"file", "folder", "link", "text"};
    static const char* Name(EntryKind kind) { return kNames.at(static_cast<size_t>(kind)); }

    std::array<uint32_t, kNames.size()> counts{};
    uint64_t bytes = 0;

    void Add(EntryKind kind, uint64_t size) {
        ++counts.at(static_cast<size_t>(kind));
        bytes += size;
    }
    uint32_t Files() const { return counts.at(static_cast<size_t>(EntryKind::File)); }
    /// "2 files, 1 folder, 3.2 MB".
    std::string Text() const {
        std::string text;
        for (size_t i = 0; i < counts.size(); ++i) {
            if (counts.at(i) == 0) continue;
            text += Counted(counts.at(i), kNames.at(i)) + ", ";
        }
        return text + BytesText(static_cast<double>(bytes));
    }
    nlohmann::json Json() const {
        nlohmann::json all{{"bytes", bytes}};
        for (size_t i = 0; i < counts.size(); ++i) all[std::string(kNames.at(i)) + "s"] = counts.at(i);
        return all;
    }
};

}  // namespace lumo
