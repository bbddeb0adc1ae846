#include "tools/lumo/demo/demo.h"

#include "tools/lumo/demo/board_demo.h"
#include "tools/lumo/demo/file_demo.h"
#include "tools/lumo/demo/stream_demo.h"

#include <cstdio>
#include <cstdlib>

namespace lumo {

bool RunDemo(const DemoOptions& options) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread yet
    setenv("XDG_CONFIG_HOME", "/dev/null", 1);  // its processes do what it says, not what the user has set
    CDemoStage stage(options);
    if (!stage.Open()) return false;
    CFileDemo files(stage);
    CStreamDemo streams(stage);
    CBoardDemo boards(stage);
    if (!files.Run() || !streams.Run() || !boards.Run()) return false;
    const bool filesWell = files.Report(), streamsWell = streams.Report(), boardsWell = boards.Report();
    char line[160];
    std::snprintf(line, sizeof line, "%s, %s, %s in %.1f seconds",
                  filesWell ? "every file arrived whole" : "not every file arrived",
                  streamsWell ? "every stream was good" : "not every stream was good",
                  boardsWell ? "all boards are equal" : "not all boards are equal", stage.Seconds());
    CDemoStage::Say(line);
    return filesWell && streamsWell && boardsWell;
}

}  // namespace lumo
