#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/link_options.h"

namespace lumo {

void AddAllCommands(CCommandLine& line, const BuildVersion& build, int& exitCode) {
    CCommand root = line.Root();
    root.NeedsSub("command");
    AddSendCommand(root, exitCode);
    AddReceiveCommand(root, exitCode);
    AddPublishCommand(root, exitCode);
    AddSubscribeCommand(root, exitCode);
    AddWhiteboardCommand(root, exitCode);
    AddSecretCommand(root, exitCode);
    AddLoadCommand(root, exitCode);
    AddProbeCommand(root, exitCode);
    AddStatsCommand(root, exitCode);
    AddDumpCommand(root, exitCode);
    AddMcuCommand(root, exitCode);
    AddDemoCommand(root, exitCode);
    AddHelpCommands(root, line, build, exitCode);
    AddHelperCommands(root, exitCode);
    line.SetVersion(VersionText(build));
    root.AddSettings();
    root.Example("lumo mcu", "Once, on a machine that you and your friends reach");
    root.Example("lumo send holiday.mkv --mcu relay.example", "Shows the line that your friend types");
    root.Example("lumo help send", "All about one command");
    root.Variable(kMcuVariable, "The relay server where neither --mcu nor a link names one");
    root.Variable("LUMO_SECRET", "The secret of a channel that is named by its number");
    root.Variable("LUMO_PROXY_PASSWORD", "The password for --proxy");
    root.Variable(
        "LUMO_LOG",
        "Where the library writes what it does: stderr or a path; error:, info: or debug: before it says how much "
        "(all of it unless given)");
    root.File("~/.config/lumo/lumo.conf",
              "The user's settings: options of any command, each as `mcu = \"relay.example\"`; those behind a heading "
              "such as [send] or [publish.video] are that command's alone. What the line says goes before. "
              "XDG_CONFIG_HOME may name another folder than ~/.config, and --config another file");
}

}  // namespace lumo
