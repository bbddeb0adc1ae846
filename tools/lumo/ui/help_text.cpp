#include "tools/lumo/ui/help_text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace lumo {
namespace {

constexpr size_t kLeastWidth = 40;

/// The words of a shell's line, with their quotes.
std::vector<std::string> WordsOf(const std::string& line) {
    std::vector<std::string> words(1);
    char quote = 0;
    for (const char byte : line) {
        if (byte == '\'' || byte == '"') quote = quote == 0 ? byte : quote == byte ? '\0' : quote;
        if (byte == ' ' && quote == 0)
            words.emplace_back();
        else
            words.back() += byte;
    }
    return words;
}

/// To be copied: a line that is too long goes on in the next one as shells take it.
std::string Folded(const std::string& line, const std::string& margin, size_t width) {
    std::string all = "  ", before;
    size_t column = all.size();
    for (const std::string& word : WordsOf(line)) {
        const bool fits = column + word.size() + 3 <= width;  // with what a line ends in that goes on
        if (!before.empty() && !fits) {
            all += (before == "|" ? "\n" : " \\\n") + margin;
            column = margin.size();
        } else if (!before.empty()) {
            all += ' ';
            ++column;
        }
        all += word;
        column += word.size();
        before = word;
    }
    return all;
}

/// Rows of two columns; a left side that is too long has a line of its own.
class CHelpRows {
public:
    explicit CHelpRows(size_t width) : m_nWidth(width), m_nLeft(width < 70 ? 6 : width < 100 ? 24 : 30) {}

    void Title(const std::string& text) { m_strText += "\n" + text + ":\n"; }
    void Row(const std::string& left, const std::string& right) { Row(left, right, m_nLeft); }
    void Row(const std::string& left, const std::string& right, size_t column) {
        m_strText += "  " + left;
        if (left.size() + 4 > column)
            m_strText += "\n" + std::string(column, ' ');
        else
            m_strText += std::string(column - 2 - left.size(), ' ');
        m_strText += Wrapped(right, std::string(column, ' '), m_nWidth) + "\n";
    }
    void Line(const std::string& text) { m_strText += Wrapped(text, "", m_nWidth) + "\n"; }
    void Example(const ExampleInfo& example) {
        m_strText +=
            Folded(example.line, "      ", m_nWidth) + "\n      " + Wrapped(example.words, "      ", m_nWidth) + "\n";
    }
    const std::string& Text() const { return m_strText; }

private:
    const size_t m_nWidth, m_nLeft;
    std::string m_strText;
};

void AddOptionRows(const CommandInfo& command, CHelpRows& rows) {
    const auto isPositional = [](const OptionInfo& option) { return option.positional; };
    if (std::any_of(command.options.begin(), command.options.end(), isPositional)) rows.Title("Arguments");
    for (const OptionInfo& option : command.options) {
        if (option.positional) rows.Row(option.Label(), option.Words());
    }
    for (const std::string& group : command.OptionGroups()) {
        rows.Title(group);
        for (const OptionInfo& option : command.options) {
            if (!option.positional && option.group == group) rows.Row(option.Label(), option.Words());
        }
    }
}

}  // namespace

std::string Wrapped(const std::string& text, const std::string& margin, size_t width) {
    std::istringstream words(text);
    std::string all, word;
    size_t column = margin.size();
    while (words >> word) {
        const bool first = column == margin.size();
        if (!first && column + 1 + word.size() > width) {
            all += "\n" + margin;
            column = margin.size();
        } else if (!first) {
            all += ' ';
            ++column;
        }
        all += word;
        column += word.size();
    }
    return all;
}

size_t HelpWidth() {
    const char* columns = std::getenv("COLUMNS");  // NOLINT(concurrency-mt-unsafe): nobody sets variables
    size_t width = columns ? std::min(std::strtoul(columns, nullptr, 10), 1000UL) : 0;
    winsize size{};
    if (width == 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) width = size.ws_col;
    return width == 0 ? 80 : std::max(width, kLeastWidth);
}

std::string HelpText(const CommandInfo& command, size_t width) {
    CHelpRows rows(width);
    rows.Line(command.help);
    rows.Line("");
    rows.Line("Usage: " + command.Usage());
    for (const std::string& group : command.SubGroups()) {
        rows.Title(group);
        for (const CommandInfo& sub : command.subs) {
            if (sub.group == group) rows.Row(sub.Word(), sub.help);
        }
    }
    AddOptionRows(command, rows);
    for (const std::string& note : command.notes) {
        rows.Line("");
        rows.Line(note);
    }
    if (!command.examples.empty()) rows.Title("Examples");
    for (const ExampleInfo& example : command.examples) rows.Example(example);
    if (!command.variables.empty()) rows.Title("Environment");
    for (const PlaceInfo& place : command.variables) rows.Row(place.name, place.words);
    if (!command.files.empty()) rows.Title("Files");
    for (const PlaceInfo& place : command.files) rows.Row(place.name, place.words);
    if (!command.exits.empty()) rows.Title("Exit codes");
    for (const ExitInfo& exit : command.exits) rows.Row(std::to_string(exit.code), exit.words, 6);
    return rows.Text();
}

}  // namespace lumo
