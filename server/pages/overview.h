// The upper part of the page: how the server is, at one look.
#pragma once

#include "server/pages/verdict.h"

#include <string>

/// Verdict, figures, the graphs of the last hour, and what was refused.
std::string OverviewHtml(const CServerStatus& status, const CPageLoad& load);
