#include "tools/lumo/ui/command_app.h"
#include "tools/lumo/ui/near_word.h"

#include <algorithm>

namespace lumo {
namespace {

bool IsOption(const std::string& word) { return word.size() > 1 && word.front() == '-'; }

std::string Meant(const std::string& near) { return near.empty() ? "" : "; did you mean " + near + "?"; }

std::string NoOption(const CommandInfo& command, const std::string& word) {
    const std::string name = word.substr(0, word.find('='));
    std::vector<std::string> known;
    for (const OptionInfo& option : command.options) {
        for (const std::string& one : option.Names()) known.push_back(one);
    }
    return "there is no option " + name + Meant(NearWord(name, known));
}

/// What stands before `mark`, in the words of the line: settings give some options under a hidden name.
std::string NameBefore(const std::string& text, const std::string& mark) {
    const std::string usual = UsualName("--"), name = text.substr(0, text.find(mark));
    return name.compare(0, usual.size(), usual) == 0 ? "--" + name.substr(usual.size()) : name;
}

/// What an option takes; empty: nothing.
std::string ValueOf(const CommandInfo& command, const std::string& name) {
    for (const OptionInfo& option : command.options) {
        if (option.positional && option.name == name) return name;
        const std::vector<std::string> names = option.Names();
        if (std::find(names.begin(), names.end(), name) != names.end()) return option.value;
    }
    return "";
}

}  // namespace

std::string InHouseWords(const CommandInfo& command, const CLI::ParseError& error) {
    static const std::string kConvert = "Could not convert: ";
    std::string text = error.what();
    if (dynamic_cast<const CLI::RequiredError*>(&error)) {
        const std::string name = NameBefore(text, " is required"), value = ValueOf(command, name);
        return name + (value == name ? "" : " " + value) + " is missing";
    }
    if (dynamic_cast<const CLI::ExcludesError*>(&error)) {
        const std::string mark = " excludes ", one = NameBefore(text, mark);
        return one + " and " + text.substr(std::min(text.size(), one.size() + mark.size())) + " do not go together";
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) {
        const std::string name = NameBefore(text, ": "), value = ValueOf(command, name);
        if (text.find("missing") == std::string::npos) return name + " may be given once";
        return name + " takes " + value + ", which is missing";
    }
    if (dynamic_cast<const CLI::ConversionError*>(&error)) {
        if (text.compare(0, kConvert.size(), kConvert) != 0) return NameBefore(text, ": ") + " is true or false";
        const std::string told = text.substr(kConvert.size()), name = NameBefore(told, " = ");
        const std::string value = ValueOf(command, name);
        if (value.empty()) return name + " takes no value";
        return name + " takes " + value + ", not " + told.substr(std::min(told.size(), told.find(" = ") + 3));
    }
    return text;
}

std::string ComplaintAbout(CNotedApp& named, const CLI::ParseError& error) {
    const std::vector<std::string> strange = named.remaining();
    const CommandInfo command = named.Info();
    for (const std::string& word : strange) {
        if (IsOption(word)) return NoOption(command, word);
    }
    if (!command.subs.empty()) {
        const std::string noun = named.subNoun, choice = "choose from " + JoinWith(command.SubWords(), ", ");
        if (strange.empty()) return "the " + noun + " is missing: " + choice;
        const std::string near = NearWord(strange.front(), command.SubWords());
        return "there is no " + noun + " '" + strange.front() + "'" + (near.empty() ? ": " + choice : Meant(near));
    }
    return strange.empty() ? InHouseWords(command, error) : "that is more than it takes: " + JoinWith(strange, " ");
}

}  // namespace lumo
