#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/ui/command_app.h"
#include "tools/lumo/ui/command_line.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace lumo {
namespace {

constexpr size_t kMostSettings = 1U << 20;

std::string SettingsText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(kMostSettings + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.is_open() || file.bad()) throw CLI::ConfigError("cannot read it: " + ErrorText(errno));
    text.resize(static_cast<size_t>(file.gcount()));
    if (text.size() > kMostSettings) throw CLI::ConfigError("that is too long for settings");
    return text;
}

CLI::Option* SettingOf(CNotedApp& app, const std::string& name) {
    for (const char* never : {"help", "config", "version"}) {
        if (name == never) return nullptr;
    }
    const std::string option = "--" + name;
    CLI::Option* const usual = app.get_option_no_throw(UsualName(option));
    return usual ? usual : app.get_option_no_throw(option);
}

bool KnowsSetting(CNotedApp& app, const std::string& name) {
    const auto knows = [&name](CNotedApp* sub) { return KnowsSetting(*sub, name); };
    return SettingOf(app, name) || std::any_of(app.Subs().begin(), app.Subs().end(), knows);
}

/// The command of a heading such as [publish.video].
CNotedApp* Headed(CNotedApp& root, const std::vector<std::string>& words) {
    CNotedApp* app = &root;
    for (const std::string& word : words) {
        const auto& subs = app->Subs();
        const auto sub =
            std::find_if(subs.begin(), subs.end(), [&](CNotedApp* one) { return one->get_name() == word; });
        if (sub == subs.end()) return nullptr;
        app = *sub;
    }
    return app;
}

bool IsBeneath(const CLI::App* app, const CLI::App* head) {
    return app == head || (app && IsBeneath(app->get_parent(), head));
}

void Put(CLI::Option& option, const CLI::ConfigItem& item) {
    const bool flag = option.get_expected_min() == 0;
    if (flag && item.inputs.size() != 1) throw CLI::ConfigError(item.fullname() + " is true or false");
    if (flag)
        option.add_result(option.get_flag_value(item.name, item.inputs.front()));
    else
        option.add_result(item.inputs);
    option.run_callback();
}

void ApplyItems(std::vector<CLI::ConfigItem> items, CNotedApp& root, CNotedApp& named) {
    // What is said of one command goes before what is said of all.
    std::stable_sort(items.begin(), items.end(),
                     [](const auto& one, const auto& other) { return one.parents.size() > other.parents.size(); });
    for (const CLI::ConfigItem& item : items) {
        if (item.name == "++" || item.name == "--") continue;  // where a heading begins and ends
        CNotedApp* const head = Headed(root, item.parents);
        if (!head || !KnowsSetting(*head, item.name))
            throw CLI::ConfigError("there is no setting " + item.fullname() + "; it is named as the option is");
        CLI::Option* const option = IsBeneath(&named, head) ? SettingOf(named, item.name) : nullptr;
        if (option && option->count() == 0) Put(*option, item);
    }
}

}  // namespace

void ApplySettings(const std::string& path, CNotedApp& root, CNotedApp& named) {
    try {
        std::istringstream text(SettingsText(path));
        ApplyItems(CLI::ConfigTOML().from_config(text), root, named);
    } catch (const CLI::ParseError& error) {
        throw CLI::ConfigError(path + ": " + InHouseWords(named.Info(), error));
    }
}

std::string UserSettingsPath() {
    const auto variable = [](const char* name) {
        const char* text = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets variables
        return std::string(text ? text : "");
    };
    std::string folder = variable("XDG_CONFIG_HOME");
    if (folder.empty() && !variable("HOME").empty()) folder = variable("HOME") + "/.config";
    return folder.empty() ? "" : folder + "/lumo/lumo.conf";
}

}  // namespace lumo
