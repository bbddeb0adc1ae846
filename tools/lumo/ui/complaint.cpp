#include "tools/lumo/ui/command_app.h"
#include "tools/lumo/ui/near_word.h"

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

}  // namespace

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
    return strange.empty() ? error.what() : "that is more than it takes: " + JoinWith(strange, " ");
}

}  // namespace lumo
