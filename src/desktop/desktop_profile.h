// The desktop medium's own numbers.
#pragma once

#include "link/share_profile.h"

namespace desktop {

inline constexpr CShareProfile kProfile{.codes = wire::kDesktopCodes,
                                        .namesRelayPort = true,
                                        .sourceTimeoutMs = 30000,
                                        .senderKeepAliveEvery = 11,
                                        .peerGoodbyes = 2};

}  // namespace desktop
