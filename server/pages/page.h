// The live streams for people.
#pragma once

#include "server/status.h"

#include <string>

/// The whole page. It needs no script; the script only keeps it fresh.
std::string StreamsPage(const CServerStatus& status);

extern const char* const kPageStyle;
extern const char* const kPageScript;
