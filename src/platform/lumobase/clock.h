// Time and random identifiers.
#pragma once

namespace Lumo_Base {

/// Milliseconds of a monotonic clock, at most 32 bits. Take differences in uint32_t: it wraps.
unsigned long GetTimestamp();

/// Test seam: replaces the clock of GetTimestamp; null gives the real one back. Not while other threads run.
void SetTimestampSource(unsigned long (*source)());

/// A random 32-bit value from the system's generator, never 0. Any thread.
unsigned long GenerateSSRC();

}  // namespace Lumo_Base
