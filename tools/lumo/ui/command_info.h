// What the command line is: one table, of which help, manual, completion and settings are made.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace lumo {

struct OptionInfo {
    std::string name;   ///< "-o,--out"; of what stands for itself its label, "FILE"
    std::string value;  ///< "HOST[:PORT]"; words in small letters stand for themselves, "auto|relay"; empty: a flag
    std::string help;
    std::string usual;  ///< unless given
    std::string group;
    bool positional = false, required = false, repeats = false;

    /// "-o, --out DIRECTORY", "FILE...".
    std::string Label() const;
    /// "-o", "--out"; none of what stands for itself.
    std::vector<std::string> Names() const;
    /// What it says about itself, its usual value included.
    std::string Words() const;
};

/// A line to type, and what it does.
struct ExampleInfo {
    std::string line, words;
};

/// What a line that was not understood ends with.
inline constexpr int kUsageExit = 2;

struct ExitInfo {
    int code;
    std::string words;
};

/// A variable of the environment, or a file.
struct PlaceInfo {
    std::string name, words;
};

struct CommandInfo {
    std::string name;  ///< with those that it belongs to: "lumo publish audio"
    std::string help;
    std::string group;  ///< empty: it is not shown
    std::vector<std::string> notes;
    std::vector<ExampleInfo> examples;
    std::vector<ExitInfo> exits;
    std::vector<PlaceInfo> variables, files;
    std::vector<OptionInfo> options;
    std::vector<CommandInfo> subs;

    /// The last word of its name.
    std::string Word() const;
    /// "lumo send [OPTION]... FILE...".
    std::string Usage() const;
    /// The groups of its options, or of its subcommands, in the order in which they come first.
    std::vector<std::string> OptionGroups() const;
    std::vector<std::string> SubGroups() const;
    /// One that is shown.
    const CommandInfo* Find(const std::string& word) const;
    std::vector<std::string> SubWords() const;
};

/// Parts of a text between separators.
std::vector<std::string> SplitAt(const std::string& text, char separator);
std::string JoinWith(const std::vector<std::string>& parts, const std::string& separator);

}  // namespace lumo
