#include "platform/lumobase/processor.h"

#include <chrono>
#include <thread>

namespace Lumo_Base {

uint64_t RunningUs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

void Yield() { std::this_thread::yield(); }

}  // namespace Lumo_Base
