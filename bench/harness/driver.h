// One transport doing one kind of work.
#pragma once

#include "bench/harness/side.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace bench {

enum class Role { Sender, Receiver };

/// Who opens the port that is dialled.
enum class Listener { Sender, Receiver, RelayServer };

struct CDriver {
    const char* name;
    Role measures;  // the side that calls Finish
    Listener listener;
    void (*sender)(CSide&);
    void (*receiver)(CSide&);
    /// Versions and every setting that differs from the transport's own defaults.
    nlohmann::json (*settings)();
};

const std::vector<CDriver>& Drivers();
const CDriver* FindDriver(const std::string& name);

}  // namespace bench
