// A command as CLI11 has it, and what CLI11 has no room for. For this folder alone.
#pragma once

#include "tools/lumo/ui/command_info.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumo {

class CNotedApp : public CLI::App {
public:
    CNotedApp(const std::string& help, const std::string& name);

    CNotedApp* AddSub(const std::string& name, const std::string& help, const char* group);
    CNotedApp& Root();
    /// "lumo publish audio".
    std::string FullName() const;
    CommandInfo Info() const;
    /// The command that the line has named.
    CNotedApp& Named();
    const std::vector<CNotedApp*>& Subs() const { return m_subs; }

    CommandInfo notes;  ///< what is not made of CLI11's own
    std::function<void()> run;
    std::string settings;  ///< of the root: the file that --config names
    const char* subNoun = "command";

private:
    std::vector<CNotedApp*> m_subs;  // App owns them
};

/// The hidden option that holds what `option`, "--mcu", is where it is not given.
inline std::string UsualName(const std::string& option) { return "--usual-" + option.substr(2); }
/// Why the line was not understood: what stands on it that no command knows, else what CLI11 says.
std::string ComplaintAbout(CNotedApp& named, const CLI::ParseError& error);

/// The same of one option, naming it and what it takes.
std::string InHouseWords(const CommandInfo& command, const CLI::ParseError& error);

/// Options of `named` that neither line nor environment gives are what that file says. Throws CLI::ConfigError.
void ApplySettings(const std::string& path, CNotedApp& root, CNotedApp& named);

}  // namespace lumo
