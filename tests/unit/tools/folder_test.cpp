// Files that arrive, on a real disk.
#include "tools/lumo/transfer/file_folder.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/file_source.h"
#include "tools/lumo/transfer/spooled_source.h"
#include "unit/tools/transfer_sim.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace lumo;
namespace fs = std::filesystem;

namespace {

/// A directory that goes with the test.
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
    CUniqueFd Open() const { return CUniqueFd(open(m_path.c_str(), O_RDONLY | O_DIRECTORY)); }

private:
    fs::path m_path;
};

Offer OfferOf(const std::string& name, const std::string& data) {
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
Opened OpenIn(CFileFolder& folder, const Offer& offer) {
    Opened opened{};
    opened.result = folder.Open(offer, opened.store, opened.problem, opened.reason);
    return opened;
}

void WriteBlocks(IFileStore& store, const std::string& data, uint32_t first, uint32_t end) {
    for (uint32_t block = first; block < end; ++block) {
        const char* start = data.data() + size_t{block} * kBlockSize;
        const uint32_t length = BlockLength(data.size(), block);
        ASSERT_TRUE(store.Write(block, start, length, BlockChecksum(start, length))) << store.Problem();
    }
}

StoreStep VerifyAll(IFileStore& store) {
    StoreStep step = StoreStep::More;
    while (step == StoreStep::More) step = store.Verify();
    return step;
}

const std::string& Data() {
    static const std::string data = sim::RandomBytes(40 * size_t{kBlockSize} + 123, 7);
    return data;
}
constexpr uint32_t kBlocks = 41;

TEST(Folder, AFileAppearsOnlyWhenWholeAndVerified) {
    CScratch scratch;
    CFileFolder folder(scratch.Open(), false);
    Opened opened = OpenIn(folder, OfferOf("a", Data()));
    ASSERT_EQ(opened.result, OpenResult::Fetch) << opened.problem;
    WriteBlocks(*opened.store, Data(), 0, kBlocks);
    EXPECT_EQ(scratch.Names(), (std::set<std::string>{"a.part", "a.part.map"}));
    ASSERT_EQ(VerifyAll(*opened.store), StoreStep::Good);
    ASSERT_TRUE(opened.store->Commit()) << opened.store->Problem();
    opened.store.reset();
    EXPECT_EQ(scratch.Names(), (std::set<std::string>{"a"}));
    EXPECT_EQ(scratch.Get("a"), Data());

    // The same offer again costs only a look.
    opened = OpenIn(folder, OfferOf("a", Data()));
    ASSERT_EQ(opened.result, OpenResult::AlreadyThere);
    EXPECT_EQ(VerifyAll(*opened.store), StoreStep::Good);
}

TEST(Folder, AnAttemptGoesOnWhereTheLastOneEnded) {
    CScratch scratch;
    {
        CFileFolder folder(scratch.Open(), false);
        Opened opened = OpenIn(folder, OfferOf("a", Data()));
        WriteBlocks(*opened.store, Data(), 0, 10);
        WriteBlocks(*opened.store, Data(), 20, 25);
        EXPECT_EQ(OpenIn(folder, OfferOf("a", Data())).result, OpenResult::Refused) << "one writer at a time";
    }
    CFileFolder folder(scratch.Open(), false);
    Opened opened = OpenIn(folder, OfferOf("a", Data()));
    ASSERT_EQ(opened.result, OpenResult::Fetch) << opened.problem;
    std::vector<BlockRange> lacking;
    opened.store->Have().AddLacking(0, lacking);
    EXPECT_EQ(lacking, (std::vector<BlockRange>{{10, 10}, {25, 16}}));
    WriteBlocks(*opened.store, Data(), 10, 20);
    WriteBlocks(*opened.store, Data(), 25, kBlocks);

    // Somebody has damaged a block meanwhile: only that one is fetched again.
    CUniqueFd part(open((scratch / "a.part").c_str(), O_WRONLY));
    ASSERT_EQ(pwrite(part.Get(), "X", 1, 5 * kBlockSize + 9), 1);
    ASSERT_EQ(VerifyAll(*opened.store), StoreStep::Bad);
    ASSERT_TRUE(opened.store->Repair());
    lacking.clear();
    opened.store->Have().AddLacking(0, lacking);
    EXPECT_EQ(lacking, (std::vector<BlockRange>{{5, 1}}));
    WriteBlocks(*opened.store, Data(), 5, 6);
    ASSERT_EQ(VerifyAll(*opened.store), StoreStep::Good);
    ASSERT_TRUE(opened.store->Commit());
    EXPECT_EQ(scratch.Get("a"), Data());
}

TEST(Folder, LeftoversOfOtherContentAndCutPartsDoNoHarm) {
    CScratch scratch;
    const std::string other = sim::RandomBytes(Data().size(), 8);
    {
        CFileFolder folder(scratch.Open(), false);
        Opened old = OpenIn(folder, OfferOf("a", other));
        WriteBlocks(*old.store, other, 0, 30);
    }
    {
        CFileFolder folder(scratch.Open(), false);
        Opened opened = OpenIn(folder, OfferOf("a", Data()));
        ASSERT_EQ(opened.result, OpenResult::Fetch) << opened.problem;
        EXPECT_EQ(opened.store->Have().Held(), 0U);
        WriteBlocks(*opened.store, Data(), 0, 30);
    }
    fs::resize_file(scratch / "a.part", 12 * kBlockSize + 5);
    {
        CFileFolder folder(scratch.Open(), false);
        Opened opened = OpenIn(folder, OfferOf("a", Data()));
        EXPECT_EQ(opened.store->Have().Held(), 12U);
    }
    fs::resize_file(scratch / "a.part.map", 48 + 8 * 3 + 5);
    CFileFolder folder(scratch.Open(), false);
    EXPECT_EQ(OpenIn(folder, OfferOf("a", Data())).store->Have().Held(), 3U);
}

TEST(Folder, WhatHasBegunWithNothingLeavesNothing) {
    CScratch scratch;
    CFileFolder folder(scratch.Open(), false);
    OpenIn(folder, OfferOf("a", Data()));
    EXPECT_TRUE(scratch.Names().empty());
    Offer huge = OfferOf("huge", "");
    huge.size = kMaxFileSize;
    EXPECT_EQ(OpenIn(folder, huge).reason, Failure::NoSpace);
    EXPECT_TRUE(scratch.Names().empty());
}

TEST(Folder, NothingInTheWayIsTouched) {
    struct Row {
        const char* what;
        std::function<void(const CScratch&)> prepare;
        bool forceHelps;
    };
    const Row rows[] = {
        {"a file of that name", [](const CScratch& s) { s.Put("a", "mine"); }, true},
        {"a symlink of that name", [](const CScratch& s) { fs::create_symlink("victim", s / "a"); }, false},
        {"a dangling symlink", [](const CScratch& s) { fs::create_symlink("nowhere", s / "a"); }, false},
        {"a directory", [](const CScratch& s) { fs::create_directory(s / "a"); }, false},
        {"a named pipe", [](const CScratch& s) { mkfifo((s / "a").c_str(), 0600); }, false},
        {"a symlink as part", [](const CScratch& s) { fs::create_symlink("victim", s / "a.part"); }, false},
        {"a symlink as record", [](const CScratch& s) { fs::create_symlink("victim", s / "a.part.map"); }, false},
        {"a hard link as part", [](const CScratch& s) { fs::create_hard_link(s / "victim", s / "a.part"); }, false},
        {"a named pipe as part", [](const CScratch& s) { mkfifo((s / "a.part").c_str(), 0600); }, false},
        {"a part without record", [](const CScratch& s) { s.Put("a.part", "mine"); }, true},
        {"a record of somebody else",
         [](const CScratch& s) {
             s.Put("a.part.map", "mine, and long enough to be a record of some kind, is it not?");
             s.Put("a.part", "mine");
         },
         true},
    };
    for (const Row& row : rows) {
        for (const bool force : {false, true}) {
            CScratch scratch;
            scratch.Put("victim", "precious");
            row.prepare(scratch);
            const std::set<std::string> before = scratch.Names();
            CFileFolder folder(scratch.Open(), force);
            Opened opened = OpenIn(folder, OfferOf("a", Data()));
            const bool expected = force && row.forceHelps;
            EXPECT_EQ(opened.result == OpenResult::Fetch, expected) << row.what << " " << force << opened.problem;
            EXPECT_EQ(scratch.Get("victim"), "precious") << row.what;
            if (expected) continue;
            EXPECT_EQ(opened.reason, Failure::Exists) << row.what << " " << force;
            EXPECT_NE(opened.problem, "");
            std::set<std::string> after = scratch.Names();
            EXPECT_EQ(after, before) << row.what;
        }
    }
}

TEST(Folder, AFileThatAppearsMeanwhileIsNotOverwritten) {
    for (const bool force : {false, true}) {
        CScratch scratch;
        CFileFolder folder(scratch.Open(), force);
        Opened opened = OpenIn(folder, OfferOf("a", "new"));
        WriteBlocks(*opened.store, "new", 0, 1);
        scratch.Put("a", "mine");
        EXPECT_EQ(opened.store->Commit(), force);
        EXPECT_EQ(scratch.Get("a"), force ? "new" : "mine");

        Opened swapped = OpenIn(folder, OfferOf("b", "new"));
        WriteBlocks(*swapped.store, "new", 0, 1);
        fs::remove(scratch / "b.part");
        scratch.Put("b.part", "not verified");
        EXPECT_FALSE(swapped.store->Commit());
        EXPECT_EQ(scratch.Names().count("b"), 0U);
    }
}

TEST(Folder, FilesOfOneTransferDoNotShareNames) {
    CScratch scratch;
    CFileFolder folder(scratch.Open(), true);
    Opened part = OpenIn(folder, OfferOf("a.part", "x"));
    ASSERT_EQ(part.result, OpenResult::Fetch);
    EXPECT_EQ(OpenIn(folder, OfferOf("a", "y")).reason, Failure::BadOffer);
    EXPECT_EQ(OpenIn(folder, OfferOf("../a", "y")).reason, Failure::BadName);
    part.store.reset();
    EXPECT_EQ(OpenIn(folder, OfferOf("a", "y")).result, OpenResult::Fetch);
}

TEST(Folder, SameSizeButOtherContentIsRefused) {
    CScratch scratch;
    scratch.Put("a", "mine");
    CFileFolder folder(scratch.Open(), false);
    Opened opened = OpenIn(folder, OfferOf("a", "your"));
    ASSERT_EQ(opened.result, OpenResult::AlreadyThere);
    EXPECT_EQ(VerifyAll(*opened.store), StoreStep::Bad);
    EXPECT_FALSE(opened.store->Repair());
    EXPECT_EQ(opened.store->Reason(), Failure::Exists);
    EXPECT_EQ(scratch.Get("a"), "mine");
}

TEST(FileSource, NoticesWhatIsNotTheFileThatWasHashed) {
    CScratch scratch;
    scratch.Put("f", Data());
    CFileSource source(CUniqueFd(open((scratch / "f").c_str(), O_RDONLY)), "f");
    std::string problem;
    ASSERT_TRUE(source.Open(problem)) << problem;
    while (!source.HashStep()) ASSERT_EQ(source.Problem(), "");
    EXPECT_EQ(source.Sha256(), OfferOf("f", Data()).sha256);
    std::vector<char> block(kBlockSize);
    ASSERT_TRUE(source.Read(kBlocks - 1, block.data()));
    EXPECT_EQ(std::string(block.data(), 123), Data().substr(Data().size() - 123));
    fs::last_write_time(scratch / "f", fs::last_write_time(scratch / "f") + std::chrono::seconds(1));
    EXPECT_FALSE(source.Read(0, block.data()));
    EXPECT_EQ(source.Problem(), "it has changed while it was sent");
    fs::resize_file(scratch / "f", 5);
    EXPECT_FALSE(source.Read(0, block.data()));
    EXPECT_EQ(source.Problem(), "it has become shorter");

    for (const char* name : {"/dev/null", "."}) {
        CFileSource other(CUniqueFd(open(name, O_RDONLY)), "f");
        EXPECT_FALSE(other.Open(problem)) << name;
    }
}

TEST(SpooledSource, TakesAPipeAsItComes) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    CUniqueFd input(ends[0]), output(ends[1]);
    CSpooledSource source(input.Get(), MakeSpoolFile(), "stdin");
    EXPECT_FALSE(source.HashStep()) << "nothing yet";
    ASSERT_EQ(write(output.Get(), Data().data(), 50000), 50000);
    EXPECT_FALSE(source.HashStep());
    ASSERT_EQ(write(output.Get(), Data().data() + 50000, 30000), 30000);
    output.Reset();
    while (!source.HashStep()) ASSERT_EQ(source.Problem(), "");
    EXPECT_EQ(source.Size(), 80000U);
    EXPECT_EQ(source.Sha256(), OfferOf("", Data().substr(0, 80000)).sha256);
    std::vector<char> block(kBlockSize);
    ASSERT_TRUE(source.Read(1, block.data()));
    EXPECT_EQ(std::string(block.data(), 80000 - kBlockSize), Data().substr(kBlockSize, 80000 - kBlockSize));
}

}  // namespace
