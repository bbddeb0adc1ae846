// One run from the first process to the last.
#pragma once

#include "bench/harness/driver.h"
#include "bench/harness/spec.h"

#include <string>

namespace bench {

struct RunOptions {
    int deadlineSeconds = 60;  // of the whole run; its processes are killed when it passes
    std::string lumoProgram;   // the relay server's program
    std::string tempFolder;    // for logs and whatever drivers need; outlives their processes
};

/// Never throws for what happens in the run's processes: that is a failed result.
RunResult Run(const RunSpec& spec, const RunOptions& options);

}  // namespace bench
