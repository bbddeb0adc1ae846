// Files that arrive in a folder of the test.
#pragma once

#include "support/scratch.h"
#include "tools/lumo/transfer/file_folder.h"
#include "unit/tools/transfer_sim.h"

#include <fcntl.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace arrivals {

using namespace lumo;
namespace fs = std::filesystem;
using Names = std::set<std::string>;

inline constexpr uint32_t kBlocks = 41;
inline const std::string& Data() {
    static const std::string data = RandomBytes((kBlocks - 1) * size_t{kBlockSize} + 123, 7);
    return data;
}

inline Offer OfferOf(const std::string& name, const std::string& data) {
    return {0, 0, data.size(), sim::DigestOf(data), name};
}

inline std::shared_ptr<CFileFolder> In(const CScratch& scratch, const FolderRules& rules = {}) {
    return std::make_shared<CFileFolder>(CFileDescriptor(open((scratch / "").c_str(), O_RDONLY | O_DIRECTORY)), rules);
}

/// An attempt to fetch one file; of the name "a" where nobody says another.
struct Attempt {
    Attempt(std::shared_ptr<IFileFolder> into, const Offer& offer)
        : folder(std::move(into)), result(folder->Open(offer, store, problem, reason)) {}
    explicit Attempt(const CScratch& scratch, const std::string& data = Data(), const FolderRules& rules = {})
        : Attempt(In(scratch, rules), OfferOf("a", data)) {}

    IFileStore* operator->() const { return store.get(); }
    void Write(const std::string& data, uint32_t first, uint32_t end) const {
        for (uint32_t block = first; block < end; ++block) {
            const char* start = data.data() + size_t{block} * kBlockSize;
            const uint32_t length = BlockLength(data.size(), block);
            ASSERT_TRUE(store->Write(block, start, length, BlockChecksum(start, length))) << store->Problem();
        }
    }
    /// All of it comes.
    bool Finish(const std::string& data = "new") const {
        Write(data, 0, BlocksOf(data.size()));
        return store->Commit();
    }
    StoreStep Verify() const {
        StoreStep step = StoreStep::More;
        while (step == StoreStep::More) step = store->Verify();
        return step;
    }
    std::vector<BlockRange> Lacking() const {
        std::vector<BlockRange> lacking;
        store->Have().AddLacking(0, lacking);
        return lacking;
    }

    const std::shared_ptr<IFileFolder> folder;
    std::unique_ptr<IFileStore> store;
    std::string problem;
    Failure reason = Failure::None;
    const OpenResult result;
};

}  // namespace arrivals
