// Live links as a table: those of a server as its page tells them, or those of a program as its --stats file does.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace lumo {

/// Takes any JSON: what is missing or of another type shows as nothing. One thread.
class CStatsTable {
public:
    /// The lines of the table, at most `most` of them and each at most `width` characters; empty for what tells of no
    /// links at all. Rates towards listeners are since the last time.
    std::string Text(const nlohmann::json& stats, uint64_t now, size_t width, size_t most);

private:
    std::map<std::string, uint64_t> m_bytesOut;  // of each stream of a server
    uint64_t m_ullBeforeMs = 0;
};

}  // namespace lumo
