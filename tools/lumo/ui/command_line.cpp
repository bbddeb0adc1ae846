#include "tools/lumo/ui/command_line.h"

#include "tools/lumo/ui/command_app.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace lumo {
namespace {

/// The name of an option, and what its value is called.
struct OptionForm {
    std::string name, value;

    explicit OptionForm(const std::string& text) : name(text.substr(0, text.find(' '))) {
        if (name.size() < text.size()) value = text.substr(name.size() + 1);
    }
    CLI::Option* Put(CLI::Option* option) const {
        if (!value.empty() || option->get_positional()) option->type_name(value);
        return option;
    }
};

/// Changes what was typed; where that fails, `wanted` says behind it what it is not.
template <class Transform>
CLI::Validator Transformed(Transform transform, const std::string& wanted) {
    return {[transform = std::move(transform), wanted](std::string& text) {
                const std::string typed = text;
                try {
                    return transform(text).empty() ? "" : typed + wanted;
                } catch (const CLI::ValidationError&) {
                    return typed + wanted;
                }
            },
            ""};
}

template <class T>
CCommand::Read InRange(T least, T most) {
    return [least, most](const std::string& text) {
        T value{};
        if (CLI::detail::lexical_cast(text, value) && value >= least && value <= most) return std::string();
        return text + " is no number from " + CLI::detail::to_string(least) + " to " + CLI::detail::to_string(most);
    };
}

template <class T>
CLI::Option* AddValue(CLI::App& app, const char* text, T& value, const std::string& help) {
    const OptionForm form(text);
    return form.Put(app.add_option(form.name, value, help));
}

CLI::Option* AddRead(CLI::App& app, const char* text, const std::string& help, CCommand::Read read) {
    const OptionForm form(text);
    const auto readAll = [name = form.name, read = std::move(read)](const std::vector<std::string>& texts) {
        for (const std::string& given : texts) {
            const std::string error = read(given);
            if (!error.empty()) throw CLI::ValidationError(name, error);
        }
    };
    return form.Put(app.add_option_function<std::vector<std::string>>(form.name, readAll, help));
}

void AddToHelp(CLI::Option& option, const std::string& words) {
    option.description(option.get_description() + " (" + words + ")");
}

/// 33554432 is typed and read as 32MiB.
std::string SizeText(const std::string& digits) {
    static constexpr const char* kUnits[] = {"", "KiB", "MiB", "GiB"};
    uint64_t size = 0;
    if (!CLI::detail::lexical_cast(digits, size) || size == 0) return digits;
    size_t unit = 0;
    for (; size % 1024 == 0 && unit < 3; ++unit) size /= 1024;
    return std::to_string(size) + kUnits[unit];
}

}  // namespace

COption& COption::Required() {
    m_pOption->required();
    return *this;
}

COption& COption::ShowDefault() {
    m_pOption->capture_default_str();
    return *this;
}

COption& COption::Within(int64_t least, int64_t most) {
    AddToHelp(*m_pOption, std::to_string(least) + " to " + std::to_string(most));
    return Check(InRange(least, most));
}

COption& COption::Between(double least, double most) {
    AddToHelp(*m_pOption, CLI::detail::to_string(least) + " to " + CLI::detail::to_string(most));
    return Check(InRange(least, most));
}

COption& COption::Seconds(double least, double most) {
    return Check([least, most](const std::string& text) {
        double seconds = 0;
        const bool fits = CLI::detail::lexical_cast(text, seconds) && seconds >= least && seconds <= most;
        return fits ? std::string() : text + " is not a number of seconds that can be waited";
    });
}

COption& COption::OneOf(const std::vector<std::string>& values) {
    m_pOption->type_name(JoinWith(values, "|"));
    return Check([values](const std::string& text) {
        const bool known = std::find(values.begin(), values.end(), text) != values.end();
        return known ? std::string() : text + " is none of " + JoinWith(values, ", ");
    });
}

COption& COption::InUnits(std::initializer_list<std::pair<const char*, uint64_t>> units) {
    const std::map<std::string, uint64_t> factors(units.begin(), units.end());
    std::vector<std::string> names;
    for (const auto& unit : units) names.emplace_back(unit.first);
    const std::string wanted = " is no number, with or without one of " + JoinWith(names, ", ") + " behind it";
    m_pOption->transform(Transformed(CLI::AsNumberWithUnit(factors, CLI::AsNumberWithUnit::CASE_INSENSITIVE), wanted));
    return *this;
}

COption& COption::Bytes() {
    m_pOption->transform(Transformed(CLI::AsSizeValue(false), " is no number of bytes, such as 64k or 8MiB"));
    if (!m_pOption->get_default_str().empty()) m_pOption->default_str(SizeText(m_pOption->get_default_str()));
    return *this;
}

COption& COption::ExistingFile() {
    return Check([](const std::string& text) {
        return CLI::ExistingFile(text).empty() ? std::string() : "there is no file " + text;
    });
}

COption& COption::Check(std::function<std::string(const std::string&)> check) {
    m_pOption->check(CLI::Validator([check = std::move(check)](const std::string& text) { return check(text); }, ""));
    return *this;
}

COption& COption::Excludes(const COption& other) {
    m_pOption->excludes(other.m_pOption);
    return *this;
}

COption& COption::Group(const char* group) {
    m_pOption->group(group);
    return *this;
}

CCommand CCommand::Sub(const std::string& name, const std::string& help, const char* group) {
    return CCommand(m_pApp->AddSub(name, help, group));
}

void CCommand::NeedsSub(const char* noun) {
    m_pApp->require_subcommand(1);
    m_pApp->subNoun = noun;
}

COption CCommand::Add(const char* name, std::string& value, const std::string& help) {
    return COption(AddValue(*m_pApp, name, value, help));
}

COption CCommand::Add(const char* name, std::vector<std::string>& values, const std::string& help) {
    return COption(AddValue(*m_pApp, name, values, help));
}

COption CCommand::Add(const char* name, double& value, const std::string& help) {
    return COption(AddValue(*m_pApp, name, value, help));
}

COption CCommand::Add(const char* name, uint16_t& value, const std::string& help) {
    return COption(AddValue(*m_pApp, name, value, help));
}

COption CCommand::Add(const char* name, std::optional<double>& value, const std::string& help) {
    return COption(AddValue(*m_pApp, name, value, help));
}

COption CCommand::Add(const char* name, uint32_t& value, const std::string& help) {
    return COption(AddValue(*m_pApp, name, value, help));
}

COption CCommand::Add(const char* name, uint64_t& value, const std::string& help) {
    return COption(AddValue(*m_pApp, name, value, help));
}

void CCommand::AddFlag(const char* name, bool& value, const std::string& help) { m_pApp->add_flag(name, value, help); }

COption CCommand::AddText(const char* name, const std::string& help, Read read) {
    return COption(AddRead(*m_pApp, name, help, std::move(read))->expected(1));
}

COption CCommand::AddTexts(const char* name, const std::string& help, Read read) {
    return COption(AddRead(*m_pApp, name, help, std::move(read))
                       ->expected(1, CLI::detail::expected_max_vector_size)
                       ->allow_extra_args(false));
}

void CCommand::AddUsual(const std::string& option, const char* variable, std::string& usual) {
    m_pApp->add_option(UsualName(option), usual)->envname(variable)->group("");
}

void CCommand::AddSettings() {
    AddValue(*m_pApp, "--config FILE", m_pApp->Root().settings, "A file of settings, instead of the user's");
}

void CCommand::Note(const std::string& text) { m_pApp->notes.notes.push_back(text); }

void CCommand::Example(const std::string& line, const std::string& words) {
    m_pApp->notes.examples.push_back({line, words});
}

void CCommand::Exits(const std::vector<ExitInfo>& exits) { m_pApp->notes.exits = exits; }

void CCommand::Variable(const std::string& name, const std::string& words) {
    m_pApp->notes.variables.push_back({name, words});
}

void CCommand::File(const std::string& path, const std::string& words) { m_pApp->notes.files.push_back({path, words}); }

void CCommand::OnRun(std::function<void()> run) { m_pApp->run = std::move(run); }

CCommandLine::CCommandLine(const std::string& help, const std::string& name)
    : m_pApp(std::make_unique<CNotedApp>(help, name)) {}

CCommandLine::~CCommandLine() = default;

CCommand CCommandLine::Root() { return CCommand(m_pApp.get()); }

CommandInfo CCommandLine::Table() const { return m_pApp->Info(); }

}  // namespace lumo
