// Runs a fuzz target over the files of the given folders, each once, where no fuzzing engine is linked:
// lumo_fuzz_replay TARGET FOLDER...
#include "support/target.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

int main(int argc, char** argv) {
    const std::vector<CFuzzTarget*>& all = CFuzzTarget::All();
    const auto target =
        std::find_if(all.begin(), all.end(), [&](CFuzzTarget* one) { return argc > 1 && one->Name() == argv[1]; });
    if (target == all.end()) {
        std::fprintf(stderr, "no such target: %s\n", argc > 1 ? argv[1] : "none was named");
        return 1;
    }
    unsigned inputs = 0;
    for (int i = 2; i < argc; ++i) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            std::ifstream file(entry.path(), std::ios::binary);
            // An exact-size heap copy, so that a sanitizer sees the first byte read past the end.
            const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
            const std::vector<uint8_t> bytes(text.begin(), text.end());
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            (*target)->Run(bytes.data(), bytes.size());
            ++inputs;
        }
    }
    std::printf("%u inputs replayed\n", inputs);
    return inputs > 0 ? 0 : 1;
}
