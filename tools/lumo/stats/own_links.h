// The live links of this process as JSON, in the words that the server's page has for its own.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <map>
#include <tuple>

namespace lumo {

/// One thread.
class COwnLinks {
public:
    /// Fills in "links", and "totals" of what the process has carried so far, ended links included; rates are since the
    /// last time. No ID that would let a reader act as this process.
    void Fill(uint64_t now, nlohmann::json& line);

private:
    using Key = std::tuple<uint8_t, uint8_t, uint64_t>;  // medium, transport, ID
    struct Carried {
        uint64_t in = 0;
        uint64_t out = 0;
    };
    nlohmann::json Links(uint64_t ms);
    nlohmann::json Totals(uint64_t ms);

    std::map<Key, Carried> m_before;
    Carried m_allBefore;
    uint64_t m_ullBeforeMs = 0;
};

}  // namespace lumo
