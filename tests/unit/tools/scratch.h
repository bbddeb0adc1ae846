// A directory that goes with the test, and files that arrive there.
#pragma once

#include "tools/lumo/transfer/file_folder.h"
#include "unit/tools/transfer_sim.h"

#include <fcntl.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>

namespace scratch {

using namespace lumo;
namespace fs = std::filesystem;

class CScratch {
public:
    CScratch() {
        std::string pattern = (fs::temp_directory_path() / "lumo-test-XXXXXX").string();
        m_path = mkdtemp(pattern.data());
    }
    ~CScratch() { fs::remove_all(m_path); }
    CScratch(const CScratch&) = delete;
    CScratch& operator=(const CScratch&) = delete;

    fs::path operator/(const std::string& name) const { return m_path / name; }
    void Put(const std::string& name, const std::string& content) const { std::ofstream(m_path / name) << content; }
    std::string Get(const std::string& name) const {
        std::ifstream file(m_path / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_path)) names.insert(entry.path().filename());
        return names;
    }
    CFileDescriptor Open() const { return CFileDescriptor(open(m_path.c_str(), O_RDONLY | O_DIRECTORY)); }

private:
    fs::path m_path;
};

inline Offer OfferOf(const std::string& name, const std::string& data) {
    Offer offer;
    offer.name = name;
    offer.size = data.size();
    CSha256 hash;
    hash.Add(data.data(), data.size());
    hash.Finish(offer.sha256);
    return offer;
}

struct Opened {
    OpenResult result;
    std::unique_ptr<IFileStore> store;
    std::string problem;
    Failure reason = Failure::None;
};
inline Opened OpenIn(CFileFolder& folder, const Offer& offer) {
    Opened opened{};
    opened.result = folder.Open(offer, opened.store, opened.problem, opened.reason);
    return opened;
}

inline void WriteBlocks(IFileStore& store, const std::string& data, uint32_t first, uint32_t end) {
    for (uint32_t block = first; block < end; ++block) {
        const char* start = data.data() + size_t{block} * kBlockSize;
        const uint32_t length = BlockLength(data.size(), block);
        ASSERT_TRUE(store.Write(block, start, length, BlockChecksum(start, length))) << store.Problem();
    }
}

inline StoreStep VerifyAll(IFileStore& store) {
    StoreStep step = StoreStep::More;
    while (step == StoreStep::More) step = store.Verify();
    return step;
}

inline const std::string& Data() {
    static const std::string data = sim::RandomBytes(40 * size_t{kBlockSize} + 123, 7);
    return data;
}
inline constexpr uint32_t kBlocks = 41;

}  // namespace scratch
