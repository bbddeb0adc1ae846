// What somebody meant who mistyped a word.
#pragma once

#include <string>
#include <vector>

namespace lumo {

/// The one of `known` that `word` was meant to be; empty when none is near.
std::string NearWord(const std::string& word, const std::vector<std::string>& known);

}  // namespace lumo
