#include "layer_rules.h"

#include <map>
#include <regex>
#include <set>
#include <vector>

namespace {

/// Lower floors have lower numbers; folders of one floor never include one another. seal/ is a library of its own,
/// which stands on platform/ as core/ does, and nobody includes it: who seals does so through the public header.
const std::map<std::string, int> FLOORS = {
    {"platform", 0}, {"core", 1},    {"seal", 1},       {"link", 2}, {"p2p", 3}, {"audio", 4},  {"video", 4},
    {"file", 4},     {"desktop", 4}, {"whiteboard", 4}, {"mcu", 5},  {"api", 6}, {"server", 7}, {"tools", 8},
};

/// The same within link/; its own files stand lowest.
const std::map<std::string, int> LINK_FLOORS = {
    {"", 0}, {"bounds", 1}, {"process", 2}, {"udp", 3}, {"tcp", 3}, {"tables", 4}, {"share", 5}, {"stream", 5},
};

/// What only platform/ may know of in src/: sockets, threads, locks, clocks, files and the libraries that wrap them.
const std::regex OPERATING_SYSTEM(
    "(sys|net|netinet|arpa|linux|asm|curl|spdlog|fmt)/.*|asio(\\.hpp|/.*)|"
    "(unistd|fcntl|poll|pthread|sched|semaphore|signal|netdb|ifaddrs|dlfcn|time|errno)\\.h|"
    "thread|mutex|shared_mutex|semaphore|condition_variable|stop_token|latch|barrier|future|chrono|ctime|csignal|"
    "random|iostream|fstream|filesystem");

/// The standard headers of C++11 that public headers may stand on.
const std::set<std::string> PUBLIC_STANDARD = {"cstddef", "cstdint", "cstring", "map", "string", "vector"};

bool IsStandard(const std::string& header) { return header.find_first_of("./") == std::string::npos; }

std::string FirstFolder(const std::string& path) {
    const size_t slash = path.find('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string PublicHeaderBreach(const std::string& header, bool quoted) {
    if (!quoted && (FirstFolder(header) == "lumomedia" || PUBLIC_STANDARD.count(header) != 0)) return "";
    return "a public header stands on public headers and a few standard ones alone";
}

std::string SystemHeaderBreach(const std::string& folder, const std::string& header) {
    if (folder == "platform" || folder == "server" || folder == "tools") return "";
    if (folder == "seal" && FirstFolder(header) == "openssl") return "";
    if (std::regex_match(header, OPERATING_SYSTEM)) return "only platform/ knows the operating system";
    if (!IsStandard(header)) return "a library of others below platform/";
    return "";
}

std::string FloorBreach(const std::map<std::string, int>& floors, const std::string& folder,
                        const std::string& target) {
    const auto from = floors.find(folder);
    const auto to = floors.find(target);
    if (from == floors.end()) return "the file stands on no floor";
    if (to == floors.end()) return "includes name their floor first";
    if (to->second > from->second) return folder + "/ includes upward";
    if (to->second == from->second && folder != target) return folder + "/ and " + target + "/ are neighbours";
    return "";
}

/// Both paths without what lies before their floor.
std::string QuotedBreach(const std::string& path, const std::string& header) {
    const std::string folder = FirstFolder(path);
    const std::string target = FirstFolder(header);
    if (target == "seal" && folder != "seal") return "only sealing itself includes seal/";
    if (folder != "link" || target != "link") return FloorBreach(FLOORS, folder, target);
    return FloorBreach(LINK_FLOORS, FirstFolder(path.substr(5)), FirstFolder(header.substr(5)));
}

}  // namespace

std::string LayerBreach(const std::string& path, const std::string& line) {
    static const std::regex include("\\s*#\\s*include\\s*([<\"])([^>\"]+)[>\"].*");
    std::smatch match;
    if (!std::regex_match(line, match, include)) return "";
    const bool quoted = match[1] == "\"";
    const std::string header = match[2];

    const std::string top = FirstFolder(path);
    if (top == "include") return PublicHeaderBreach(header, quoted);
    if (FirstFolder(header) == "lumomedia") return "";
    const std::string inside = top == "src" ? path.substr(4) : path;
    return quoted ? QuotedBreach(inside, header) : SystemHeaderBreach(FirstFolder(inside), header);
}
