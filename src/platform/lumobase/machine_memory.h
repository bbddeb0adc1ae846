// How much memory this process may hope for.
#pragma once

#include <cstdint>
#include <string>

/// The least of what the machine has and what the control groups of this process, of either version, leave it. `root`
/// stands before /proc and /sys. 0 where nothing says so.
uint64_t MachineMemory(const std::string& root = "");
