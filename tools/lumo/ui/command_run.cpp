#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/ui/command_app.h"
#include "tools/lumo/ui/command_line.h"
#include "tools/lumo/ui/help_text.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace lumo {

void CCommandLine::SetVersion(const std::string& text) {
    m_pApp->set_version_flag("--version", text, "Show version, commit and features");
}

void CCommandLine::Understand(std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());  // it takes them from the end
    m_pApp->parse(std::move(words));
    CNotedApp& named = m_pApp->Named();
    if (!named.get_option_no_throw("--config")) return;
    std::string settings = m_pApp->settings;
    if (settings.empty() && access(m_strUserSettings.c_str(), F_OK) == 0) settings = m_strUserSettings;
    if (!settings.empty()) ApplySettings(settings, *m_pApp, named);
}

bool CCommandLine::Run(int argc, const char* const* argv, int& exitCode) {
    exitCode = 0;
    try {
        Understand({argv + std::min(argc, 1), argv + argc});
    } catch (const CLI::CallForHelp&) {
        std::fputs(HelpText(m_pApp->Named().Info(), HelpWidth()).c_str(), stdout);
        return false;
    } catch (const CLI::CallForVersion& version) {
        std::printf("%s\n", version.what());
        return false;
    } catch (const CLI::ParseError& error) {
        CNotedApp& named = m_pApp->Named();
        const std::string name = named.FullName();
        std::fprintf(stderr, "%s: %s\n", name.c_str(), Printable(ComplaintAbout(named, error)).c_str());
        std::fprintf(stderr, "%s --help says more\n", name.c_str());
        exitCode = kUsageExit;
        return false;
    }
    if (const auto& run = m_pApp->Named().run) run();
    return true;
}

std::string CCommandLine::Run(std::vector<std::string> words) {
    try {
        Understand(std::move(words));
    } catch (const CLI::ParseError& error) {
        return Printable(ComplaintAbout(m_pApp->Named(), error));
    }
    if (const auto& run = m_pApp->Named().run) run();
    return "";
}

}  // namespace lumo
