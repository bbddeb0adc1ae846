// Everything lumo can do, over loopback, each party a process of its own.
#pragma once

#include "tools/lumo/demo/demo_stage.h"

namespace lumo {

/// True when all that was sent arrived as it should.
bool RunDemo(const DemoOptions& options);

}  // namespace lumo
