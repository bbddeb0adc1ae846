// How the server is and what it carries, for people.
#pragma once

#include "server/pages/verdict.h"
#include "server/status.h"

#include <string>

/// The whole page. It needs no script; the script only keeps it fresh.
std::string StreamsPage(const CServerStatus& status, const CPageLoad& load);

extern const char* const kPageStyle;
extern const char* const kPageScript;
