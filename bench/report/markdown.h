// The tables of the document beside the results.
#pragma once

#include "bench/rows/measured.h"

#include <string>

namespace bench {

/// MB/s of every driver over every path once it has settled, with its whole run and what the queue did to our wide
/// session.
std::string PathTable(const Measurements& measurements);

/// Who got what of the path that two shared.
std::string SharingTable(const Measurements& measurements);

/// The document with the text where its line `<!-- table NAME -->` is, up to the next `<!-- end -->`. Without one it
/// stays as it is.
std::string WithTable(const std::string& document, const std::string& name, const std::string& text);

}  // namespace bench
