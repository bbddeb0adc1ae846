// The processor's time, for who measures what something costs or waits a moment.
#pragma once

#include <cstdint>

namespace Lumo_Base {

/// Microseconds that never go back; only differences mean anything. Not the clock that tests replace.
uint64_t RunningUs();
/// Lets other threads run.
void Yield();

}  // namespace Lumo_Base
