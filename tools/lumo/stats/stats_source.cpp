#include "tools/lumo/stats/stats_source.h"

#include "tools/lumo/transfer/error_text.h"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <fstream>

namespace lumo {
namespace {

constexpr time_t kPatienceSeconds = 3;
constexpr size_t kMostBytes = 16 << 20;  // of a page
constexpr std::streamoff kMostLine = 1 << 20;

bool Parse(const std::string& text, const std::string& whose, nlohmann::json& stats, std::string& problem) {
    stats = nlohmann::json::parse(text, nullptr, false);
    if (stats.is_object()) return true;
    problem = whose + " holds no figures";
    return false;
}

}  // namespace

bool ReadServerStats(const RelayTarget& pages, nlohmann::json& stats, std::string& problem) {
    const std::string whose = "http://" + pages.Text() + "/api/streams";
    httplib::Client client(pages.host, pages.port);
    client.set_connection_timeout(kPatienceSeconds);
    client.set_read_timeout(kPatienceSeconds);
    std::string text;
    const auto answer = client.Get("/api/streams", [&text](const char* data, size_t length) {
        text.append(data, length);
        return text.size() <= kMostBytes;
    });
    if (!answer) {
        problem = whose + " gives no answer: does the server run there, with its pages on (--http)?";
        return false;
    }
    if (answer->status != 200) {
        problem = whose + " answers " + std::to_string(answer->status);
        return false;
    }
    return Parse(text, whose, stats, problem);
}

bool ReadProgramStats(const std::string& path, nlohmann::json& stats, std::string& problem) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (size < 0) {
        problem = path + ": " + ErrorText(errno == 0 ? EIO : errno);
        return false;
    }
    std::string end(static_cast<size_t>(std::min(size, kMostLine)), '\0');
    file.seekg(size - static_cast<std::streamoff>(end.size()));
    file.read(end.data(), static_cast<std::streamsize>(end.size()));
    end.resize(end.find_last_of('\n') + 1);  // what follows is still being written
    if (!end.empty()) end.pop_back();
    return Parse(end.substr(end.find_last_of('\n') + 1), path, stats, problem);
}

}  // namespace lumo
