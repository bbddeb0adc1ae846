// What an emulated path is like.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>

namespace bench {

/// Both directions alike.
struct PathSpec {
    static constexpr uint32_t kSender = 0x0A4D0001;            // 10.77.0.1
    static constexpr uint32_t kReceiver = 0x0A4D0002;          // 10.77.0.2
    static constexpr uint32_t kServerOfSender = 0x0A4D0003;    // 10.77.0.3, where a relay server stands between the two
    static constexpr uint32_t kReceiverBehind = 0x0A4E0001;    // 10.78.0.1
    static constexpr uint32_t kServerOfReceiver = 0x0A4E0003;  // 10.78.0.3

    bool IsEmulated() const { return megabits > 0; }

    double megabits = 0;  // a second; 0: no path is emulated
    double roundTripMs = 50;
    double lossPercent = 0;    // of each direction
    double queueProducts = 1;  // the queue before each direction, in products of rate and round trip
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(PathSpec, megabits, roundTripMs, lossPercent, queueProducts)

}  // namespace bench
