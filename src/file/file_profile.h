// The file medium's own numbers.
#pragma once

#include "link/share_profile.h"

namespace file {

inline constexpr CShareProfile kProfile{.codes = wire::kFileCodes,
                                        .namesRelayPort = false,
                                        .sourceTimeoutMs = 2000,
                                        .senderKeepAliveEvery = 12,
                                        .peerGoodbyes = CShareProfile::kGoodbyes};

}  // namespace file
