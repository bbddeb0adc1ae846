#include "platform/lumobase/processor.h"

#include <time.h>
#include <chrono>
#include <thread>

namespace Lumo_Base {

uint64_t RunningUs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

uint64_t ThreadTime() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

void Yield() { std::this_thread::yield(); }

}  // namespace Lumo_Base
