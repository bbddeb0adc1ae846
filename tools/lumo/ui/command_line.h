// The command line as the subcommands see it. CLI11 stands behind it and is compiled in one folder: its headers are
// dear.
#pragma once

#include "tools/lumo/ui/command_info.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class Option;
}  // namespace CLI

namespace lumo {

class CNotedApp;

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
    COption& OneOf(const std::vector<std::string>& values);
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
    explicit CCommand(CNotedApp* app) : m_pApp(app) {}

    CCommand Sub(const std::string& name, const std::string& help, const char* group = "Commands");
    /// One of its subcommands must be named; they are this: "command", "medium".
    void NeedsSub(const char* noun);

    /// `name` is what the help shows: "-o,--out FILE" has two names and takes a value, "FILE" is a word without a name
    /// before it. Of a value small letters stand for themselves: "ADDR:PORT|off".
    COption Add(const char* name, std::string& value, const std::string& help);
    COption Add(const char* name, std::vector<std::string>& values, const std::string& help);
    COption Add(const char* name, double& value, const std::string& help);
    COption Add(const char* name, uint16_t& value, const std::string& help);
    COption Add(const char* name, std::optional<double>& value, const std::string& help);
    COption Add(const char* name, uint32_t& value, const std::string& help);
    COption Add(const char* name, uint64_t& value, const std::string& help);
    void AddFlag(const char* name, bool& value, const std::string& help);

    using Read = std::function<std::string(const std::string& text)>;
    /// `read` takes a text and says what is wrong with it; empty: nothing.
    COption AddText(const char* name, const std::string& help, Read read);
    /// The same for one that may be named several times.
    COption AddTexts(const char* name, const std::string& help, Read read);

    /// What `option` is where it is not given: the variable says it, else the settings do.
    void AddUsual(const std::string& option, const char* variable, std::string& usual);
    /// `--config`: a file that gives options which the line does not give.
    void AddSettings();

    /// A paragraph of its help, behind the options.
    void Note(const std::string& text);
    /// A line that somebody would type.
    void Example(const std::string& line, const std::string& words);
    /// Its exit codes, but that for a line which was not understood: every command has that.
    void Exits(const std::vector<ExitInfo>& exits);
    /// What of the environment it looks at.
    void Variable(const std::string& name, const std::string& words);
    /// A file that it looks at.
    void File(const std::string& path, const std::string& words);
    /// Called once the line has been understood, if this command was named. All options are there by then.
    void OnRun(std::function<void()> run);

private:
    CNotedApp* m_pApp;
};

/// A whole line.
class CCommandLine {
public:
    explicit CCommandLine(const std::string& help = "", const std::string& name = "");
    ~CCommandLine();
    CCommandLine(const CCommandLine&) = delete;
    CCommandLine& operator=(const CCommandLine&) = delete;

    CCommand Root();
    /// What all of it is.
    CommandInfo Table() const;
    /// What `--version` says.
    void SetVersion(const std::string& text);
    /// The settings where no others are named; there need be no such file.
    void SetUserSettings(const std::string& path) { m_strUserSettings = path; }
    /// Runs the command that is named. False when the line was not understood, or asked for help only: `exitCode` is
    /// what to exit with then, and the help or the complaint has been printed.
    bool Run(int argc, const char* const* argv, int& exitCode);
    /// The same without printing: what was not understood; empty: all was.
    std::string Run(std::vector<std::string> words);

private:
    void Understand(std::vector<std::string> words);

    std::unique_ptr<CNotedApp> m_pApp;
    std::string m_strUserSettings;
};

/// Where a user keeps settings: "lumo/lumo.conf" in the folder for such files; empty: nobody knows.
std::string UserSettingsPath();

}  // namespace lumo
