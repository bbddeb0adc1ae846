// The table of commands from outside: what help, manual, completion and settings make of it.
#include "e2e/relay_test.h"
#include "tools/lumo/commands/commands.h"
#include "tools/lumo/ui/completion.h"
#include "tools/lumo/ui/help_text.h"
#include "tools/lumo/ui/manual.h"

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>

using namespace lumo;

namespace e2e {
namespace {

class CommandLine : public CRelayTest {
protected:
    void Walk(const std::function<void(const CommandInfo&)>& visit) { WalkFrom(table, visit); }
    std::vector<std::string> Offers(const std::string& words) {
        std::istringstream in(words + "\n");
        std::vector<std::string> typed{std::istream_iterator<std::string>(in), {}};
        if (words.empty() || words.back() == ' ') typed.emplace_back();
        std::vector<std::string> lines = SplitAt(CompletionAnswer(table, typed), '\n');
        for (std::string& line : lines) line.resize(std::min(line.size(), line.find('\t')));
        lines.pop_back();
        return lines;
    }

private:
    static void WalkFrom(const CommandInfo& command, const std::function<void(const CommandInfo&)>& visit) {
        visit(command);
        for (const CommandInfo& sub : command.subs) WalkFrom(sub, visit);
    }

    CommandInfo TableOfAll() {
        AddAllCommands(m_line, {"1.2.3", "c0ffee", "2030-12-31"}, m_nExit);
        return m_line.Table();
    }

    int m_nExit = 0;
    CCommandLine m_line{"what all of it is", "lumo"};

protected:
    const CommandInfo table = TableOfAll();
};

bool Contains(const std::vector<std::string>& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

size_t WidestLine(const std::string& text) {
    size_t widest = 0;
    for (const std::string& line : SplitAt(text, '\n'))
        if (line.find("lumo://") == std::string::npos)
            widest = std::max(widest, line.size());  // one word, to be copied
    return widest;
}

/// With each line that goes on in one piece, as a shell takes it.
std::string Joined(std::string text) {
    for (const std::string end : {" \\\n      ", "|\n      "})
        for (size_t at = 0; (at = text.find(end, at)) != std::string::npos;)
            text.replace(at, end.size(), end.front() == '|' ? "| " : " ");
    return text;
}

TEST_F(CommandLine, EveryCommandExplainsItselfEverywhere) {
    const std::set<std::string> unnamed = {"TEXT", "INT", "UINT", "FLOAT", "BOOLEAN", "VALUE"};
    const std::string mcuSettings = SettingsTemplate(*table.Find("mcu"));
    size_t commands = 0;
    Walk([&](const CommandInfo& command) {
        SCOPED_TRACE(command.name);
        const std::string help = HelpText(command, 80), page = ManualPage(command, {"lumo 1.2.3", "2030-12-31"});
        const std::string words = command.name == "lumo" ? "" : command.name.substr(5) + " ";
        for (const size_t width : {60U, 80U, 133U}) EXPECT_LE(WidestLine(HelpText(command, width)), width);
        EXPECT_NE(command.help, "");
        ++commands;
        if (command.subs.empty()) {
            EXPECT_FALSE(command.examples.empty());
            EXPECT_GE(command.exits.size(), 2U);
        }
        for (const ExitInfo& exit : command.exits)
            EXPECT_NE(help.find("  " + std::to_string(exit.code) + "   " + exit.words.substr(0, 20)),
                      std::string::npos);
        for (const ExampleInfo& example : command.examples)
            EXPECT_NE(Joined(help).find("\n  " + example.line + "\n"), std::string::npos) << example.line;
        for (const CommandInfo& sub : command.subs) EXPECT_TRUE(Contains(Offers(words), sub.Word())) << sub.name;
        for (const OptionInfo& option : command.options) {
            EXPECT_EQ(unnamed.count(option.value), 0U) << option.name;
            EXPECT_EQ(option.value.find(' '), std::string::npos) << option.name << ' ' << option.value;
            EXPECT_NE(help.find("  " + option.Label()), std::string::npos) << option.name;
            EXPECT_NE(option.help, "") << option.name;
            std::string inPage = option.Label();
            for (size_t at = 0; (at = inPage.find('-', at)) != std::string::npos; at += 2) inPage.insert(at, "\\");
            EXPECT_NE(page.find(".B " + inPage + "\n"), std::string::npos) << inPage;
            for (const std::string& name : option.Names()) EXPECT_TRUE(Contains(Offers(words + "-"), name)) << name;
            if (command.name != "lumo mcu" || option.name == "--config" || option.name == "-h,--help") continue;
            EXPECT_NE(mcuSettings.find("\n#" + option.name.substr(2) + " = "), std::string::npos) << option.name;
        }
    });
    EXPECT_GE(commands, 24U);
}

/// What a line completes to: a command, an option, a value, a file.
const struct {
    const char *line, *offered;
} kCompleted[] = {{"publish au", "audio"},
                  {"send --li", "--link-file"},
                  {"send --path p2p-", "p2p-tcp"},
                  {"help publish v", "video"},
                  {"completion f", "fish"},
                  {"receive --out fol", "folder"},
                  {"send --keep hol", "holiday"},
                  {"dump --interface lo hol", "holiday"},
                  {"send \"a b\" --path p2p-", "p2p-tcp"}};

/// A shell, how it begins, and how it prints what a line completes to, a word a line behind the line's number.
const struct {
    const char *name, *begins, *completes;
} kShells[] = {
    {"bash", "PATH=@:$PATH\nCOMP_WORDBREAKS=$' \\t\\n\"\\'><=;|&(:'\n. written/completions/lumo\n",
     "COMP_LINE='lumo ^'; COMP_POINT=${#COMP_LINE}; _lumo; printf '~ %s\\n' \"${COMPREPLY[@]}\"\n"},
    {"zsh",
     "PATH=@:$PATH\nn=0\ncompdef() { }\ncompset() { return 1 }\n_describe() { print -l -- \"$n \"${^offered%%:?*} }\n"
     "_files() { print -l -- \"$n \"${^$(echo *)} }\n. written/completions/_lumo\n",
     "n=~; words=(lumo ^); CURRENT=$#words; PREFIX=$words[-1]; _lumo\n"},
    {"fish", "set -x PATH @ $PATH\nsource written/completions/lumo.fish\n",
     "for one in (complete -C 'lumo ^'); echo '~' (string split \\t -- $one)[1]; end\n"}};

TEST_F(CommandLine, ShellsCompleteAndManShowsWhatIsWritten) {
    constexpr int kNotThere = 127;
    const auto filled = [](std::string text, char mark, const std::string& with) {
        for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += with.size())
            text.replace(at, 1, with);
        return text;
    };
    const auto run = [&](const std::string& program, const std::string& script) -> Process& {
        folder.Put("script", script);
        Process& process = Start({"/usr/bin/env"}, program, "script");
        EXPECT_TRUE(process.WaitForEnd(kDeadlineMs)) << program;
        EXPECT_FALSE(std::getenv("LUMO_REQUIRE_ALL") && process.ExitCode() == kNotThere) << "there is no " << program;
        return process;
    };
    folder.Put("holiday", "");
    folder.Put("folder/file", "");
    End(Lumo("help --write written"));
    for (const auto& shell : kShells) {
        std::string script = filled(shell.begins, '@', std::filesystem::path(kLumo).parent_path());
        for (size_t row = 0; row < std::size(kCompleted); ++row)
            script += filled(filled(shell.completes, '^', kCompleted[row].line), '~', std::to_string(row));
        const Process& process = run(shell.name, script);
        if (process.ExitCode() == kNotThere) continue;
        EXPECT_EQ(process.Errors(), "") << shell.name;
        for (size_t row = 0; row < std::size(kCompleted); ++row) {
            const std::string line = std::to_string(row) + " " + kCompleted[row].offered;
            EXPECT_TRUE(Contains(SplitAt(filled(process.Output(), '/', ""), '\n'), line))
                << shell.name << ' ' << kCompleted[row].line << ":\n"
                << process.Output();
        }
    }
    const Process& man = run("sh", "man --warnings -l written/man/man1/*.1 >shown || exit");
    if (man.ExitCode() == kNotThere) GTEST_SKIP() << "there is no man";
    EXPECT_EQ(man.Errors(), "");
    EXPECT_EQ(man.ExitCode(), 0);
    for (const char* shown : {"lumo-publish-video(1)", "EXAMPLES", "EXIT STATUS"})
        EXPECT_NE(folder.Get("shown").find(shown), std::string::npos) << shown;
}

/// What names the server that a probe asks, and which one that is; no server answers.
const struct {
    const char *variable, *settings, *words, *asked;
} kNamed[] = {{"", "", "", "--mcu is missing"},
              {"127.0.0.2:1", "", "", "seen by 127.0.0.2:1"},
              {"", "mcu = 127.0.0.3:1", "", "seen by 127.0.0.3:1"},
              {"127.0.0.2:1", "mcu = 127.0.0.3:1", "", "seen by 127.0.0.2:1"},
              {"127.0.0.2:1", "mcu = 127.0.0.3:1", "--mcu 127.0.0.4:1", "seen by 127.0.0.4:1"},
              {"", "mcu = 127.0.0.3:1\nkeep = true\n[probe]\nmcu = 127.0.0.5:1", "", "seen by 127.0.0.5:1"},
              {"", "[send]\nmcu = 127.0.0.3:1", "", "--mcu is missing"},
              {"", "mcu = 127.0.0.3:1", "--config other", "seen by 127.0.0.6:1"},
              {"", "", "--config none", "none: cannot read it: No such file"},
              {"", "mmcu = 127.0.0.3:1", "", "lumo.conf: there is no setting mmcu"},
              {"", "[probes]\nmcu = 127.0.0.3:1", "", "there is no setting probes.mcu"},
              {"", "json = maybe", "", "lumo.conf"}};

TEST_F(CommandLine, VariableAndSettingsSpareTypingTheServer) {
    folder.Put("other", "mcu = 127.0.0.6:1\n");
    for (const auto& row : kNamed) {
        setenv("LUMO_MCU", row.variable, 1);
        folder.Put("lumo/lumo.conf", row.settings);
        Process& probe = Lumo(std::string("probe --wait 0.1 ") + row.words);
        ASSERT_TRUE(probe.WaitForEnd(kDeadlineMs));
        const std::string said = probe.Output() + probe.Errors();
        EXPECT_NE(said.find(row.asked), std::string::npos) << row.settings << ": " << said;
    }
    folder.Put("lumo/lumo.conf", "");
    folder.Put("mcu.conf",
               "listen = 127.0.0.1\nport = 0\nhttp = off\nreflector-port = off\nallow = 127.0.0.0/8 10.0.0.0/8\n");
    Process& relay = Lumo("mcu --config mcu.conf");
    ASSERT_TRUE(Says(relay, "without pages"));
    port = NumberBehind(relay.Errors(), "listening on 127.0.0.1:");
    Process& receiver = Lumo("receive lumo://127.0.0.1:" + port + "/file/5 --wait 0.5");  // the link's server
    End(receiver, 3);
    EXPECT_NE(receiver.Errors().find("at 127.0.0.1:" + port), std::string::npos) << receiver.Errors();
    unsetenv("LUMO_MCU");
}

}  // namespace
}  // namespace e2e
