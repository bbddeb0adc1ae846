#include "tools/lumo/ui/near_word.h"

#include <algorithm>

namespace lumo {
namespace {

/// How many letters were left out, put in, mistaken or swapped with their neighbour.
size_t Slips(const std::string& typed, const std::string& meant) {
    std::vector<size_t> before, above(meant.size() + 1), row(meant.size() + 1);
    for (size_t column = 0; column < above.size(); ++column) above[column] = column;
    for (size_t line = 1; line <= typed.size(); ++line) {
        row[0] = line;
        for (size_t column = 1; column < row.size(); ++column) {
            const bool same = typed[line - 1] == meant[column - 1];
            row[column] = std::min({above[column] + 1, row[column - 1] + 1, above[column - 1] + (same ? 0 : 1)});
            if (line > 1 && column > 1 && typed[line - 1] == meant[column - 2] && typed[line - 2] == meant[column - 1])
                row[column] = std::min(row[column], before[column - 2] + 1);
        }
        before = above;
        above = row;
    }
    return above.back();
}

}  // namespace

std::string NearWord(const std::string& word, const std::vector<std::string>& known) {
    constexpr size_t kLongest = 40;  // nobody mistypes a word that long
    std::string nearest;
    if (word.size() > kLongest) return nearest;
    size_t least = word.size() / 3 + 1;
    for (const std::string& one : known) {
        const bool begun = word.size() > 2 && one.compare(0, word.size(), word) == 0;
        const size_t slips = begun ? 0 : Slips(word, one);
        if (slips > least || (slips == least && !nearest.empty()) || slips >= word.size()) continue;
        nearest = one;
        least = slips;
    }
    return nearest;
}

}  // namespace lumo
