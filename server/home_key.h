// What tells the servers that requests name apart.
#pragma once

#include "link/mcu_address.h"

#include <algorithm>
#include <functional>

/// The same for one server in whatever order its addresses are named.
inline CMcuAddress HomeKey(CMcuAddress home) {
    std::sort(home.ips.begin(), home.ips.end(), std::greater<>());
    return home;
}
