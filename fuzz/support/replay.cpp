// Runs a fuzz target over the files of the given folders, each once, where no fuzzing engine is linked.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    unsigned inputs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            std::ifstream file(entry.path(), std::ios::binary);
            // An exact-size heap copy, so that a sanitizer sees the first byte read past the end.
            const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
            const std::vector<uint8_t> bytes(text.begin(), text.end());
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++inputs;
        }
    }
    std::printf("%u inputs replayed\n", inputs);
    return inputs > 0 ? 0 : 1;
}
