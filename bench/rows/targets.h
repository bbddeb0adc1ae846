// What the library shall reach, and whether it did.
#pragma once

#include "bench/rows/measured.h"

#include <string>
#include <vector>

namespace bench {

/// A case's median, or its ratio to another case's, against a limit.
struct CTarget {
    std::string row;
    std::string text;
    std::string value;    // "MB/s", "p50_us" ...
    std::string of;       // case id
    std::string against;  // case id; empty: the figure itself counts
    bool atLeast;         // otherwise at most
    double limit;
};

enum class Verdict { Met, Missed, NotMeasured };

struct CJudged {
    CTarget target;
    Verdict verdict = Verdict::NotMeasured;
    double reached = 0;
    size_t failedRuns = 0;  // among those of its cases
};

const std::vector<CTarget>& Targets();

/// The targets of these rows; one whose cases brought nothing is not measured, which is never met.
std::vector<CJudged> Judge(const std::vector<std::string>& rows, const Measurements& measurements);

}  // namespace bench
