#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/ui/completion.h"
#include "tools/lumo/ui/help_text.h"
#include "tools/lumo/ui/manual.h"
#include "tools/lumo/ui/near_word.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

namespace lumo {
namespace {

struct HelpCommand {
    std::vector<std::string> words;
    bool manual = false;
    std::string folder;
};

int WriteFile(const std::filesystem::path& path, const std::string& text) {
    std::error_code ignored;
    std::filesystem::create_directories(path.parent_path(), ignored);
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (file) return kExitDone;
    std::fprintf(stderr, "lumo: cannot write %s: %s\n", path.c_str(), ErrorText(errno).c_str());
    return kExitFailed;
}

int WriteManuals(const CommandInfo& command, const ManualEdge& edge, const std::filesystem::path& folder) {
    int code = WriteFile(folder / "man1" / (ManualName(command) + ".1"), ManualPage(command, edge));
    for (const CommandInfo& sub : command.subs) {
        if (code == kExitDone) code = WriteManuals(sub, edge, folder);
    }
    return code;
}

/// Everything that a package takes from here.
int WriteAll(const CommandInfo& root, const ManualEdge& edge, const std::filesystem::path& folder) {
    int code = WriteManuals(root, edge, folder / "man");
    const CommandInfo* server = root.Find("mcu");
    if (code == kExitDone) code = WriteFile(folder / "mcu.conf", SettingsTemplate(*server));
    for (const auto& [shell, name] :
         {std::pair("bash", "lumo"), std::pair("zsh", "_lumo"), std::pair("fish", "lumo.fish")})
        if (code == kExitDone) code = WriteFile(folder / "completions" / name, CompletionScript(shell));
    return code;
}

int ShowHelp(const HelpCommand& command, const CommandInfo& root, const BuildVersion& build) {
    const ManualEdge edge{std::string("lumo ") + build.version, build.date};
    if (!command.folder.empty()) return WriteAll(root, edge, command.folder);
    const CommandInfo* at = &root;
    for (const std::string& word : command.words) {
        const CommandInfo* sub = at->Find(word);
        if (!sub) {
            const std::string near = NearWord(word, at->SubWords());
            std::fprintf(stderr, "%s: there is no command '%s'%s\n", at->name.c_str(), word.c_str(),
                         near.empty() ? "" : ("; did you mean " + near + "?").c_str());
            return kExitUsage;
        }
        at = sub;
    }
    std::fputs(command.manual ? ManualPage(*at, edge).c_str() : HelpText(*at, HelpWidth()).c_str(), stdout);
    return kExitDone;
}

}  // namespace

void AddHelpCommands(CCommand& root, const CCommandLine& line, const BuildVersion& build, int& exitCode) {
    auto command = std::make_shared<HelpCommand>();
    CCommand help = root.Sub("help", "Show what a command does, its options, examples and exit codes");
    help.Add("COMMAND", command->words, "Which, and which of its own; all unless given");
    help.AddFlag("--man", command->manual, "As the source of a manual page");
    help.Add("--write DIRECTORY", command->folder,
             "Write all manual pages, completions and a template of the server's settings there, for a package");
    help.Example("lumo help publish video", "The same as lumo publish video --help");
    help.Example("lumo help --man send | man -l -", "Its manual page, where none is installed");
    help.Exits({{kExitDone, "shown"}, {kExitFailed, "a file could not be written"}});
    help.OnRun([command, &line, build, &exitCode] { exitCode = ShowHelp(*command, line.Table(), build); });

    auto shell = std::make_shared<std::string>();
    CCommand completion = root.Sub("completion", "Print what makes a shell complete commands, options and files");
    completion.Add("SHELL", *shell, "Which: bash, zsh or fish").Required().OneOf({"bash", "zsh", "fish"});
    completion.Example("source <(lumo completion bash)", "For this shell; a line in ~/.bashrc keeps it");
    completion.Example("lumo completion fish > ~/.config/fish/completions/lumo.fish", "For every fish that starts");
    completion.Exits({{kExitDone, "printed"}});
    completion.OnRun([shell, &exitCode] {
        std::fputs(CompletionScript(*shell).c_str(), stdout);
        exitCode = kExitDone;
    });
}

}  // namespace lumo
