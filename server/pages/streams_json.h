// The live streams for machines.
#pragma once

#include "server/status.h"

#include <string>

std::string StreamsJson(const CServerStatus& status);
