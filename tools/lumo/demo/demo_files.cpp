#include "tools/lumo/demo/demo_files.h"

#include "tools/lumo/demo/sockets.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/sha256.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <vector>

namespace lumo {
namespace fs = std::filesystem;
namespace {

constexpr uint64_t kMebi = 1024 * 1024;
constexpr uint64_t kBigSize = 48 * kMebi, kCutSize = 24 * kMebi, kSmallSize = 2 * kMebi;

bool WriteRandom(const std::string& path, uint64_t size) {
    std::mt19937_64 random(RandomID());
    std::ofstream file(path, std::ios::binary);
    std::vector<uint64_t> piece(8192);
    for (uint64_t left = size; left > 0 && file;) {
        std::generate(piece.begin(), piece.end(), std::ref(random));
        const uint64_t length = std::min<uint64_t>(left, piece.size() * sizeof(uint64_t));
        file.write(reinterpret_cast<const char*>(piece.data()), static_cast<std::streamsize>(length));
        left -= length;
    }
    return static_cast<bool>(file.flush());
}

bool CopyBeginning(const std::string& from, const std::string& to, uint64_t size) {
    std::ifstream source(from, std::ios::binary);
    std::string bytes(size, '\0');
    source.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(source.gcount()));
    return !source.bad() && WriteFile(to, bytes);
}

bool HashOf(const std::string& path, Digest& digest) {
    std::ifstream file(path, std::ios::binary);
    CSha256 hash;
    std::vector<char> piece(kHashStep);
    while (file) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        hash.Add(piece.data(), static_cast<size_t>(file.gcount()));
    }
    return file.eof() && hash.Finish(digest);
}

}  // namespace

std::string OwnProgram() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).string();
}

std::string MakeFolder() {
    std::error_code error;
    std::string pattern = (fs::temp_directory_path(error) / "lumo-demo-XXXXXX").string();
    return mkdtemp(pattern.data()) ? pattern : "";
}

bool MakeDirectory(const std::string& path) {
    std::error_code error;
    return fs::create_directory(path, error);
}

void RemoveFolder(const std::string& path) {
    std::error_code error;
    fs::remove_all(path, error);
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool WriteFile(const std::string& path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file.flush());
}

bool MakeDemoFiles(const std::string& given, const std::string& folder, std::string& big, std::string& small,
                   std::string& cut) {
    big = folder + "/big.bin";
    cut = folder + "/cut.bin";
    small = folder + "/small.bin";
    if (given.empty())
        return WriteRandom(big, kBigSize) && WriteRandom(cut, kCutSize) && WriteRandom(small, kSmallSize);
    big = cut = given;
    return CopyBeginning(given, small, kSmallSize);
}

uint64_t SizeOf(const std::string& path) {
    std::error_code error;
    const uintmax_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

bool SameContent(const std::string& path, const std::string& folder) {
    Digest sent{}, arrived{};
    return HashOf(path, sent) && HashOf(folder + "/" + BaseName(path), arrived) && sent == arrived;
}

uint16_t FreePortOnBoth(const std::string& first, const std::string& second) {
    Endpoint one, other;
    std::string problem;
    if (!ParseEndpoint(first, one) || !ParseEndpoint(second, other)) return 0;
    for (int attempt = 0; attempt < 50; ++attempt) {
        one.port = 0;
        const CFileDescriptor tcp = OpenSocket(SOCK_STREAM, one, problem);
        one.port = other.port = LocalEndpoint(tcp.Get()).port;
        if (tcp && OpenSocket(SOCK_DGRAM, one, problem) && OpenSocket(SOCK_STREAM, other, problem) &&
            OpenSocket(SOCK_DGRAM, other, problem))
            return one.port;
    }
    return 0;
}

}  // namespace lumo
