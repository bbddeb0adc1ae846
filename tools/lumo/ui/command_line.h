// The command line as the subcommands see it. CLI11 stands behind it and is compiled in one file: its headers are dear.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace lumo {

/// An option or a positional that has been added. Each call changes it and gives it back.
class COption {
public:
    explicit COption(CLI::Option* option) : m_pOption(option) {}

    COption& Required();
    /// The help shows what it is unless given.
    COption& ShowDefault();
    COption& Within(int64_t least, int64_t most);
    COption& Between(double least, double most);
    /// A number of seconds that can be waited.
    COption& Seconds(double least, double most);
    COption& OneOf(std::vector<std::string> values);
    /// A number with a unit behind it, as `units` has them, in any case.
    COption& InUnits(std::initializer_list<std::pair<const char*, uint64_t>> units);
    /// A number of bytes: 64k, 8MiB.
    COption& Bytes();
    COption& ExistingFile();
    /// `check` says what is wrong with a text; empty: nothing.
    COption& Check(std::function<std::string(const std::string&)> check);
    COption& Excludes(const COption& other);
    COption& Group(const char* group);

private:
    CLI::Option* m_pOption;
};

/// A command or subcommand, and where its options leave what they were given. Values live until the line is parsed.
class CCommand {
public:
    explicit CCommand(CLI::App* app) : m_pApp(app) {}

    CCommand Sub(const std::string& name, const std::string& help, const char* group = nullptr);
    /// One of its subcommands must be named.
    void NeedsSub();

    COption Add(const char* name, std::string& value, const std::string& help);
    COption Add(const char* name, std::vector<std::string>& values, const std::string& help);
    COption Add(const char* name, double& value, const std::string& help);
    COption Add(const char* name, uint16_t& value, const std::string& help);
    COption Add(const char* name, std::optional<double>& value, const std::string& help);
    COption Add(const char* name, uint32_t& value, const std::string& help);
    COption Add(const char* name, uint64_t& value, const std::string& help);
    void AddFlag(const char* name, bool& value, const std::string& help);

    using Read = std::function<std::string(const std::string& text)>;
    /// `read` takes a text, shown as `form` in the help, and says what is wrong with it; empty: nothing.
    COption AddText(const char* name, const char* form, const std::string& help, Read read);
    /// The same for one that may be named several times.
    COption AddTexts(const char* name, const char* form, const std::string& help, Read read);

    /// What its help says at its end.
    void Footer(const std::string& text);
    /// Called once the line has been understood, if this command was named.
    void OnRun(std::function<void()> run);

private:
    CLI::App* m_pApp;
};

/// A whole line.
class CCommandLine {
public:
    explicit CCommandLine(const std::string& help = "", const std::string& name = "");
    ~CCommandLine();
    CCommandLine(const CCommandLine&) = delete;
    CCommandLine& operator=(const CCommandLine&) = delete;

    CCommand Root() { return CCommand(m_pApp.get()); }
    /// Runs the command that is named. False when the line was not understood, or asked for help only: `exitCode` is
    /// what to exit with then, and the help or the complaint has been printed.
    bool Run(int argc, const char* const* argv, int& exitCode);
    /// The same without printing: whether the words were understood.
    bool Run(std::vector<std::string> words);

private:
    std::unique_ptr<CLI::App> m_pApp;
};

}  // namespace lumo
