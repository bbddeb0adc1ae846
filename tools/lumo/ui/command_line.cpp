#include "tools/lumo/ui/command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace lumo {

COption& COption::Required() {
    m_pOption->required();
    return *this;
}

COption& COption::ShowDefault() {
    m_pOption->capture_default_str();
    return *this;
}

COption& COption::Within(int64_t least, int64_t most) {
    m_pOption->check(CLI::Range(least, most));
    return *this;
}

COption& COption::Between(double least, double most) {
    m_pOption->check(CLI::Range(least, most));
    return *this;
}

// CLI::Range lets through what is not a number.
COption& COption::Seconds(double least, double most) {
    m_pOption->check(CLI::Validator(
        [least, most](const std::string& text) {
            double seconds = 0;
            const bool fits = CLI::detail::lexical_cast(text, seconds) && seconds >= least && seconds <= most;
            return fits ? std::string() : text + " is not a number of seconds that can be waited";
        },
        "SECONDS"));
    return *this;
}

COption& COption::OneOf(std::vector<std::string> values) {
    m_pOption->check(CLI::IsMember(std::move(values)));
    return *this;
}

COption& COption::InUnits(std::initializer_list<std::pair<const char*, uint64_t>> units) {
    const std::map<std::string, uint64_t> factors(units.begin(), units.end());
    m_pOption->transform(CLI::AsNumberWithUnit(factors, CLI::AsNumberWithUnit::CASE_INSENSITIVE));
    return *this;
}

COption& COption::Bytes() {
    m_pOption->transform(CLI::AsSizeValue(false));
    return *this;
}

COption& COption::ExistingFile() {
    m_pOption->check(CLI::ExistingFile);
    return *this;
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
    CLI::App* sub = m_pApp->add_subcommand(name, help);
    if (group) sub->group(group);
    return CCommand(sub);
}

void CCommand::NeedsSub() { m_pApp->require_subcommand(1); }

COption CCommand::Add(const char* name, std::string& value, const std::string& help) {
    return COption(m_pApp->add_option(name, value, help));
}

COption CCommand::Add(const char* name, std::vector<std::string>& values, const std::string& help) {
    return COption(m_pApp->add_option(name, values, help));
}

COption CCommand::Add(const char* name, double& value, const std::string& help) {
    return COption(m_pApp->add_option(name, value, help));
}

COption CCommand::Add(const char* name, uint16_t& value, const std::string& help) {
    return COption(m_pApp->add_option(name, value, help));
}

COption CCommand::Add(const char* name, std::optional<double>& value, const std::string& help) {
    return COption(m_pApp->add_option(name, value, help));
}

COption CCommand::Add(const char* name, uint32_t& value, const std::string& help) {
    return COption(m_pApp->add_option(name, value, help));
}

COption CCommand::Add(const char* name, uint64_t& value, const std::string& help) {
    return COption(m_pApp->add_option(name, value, help));
}

void CCommand::AddFlag(const char* name, bool& value, const std::string& help) { m_pApp->add_flag(name, value, help); }

namespace {

CLI::Option* AddRead(CLI::App& app, const char* name, const char* form, const std::string& help, CCommand::Read read) {
    const auto readAll = [name, read = std::move(read)](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            const std::string error = read(text);
            if (!error.empty()) throw CLI::ValidationError(name, error);
        }
    };
    return app.add_option_function<std::vector<std::string>>(name, readAll, help)->type_name(form);
}

}  // namespace

COption CCommand::AddText(const char* name, const char* form, const std::string& help, Read read) {
    return COption(AddRead(*m_pApp, name, form, help, std::move(read))->expected(1));
}

COption CCommand::AddTexts(const char* name, const char* form, const std::string& help, Read read) {
    return COption(AddRead(*m_pApp, name, form, help, std::move(read))
                       ->expected(1, CLI::detail::expected_max_vector_size)
                       ->allow_extra_args(false));
}

void CCommand::Footer(const std::string& text) { m_pApp->footer(text); }

void CCommand::OnRun(std::function<void()> run) { m_pApp->callback(std::move(run)); }

CCommandLine::CCommandLine(const std::string& help, const std::string& name)
    : m_pApp(std::make_unique<CLI::App>(help, name)) {}

CCommandLine::~CCommandLine() = default;

bool CCommandLine::Run(int argc, const char* const* argv, int& exitCode) {
    try {
        m_pApp->parse(argc, argv);
        return true;
    } catch (const CLI::ParseError& error) {
        exitCode = m_pApp->exit(error);
        return false;
    }
}

bool CCommandLine::Run(std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());  // it takes them from the end
    try {
        m_pApp->parse(std::move(words));
        return true;
    } catch (const CLI::ParseError&) {
        return false;
    }
}

}  // namespace lumo
