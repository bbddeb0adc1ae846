#include "tools/lumo/ui/manual.h"

#include "tools/lumo/ui/help_text.h"

#include <algorithm>
#include <cctype>

namespace lumo {
namespace {

/// As man prints it: a dash that can be copied, and no line that begins a request.
std::string Roff(const std::string& text) {
    std::string safe;
    for (const char byte : text) {
        if (byte == '\\')
            safe += "\\e";
        else if (byte == '-')
            safe += "\\-";
        else if (byte == '"')
            safe += "\\(dq";
        else
            safe += byte;
    }
    return (!safe.empty() && (safe.front() == '.' || safe.front() == '\'') ? "\\&" : "") + safe;
}

std::string Sentence(const std::string& text) {
    const bool ends = text.empty() || text.back() == '.' || text.back() == '?';
    return Roff(text) + (ends ? "\n" : ".\n");
}

class CPage {
public:
    void Heading(const char* macro, const std::string& text) {
        std::string capitals = text;
        if (std::string(macro) == "SH")
            std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                           [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
        m_strText += "." + std::string(macro) + " " + Roff(capitals) + "\n";
    }
    void Row(const std::string& bold, const std::string& words) {
        m_strText += ".TP\n.B " + Roff(bold) + "\n" + Sentence(words);
    }
    void Plain(const std::string& text) { m_strText += text; }
    const std::string& Text() const { return m_strText; }

private:
    std::string m_strText;
};

void AddSubPages(const CommandInfo& command, CPage& page) {
    for (const std::string& group : command.SubGroups()) {
        page.Heading("SH", group);
        for (const CommandInfo& sub : command.subs) {
            if (sub.group == group) page.Row(ManualName(sub) + "(1)", sub.help);
        }
    }
}

void AddOptionsTo(const CommandInfo& command, CPage& page) {
    page.Heading("SH", "Options");
    for (const OptionInfo& option : command.options) {
        if (option.positional) page.Row(option.Label(), option.Words());
    }
    for (const std::string& group : command.OptionGroups()) {
        if (group != command.OptionGroups().front()) page.Heading("SS", group);
        for (const OptionInfo& option : command.options) {
            if (!option.positional && option.group == group) page.Row(option.Label(), option.Words());
        }
    }
}

void AddPlaces(const char* heading, const std::vector<PlaceInfo>& places, CPage& page) {
    if (!places.empty()) page.Heading("SH", heading);
    for (const PlaceInfo& place : places) page.Row(place.name, place.words);
}

}  // namespace

std::string ManualName(const CommandInfo& command) {
    std::string name = command.name;
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string ManualPage(const CommandInfo& command, const ManualEdge& edge) {
    CPage page;
    const std::string name = ManualName(command);
    page.Plain(".TH " + Roff(name) + " 1 \"" + edge.date + "\" \"" + edge.version + "\" \"lumo\"\n.nh\n.ad l\n");
    page.Heading("SH", "Name");
    page.Plain(Roff(name) + " \\- " + Roff(command.help) + "\n");
    page.Heading("SH", "Synopsis");
    page.Plain(".nf\n" + Roff(command.Usage()) + "\n.fi\n");
    page.Heading("SH", "Description");
    page.Plain(Sentence(command.help));
    for (const std::string& note : command.notes) page.Plain(".PP\n" + Sentence(note));
    AddSubPages(command, page);
    AddOptionsTo(command, page);
    if (!command.examples.empty()) page.Heading("SH", "Examples");
    for (const ExampleInfo& example : command.examples)
        page.Plain(".TP\n.B " + Roff(example.line) + "\n" + Sentence(example.words));
    AddPlaces("Environment", command.variables, page);
    AddPlaces("Files", command.files, page);
    if (!command.exits.empty()) page.Heading("SH", "Exit status");
    for (const ExitInfo& exit : command.exits) page.Row(std::to_string(exit.code), exit.words);
    const size_t parent = command.name.rfind(' ');
    if (parent != std::string::npos) {
        CommandInfo above;
        above.name = command.name.substr(0, parent);
        page.Heading("SH", "See also");
        page.Plain(".BR " + Roff(ManualName(above)) + " (1)\n");
    }
    return page.Text();
}

std::string SettingsTemplate(const CommandInfo& command) {
    std::string text = "# Options of " + command.name + ", each as `NAME = VALUE`; a list is [\"ONE\", \"TWO\"].\n";
    for (const OptionInfo& option : command.options) {
        if (option.positional || option.name.find("--") == std::string::npos || option.name == "-h,--help" ||
            option.name == "--config")
            continue;
        const std::string name = option.Names().back().substr(2);
        text += "\n# " + Wrapped(option.Words(), "# ", 100) + "\n#" + name + " = ";
        text += option.usual.empty() ? (option.value.empty() ? "true" : "\"" + option.value + "\"") : option.usual;
        text += "\n";
    }
    return text;
}

}  // namespace lumo
