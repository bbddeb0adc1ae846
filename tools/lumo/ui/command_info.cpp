#include "tools/lumo/ui/command_info.h"

#include <algorithm>

namespace lumo {
namespace {

void AddOnce(std::vector<std::string>& groups, const std::string& group) {
    if (!group.empty() && std::find(groups.begin(), groups.end(), group) == groups.end()) groups.push_back(group);
}

}  // namespace

std::vector<std::string> SplitAt(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char byte : text) {
        if (byte == separator)
            parts.emplace_back();
        else
            parts.back() += byte;
    }
    return parts;
}

std::string JoinWith(const std::vector<std::string>& parts, const std::string& separator) {
    std::string text;
    for (const std::string& part : parts) text += (&part == parts.data() ? "" : separator) + part;
    return text;
}

std::vector<std::string> OptionInfo::Names() const {
    return positional ? std::vector<std::string>() : SplitAt(name, ',');
}

std::string OptionInfo::Label() const {
    if (positional) return name + (repeats ? "..." : "");
    return JoinWith(Names(), ", ") + (value.empty() ? "" : " " + value);
}

std::string OptionInfo::Words() const {
    std::string text = help;
    if (repeats && !positional) text += ". Repeatable";
    if (required && !positional) text += ". Required";
    if (!usual.empty()) text += ". Default: " + usual;
    return text;
}

std::string CommandInfo::Word() const { return name.substr(name.rfind(' ') + 1); }

std::string CommandInfo::Usage() const {
    constexpr size_t kFew = 5;
    std::string text = name;
    const std::vector<std::string> words = SubWords();
    if (!words.empty()) return text + " " + (words.size() <= kFew ? JoinWith(words, "|") : "COMMAND") + " ...";
    text += " [OPTION]...";
    for (const OptionInfo& option : options) {
        if (!option.positional && option.required) text += " " + option.Label();
    }
    for (const OptionInfo& option : options) {
        if (option.positional) text += option.required ? " " + option.Label() : " [" + option.Label() + "]";
    }
    return text;
}

std::vector<std::string> CommandInfo::OptionGroups() const {
    std::vector<std::string> groups;
    for (const OptionInfo& option : options) {
        if (!option.positional) AddOnce(groups, option.group);
    }
    return groups;
}

std::vector<std::string> CommandInfo::SubGroups() const {
    std::vector<std::string> groups;
    for (const CommandInfo& sub : subs) AddOnce(groups, sub.group);
    return groups;
}

const CommandInfo* CommandInfo::Find(const std::string& word) const {
    const auto sub = std::find_if(subs.begin(), subs.end(), [&word](const auto& one) { return one.Word() == word; });
    return sub == subs.end() || sub->group.empty() ? nullptr : &*sub;
}

std::vector<std::string> CommandInfo::SubWords() const {
    std::vector<std::string> words;
    for (const CommandInfo& sub : subs) {
        if (!sub.group.empty()) words.push_back(sub.Word());
    }
    return words;
}

}  // namespace lumo
