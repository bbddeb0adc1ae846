#include "source_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace {

/// The tables that a compiler makes for every exported class with virtual functions come with the class.
bool BelongsToListedClass(const std::string& name, const std::set<std::string>& listed) {
    for (const char* prefix : {"vtable for ", "typeinfo for ", "typeinfo name for "}) {
        if (name.rfind(prefix, 0) != 0) continue;
        const std::string members = name.substr(std::string(prefix).size()) + "::";
        const auto next = listed.lower_bound(members);
        return next != listed.end() && next->rfind(members, 0) == 0;
    }
    return false;
}

}  // namespace

// Every name that is visible from outside is one that an application may use, and every such name is visible.
TEST(ExportedNames, AreTheIntendedOnes) {
    std::set<std::string> intended;
    std::ifstream list(LUMO_SOURCE_DIR "/tests/unit/project/exported_names.txt");
    for (std::string line; std::getline(list, line);)
        if (!line.empty() && line[0] != '#') intended.insert(line);
    ASSERT_FALSE(intended.empty());

    const auto nm = RunShell("nm -D --defined-only --no-demangle -P '" LUMO_LIBRARY "' | cut -d' ' -f1 | c++filt");
    ASSERT_EQ(nm.exitCode, 0) << nm.output;
    std::set<std::string> exported;
    std::istringstream lines(nm.output);
    for (std::string line; std::getline(lines, line);)
        if (!BelongsToListedClass(line, intended)) exported.insert(line);

    std::vector<std::string> unintended, missing;
    std::set_difference(exported.begin(), exported.end(), intended.begin(), intended.end(),
                        std::back_inserter(unintended));
    std::set_difference(intended.begin(), intended.end(), exported.begin(), exported.end(),
                        std::back_inserter(missing));
    for (const std::string& name : unintended) ADD_FAILURE() << "visible, but not listed: " << name;
    for (const std::string& name : missing) ADD_FAILURE() << "listed, but not visible: " << name;
}
