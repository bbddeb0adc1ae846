#include "tools/lumo/ui/command_app.h"

#include <algorithm>

namespace lumo {
namespace {

constexpr const char* kUsualOptions = "Options";

OptionInfo InfoOf(const CLI::Option& option) {
    OptionInfo info;
    info.positional = option.get_positional();
    info.name = info.positional ? option.get_name(true, false) : option.get_name(false, true);
    if (option.get_expected_min() > 0) info.value = option.get_type_name();
    info.help = option.get_description();
    std::vector<std::string> others;
    for (const CLI::Option* other : option.get_excludes()) others.push_back(other->get_name());
    std::sort(others.begin(), others.end());  // they come in the order of their addresses
    if (!others.empty()) info.help += ". Not together with " + JoinWith(others, " or ");
    info.usual = option.get_default_str();
    info.group = option.get_group();
    info.required = option.get_required();
    info.repeats = option.get_items_expected_max() > 1;
    return info;
}

}  // namespace

CNotedApp::CNotedApp(const std::string& help, const std::string& name) : App(help, name) {
    set_help_flag("-h,--help", "Show this help");
}

CNotedApp* CNotedApp::AddSub(const std::string& name, const std::string& help, const char* group) {
    const auto sub = std::make_shared<CNotedApp>(help, name);
    add_subcommand(sub)->group(group);
    m_subs.push_back(sub.get());
    return sub.get();
}

CNotedApp& CNotedApp::Root() { return get_parent() ? static_cast<CNotedApp*>(get_parent())->Root() : *this; }

std::string CNotedApp::FullName() const {
    const auto* parent = static_cast<const CNotedApp*>(get_parent());
    return parent ? parent->FullName() + " " + get_name() : get_name();
}

CommandInfo CNotedApp::Info() const {
    CommandInfo info = notes;
    info.name = FullName();
    info.help = get_description();
    info.group = get_parent() ? get_group() : kUsualOptions;
    if (run) info.exits.push_back({kUsageExit, "the command line was not understood"});
    std::sort(info.exits.begin(), info.exits.end(),
              [](const auto& one, const auto& two) { return one.code < two.code; });
    for (const CLI::Option* option : get_options()) {
        if (option != get_help_ptr() && !option->get_group().empty()) info.options.push_back(InfoOf(*option));
    }
    info.options.push_back(InfoOf(*get_help_ptr()));
    for (const CNotedApp* sub : m_subs) info.subs.push_back(sub->Info());
    return info;
}

CNotedApp& CNotedApp::Named() {
    const std::vector<CLI::App*> parsed = get_subcommands();
    return parsed.empty() ? *this : static_cast<CNotedApp*>(parsed.front())->Named();
}

}  // namespace lumo
