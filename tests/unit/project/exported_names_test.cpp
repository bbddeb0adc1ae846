#include "source_tree.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

namespace {

/// Of a listed class: a member, or one of the tables that come with every class that has virtual functions.
bool BelongsToListedClass(std::string name, const std::set<std::string>& listed) {
    for (const std::string prefix : {"vtable for ", "typeinfo for ", "typeinfo name for "})
        if (name.rfind(prefix, 0) == 0) name = name.substr(prefix.size()) + "::";
    const std::string members = name.substr(0, name.find("::")) + "::";
    const auto next = listed.lower_bound(members);
    return name.find("::") != std::string::npos && next != listed.end() && next->rfind(members, 0) == 0;
}

/// A weak definition is a copy that whoever includes the header makes as well: inline functions, most tables. Which of
/// them a compiler emits depends on its optimiser.
bool IsWeak(char type) { return type == 'W' || type == 'V' || type == 'u'; }

void ExpectNames(const std::string& library, const std::string& listName) {
    std::set<std::string> intended;
    std::ifstream list(LUMO_SOURCE_DIR "/tests/unit/project/" + listName);
    for (std::string line; std::getline(list, line);)
        if (!line.empty() && line[0] != '#') intended.insert(line);
    ASSERT_FALSE(intended.empty());

    const auto nm = RunShell("nm -D --defined-only -P '" + library + "' | awk '{print $2, $1}' | c++filt");
    ASSERT_EQ(nm.exitCode, 0) << nm.output;
    std::set<std::string> exported;
    std::istringstream lines(nm.output);
    for (std::string line; std::getline(lines, line);) {
        ASSERT_GT(line.size(), 2U) << nm.output;
        const std::string name = line.substr(2);
        const bool isTable = name.find(" for ") != std::string::npos;
        if (!((isTable || IsWeak(line[0])) && BelongsToListedClass(name, intended))) exported.insert(name);
    }

    for (const std::string& name : exported) EXPECT_EQ(intended.count(name), 1U) << "visible, but not listed: " << name;
    for (const std::string& name : intended) EXPECT_EQ(exported.count(name), 1U) << "listed, but not visible: " << name;
}

}  // namespace

// Every name that is visible from outside is one that an application may use, and every such name is visible.
TEST(ExportedNames, AreTheIntendedOnes) { ExpectNames(LUMO_LIBRARY, "exported_names.txt"); }
TEST(ExportedNames, OfTheSealingLibraryToo) { ExpectNames(LUMO_SEAL_LIBRARY, "exported_names_seal.txt"); }

// Who does not seal needs no cryptography.
TEST(ExportedNames, TheLibraryItselfUsesNoCryptography) {
    const auto readelf = RunShell("readelf -d '" LUMO_LIBRARY "'");
    ASSERT_EQ(readelf.exitCode, 0) << readelf.output;
    EXPECT_EQ(readelf.output.find("libcrypto"), std::string::npos) << readelf.output;
}
