// Files as people send them: `lumo send` and `lumo receive` through the relay server.
#include "bench/harness/process.h"
#include "bench/harness/sockets.h"
#include "bench/transports/lumo_node.h"
#include "bench/transports/transports.h"

#include <arpa/inet.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

namespace bench {

namespace {

constexpr char kChannel[] = "4711";
constexpr int kLookMs = 20;

std::filesystem::path FolderOf(const CSide& side, const char* name) {
    const std::filesystem::path folder = std::filesystem::path(side.Spec().folder) / name;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder;
}

CProcess::Options OutputTo(const std::filesystem::path& file) {
    CProcess::Options options;
    options.outputFile = file;
    return options;
}

std::vector<std::string> Command(const CSide& side, const char* what, const std::string& operand) {
    const in_addr server{htonl(RunHosts().far)};
    return {side.Spec().lumoProgram,
            what,
            operand,
            "--mcu",
            inet_ntoa(server) + (":" + std::to_string(side.Port())),
            "--path",
            "relay",
            "--json"};
}

uint64_t Bytes(const CSide& side) { return uint64_t{side.Spec().frames} * side.Spec().frameLen; }

std::filesystem::path MakeFile(const CSide& side, const std::filesystem::path& folder) {
    const std::filesystem::path path = folder / "file";
    std::ofstream file(path, std::ios::binary);
    std::mt19937_64 random(1);
    std::string frame(side.Spec().frameLen, '\0');
    for (uint32_t i = 0; i < side.Spec().frames; ++i) {
        for (size_t at = 0; at + sizeof(uint64_t) <= frame.size(); at += sizeof(uint64_t)) {
            const uint64_t word = random();
            std::memcpy(frame.data() + at, &word, sizeof word);
        }
        file.write(frame.data(), static_cast<std::streamsize>(frame.size()));
    }
    if (!file) throw std::runtime_error("no file to send");
    return path;
}

nlohmann::json LastEvent(const std::filesystem::path& output) {
    std::ifstream file(output);
    std::string last;
    for (std::string line; std::getline(file, line);) last = line;
    return nlohmann::json::parse(last, nullptr, false);
}

void Send(CSide& side) {
    const std::filesystem::path folder = FolderOf(side, "sent");
    std::vector<std::string> command = Command(side, "send", MakeFile(side, folder));
    command.insert(command.end(), {"--plain", "--channel", kChannel, "--receivers", "1", "--wait", "60"});
    CProcess program(command, OutputTo(folder / "events"));
    side.Connected();
    side.WaitForStop();
    program.WaitForEnd(kConnectMs);
}

void Receive(CSide& side) {
    const std::filesystem::path folder = FolderOf(side, "received");
    std::vector<std::string> command = Command(side, "receive", kChannel);
    command.insert(command.end(), {"--out", folder, "--wait", "60"});
    const std::filesystem::path events = folder / "events";
    side.Connected();
    CProcess program(command, OutputTo(events));
    while (!program.WaitForEnd(kLookMs))
        if (side.Stopped()) return;
    const nlohmann::json end = LastEvent(events);
    if (!end.is_object() || end.value("result", "") != "done") throw std::runtime_error("not received: " + end.dump());
    if (std::filesystem::file_size(folder / "file") != Bytes(side)) throw std::runtime_error("not the whole file");
    side.Finish({{"bytes", static_cast<double>(Bytes(side))},
                 {"seconds", end.at("seconds").get<double>()},
                 {"until_first_byte_s", end.at("until_first_byte").get<double>()},
                 {"duplicate_packets", end.at("duplicate_packets").get<double>()}});
    side.WaitForStop();
}

nlohmann::json Settings() {
    return {{"version", LUMO_VERSION}, {"path", "lumo send, lumo mcu, lumo receive over UDP"}};
}

}  // namespace

std::vector<CDriver> LumoFileDrivers() {
    return {{"lumo-file", Role::Receiver, Listener::RelayServer, Send, Receive, Settings}};
}

}  // namespace bench
