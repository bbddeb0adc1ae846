#include "server/relay_server.h"
#include "tools/lumo/commands/commands.h"
#include "tools/lumo/net/loop.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace lumo {

namespace {

std::string ReadListen(CServerOptions& options, const std::string& text) {
    return ::ParseEndpoint(text, options.listenIP, options.port) ? "" : "not an IPv4 address or ADDR:PORT: " + text;
}

std::string ReadHttp(CServerOptions& options, const std::string& text) {
    options.http = text != "off";
    options.httpAsked = options.http;
    if (!options.http || ::ParseEndpoint(text, options.httpIP, options.httpPort)) return "";
    return "neither ADDR:PORT nor off: " + text;
}

std::string ReadHttpName(CServerOptions& options, const std::string& text) {
    std::string name;
    if (!::ParseHostName(text, name)) return "not a host's name: " + text;
    options.httpNames.push_back(name);
    return "";
}

std::string ReadReflector(CServerOptions& options, const std::string& text) {
    options.reflector = text != "off";
    options.reflectorAsked = options.reflector;
    uint32_t none = 0;
    if (!options.reflector || ::ParseEndpoint(":" + text, none, options.reflectorPort)) return "";
    return "neither a port nor off: " + text;
}

std::string ReadCidr(CCidrList& list, const std::string& text) {
    return CCidr::Parse(text, list) ? "" : "not an IPv4 address or range (10.0.0.0/8): " + text;
}

std::string ReadTrusted(CServerOptions& options, const std::string& text) {
    if (!options.trusted) options.trusted.emplace();
    return text == "none" ? "" : ReadCidr(*options.trusted, text);
}

void AddEndpoints(CCommand& command, CServerOptions& options) {
    command.AddText("--listen ADDR[:PORT]",
                    "Address to listen on (UDP and TCP), optionally with the port. Default: all addresses",
                    [&options](const std::string& text) { return ReadListen(options, text); });
    command.Add("--port PORT", options.port, "Port for UDP and TCP; 0 takes a free one").ShowDefault().Within(0, 65535);
    command.AddText(
        "--reflector-port PORT|off",
        "A second UDP port that tells clients their address, or off; 0 takes a free one. Default: the next port",
        [&options](const std::string& text) { return ReadReflector(options, text); });
    command.AddText("--http ADDR:PORT|off", "Where to serve the pages, or off. Default: 127.0.0.1:7080",
                    [&options](const std::string& text) { return ReadHttp(options, text); });
    command.AddTexts(
        "--http-name NAME[:PORT]",
        "A name that the pages answer to besides their address and localhost, with a port where that is not their "
        "own. Default: none, so that a name made to point here does not open them",
        [&options](const std::string& text) { return ReadHttpName(options, text); });
}

void AddAddresses(CCommand& command, CServerOptions& options) {
    command.AddTexts("--allow CIDR",
                     "Who may talk to the server at all, servers it relays from included. Default: everybody",
                     [&options](const std::string& text) { return ReadCidr(options.allow, text); });
    command.AddTexts("--trusted CIDR|none",
                     "Whom no quota of an address limits, or none. Default: this host, by its loopback addresses",
                     [&options](const std::string& text) { return ReadTrusted(options, text); });
    command.AddTexts("--relay-to CIDR",
                     "Servers it may relay from. Default: any unicast address but its own and loopback (loopback too "
                     "when it listens there)",
                     [&options](const std::string& text) { return ReadCidr(options.relayTo, text); });
}

void AddLog(CCommand& command, CServerOptions& options) {
    command.AddText("--log-format text|json",
                    "Lines of the log, on standard error: for people, or JSON objects. Default: text",
                    [&options](const std::string& text) {
                        options.jsonLog = text == "json";
                        return options.jsonLog || text == "text" ? "" : "neither text nor json: " + text;
                    });
}

void AddLimits(CCommand& command, CServerLimits& limits) {
    const auto add = [&](const char* name, auto& value, const char* help) {
        // An unsigned number would take a negative one for a huge one.
        return command.Add(name, value, help).Group("Limits").ShowDefault().Check([](const std::string& text) {
            return text.find('-') == std::string::npos ? "" : "not a number of 0 or more: " + text;
        });
    };
    const auto addSize = [&](const char* name, auto& value, const char* help) {
        return add(name, value, help).Bytes();
    };
    add("--max-channels NUMBER", limits.channels, "Channels of one medium");
    add("--max-channels-per-address NUMBER", limits.channelsPerAddress,
        "Channels of all media that one address publishes or relays, and boards that it makes");
    add("--max-channel-sinks NUMBER", limits.sinksPerChannel, "Subscribers of one channel");
    add("--max-sinks NUMBER", limits.sinks, "Subscribers of one medium");
    add("--max-signalling NUMBER", limits.signallingClients, "Clients of the signalling service; 0 turns it off");
    addSize("--max-sink-queue SIZE", limits.sinkQueueBytes, "Bytes waiting at one subscriber, who is dropped beyond");
    addSize("--max-source-queue SIZE", limits.upstreamQueueBytes, "Bytes waiting for one publisher; more is dropped");
    addSize("--max-upstream-frame SIZE", limits.upstreamFrameBytes,
            "Longest frame of a subscriber, but for boards; longer ones are dropped, over TCP with the connection")
        .Within(1, 64 << 20);
    addSize("--max-board-bytes SIZE", limits.boardBytes, "Bytes of all whiteboards together; more is not kept");
    addSize(
        "--max-memory SIZE", limits.memoryBytes,
        "Bytes that wait to be sent or are not yet whole frames, of all together; whoever holds most and moves least "
        "gives way. 0: a quarter of the memory of the machine or its control group");
    addSize("--max-rate-per-address SIZE", limits.ratePerAddress,
            "Bytes a second that the server sends to one address over UDP; more is dropped. 0: no limit");
    add("--max-unvalidated NUMBER", limits.unvalidatedTcpPerAddress,
        "TCP connections of one address that have not said what they want; the oldest closes");
    add("--max-unproved NUMBER", limits.unvalidatedUdpPerAddress,
        "UDP subscribers, and publishers, of one address that have not answered yet; the oldest gives way");
}

/// The signals that the server acts on, kept from its threads: one thread waits for them.
class CServerSignals {
public:
    CServerSignals() {
        sigemptyset(&m_set);
        sigaddset(&m_set, SIGINT);
        sigaddset(&m_set, SIGTERM);
        sigaddset(&m_set, SIGHUP);
        pthread_sigmask(SIG_BLOCK, &m_set, nullptr);
    }
    int Wait() {
        int signal = 0;
        while (sigwait(&m_set, &signal) != 0) {}
        return signal;
    }

private:
    sigset_t m_set;
};

void SayWhyNot(CRelayServer& server, const CServerOptions& options, const std::string& error) {
    CLogLine line(error);
    line.level = "error";
    if (options.jsonLog)
        server.Log().Line(line);
    else
        std::fprintf(stderr, "lumo mcu: %s\n", error.c_str());
}

/// This process's words, without its name.
std::vector<std::string> OwnWords() {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    std::vector<std::string> words;
    for (std::string word; std::getline(file, word, '\0');) words.push_back(word);
    if (!words.empty()) words.erase(words.begin());
    return words;
}

CCommand AddMcu(CCommand root, CServerOptions& options) {
    CCommand command = root.Sub("mcu", "Run a relay server");
    AddEndpoints(command, options);
    AddAddresses(command, options);
    AddTransportOptions(command);
    AddLog(command, options);
    command.AddSettings();
    AddLimits(command, options.limits);
    command.Example("lumo mcu", "Serve on port 7000 of all addresses, with pages at http://127.0.0.1:7080/");
    command.Example("lumo mcu --listen 192.0.2.1:9000 --http off --allow 192.0.2.0/24 --max-memory 2GiB",
                    "Serve on one address and port for one network, without pages");
    command.Exits({{0, "ended by a signal"}, {1, "it could not start"}});
    return command;
}

/// What may change is changed to what the line and the file of options say now.
void ReadAgain(CRelayServer& server) {
    CServerOptions next;
    CCommandLine line("", "lumo");
    AddMcu(line.Root(), next);
    line.SetUserSettings(UserSettingsPath());
    const std::string problem = line.Run(OwnWords());
    if (problem.empty())
        server.Change(next);
    else
        server.Log().Warn("the options cannot be understood any more, and stay as they are: " + problem);
}

int RunServer(CServerOptions& options) {
    CServerSignals signals;                                   // before any thread is made
    options.limits.connections = RaiseFileLimit(UINT64_MAX);  // each takes a descriptor
    CRelayServer server(options);
    std::string error;
    if (!server.Start(error)) {
        SayWhyNot(server, options, error);
        return 1;
    }
    while (signals.Wait() == SIGHUP) ReadAgain(server);
    server.Stop();
    return 0;
}

}  // namespace

void AddMcuCommand(CCommand& root, int& exitCode) {
    const auto options = std::make_shared<CServerOptions>();
    CCommand command = AddMcu(root, *options);
    command.OnRun([options, &exitCode] { exitCode = RunServer(*options); });
}

}  // namespace lumo
