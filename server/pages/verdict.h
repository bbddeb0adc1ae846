// Whether the server is well, in a sentence for each thing that is not.
#pragma once

#include "server/pages/hour.h"
#include "server/status.h"

#include <string>
#include <vector>

struct CFinding {
    bool bad;  ///< users suffer; else they may soon
    std::string text;
};

/// What the page needs besides the streams.
struct CPageLoad {
    unsigned cores = 1;
    std::vector<CHourSample> hour;

    /// The last minute of it.
    uint64_t CpuPermille() const;  ///< of one core
    uint64_t LossPermille() const;
    /// Of the refusals of the last hour, those for one reason.
    uint64_t RefusedFor(size_t reason) const;
};

std::vector<CFinding> Judge(const CServerStatus& status, const CPageLoad& load);
