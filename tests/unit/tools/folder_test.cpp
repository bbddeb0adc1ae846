// Files that arrive, on a real disk.
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/file_output.h"
#include "tools/lumo/transfer/file_source.h"
#include "tools/lumo/transfer/spooled_source.h"
#include "unit/tools/scratch.h"

#include <sys/stat.h>

using namespace scratch;

namespace {

TEST(Folder, AFileAppearsOnlyWhenWholeAndVerified) {
    CScratch scratch;
    CFileFolder folder(scratch.Open(), {});
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
        CFileFolder folder(scratch.Open(), {});
        Opened opened = OpenIn(folder, OfferOf("a", Data()));
        WriteBlocks(*opened.store, Data(), 0, 10);
        WriteBlocks(*opened.store, Data(), 20, 25);
        EXPECT_EQ(OpenIn(folder, OfferOf("a", Data())).result, OpenResult::Refused) << "one writer at a time";
    }
    CFileFolder folder(scratch.Open(), {});
    Opened opened = OpenIn(folder, OfferOf("a", Data()));
    ASSERT_EQ(opened.result, OpenResult::Fetch) << opened.problem;
    std::vector<BlockRange> lacking;
    opened.store->Have().AddLacking(0, lacking);
    EXPECT_EQ(lacking, (std::vector<BlockRange>{{10, 10}, {25, 16}}));
    WriteBlocks(*opened.store, Data(), 10, 20);
    WriteBlocks(*opened.store, Data(), 25, kBlocks);

    // Somebody has damaged a block meanwhile: only that one is fetched again.
    CFileDescriptor part(open((scratch / "a.part").c_str(), O_WRONLY));
    ASSERT_EQ(pwrite(part.Get(), "X", 1, 5 * kBlockSize + 9), 1);
    ASSERT_EQ(VerifyAll(*opened.store), StoreStep::Bad);
    EXPECT_EQ(opened.store->Repair(), StoreStep::More) << "all in one go";
    ASSERT_EQ(opened.store->Repair(), StoreStep::Good);
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
        CFileFolder folder(scratch.Open(), {});
        Opened old = OpenIn(folder, OfferOf("a", other));
        WriteBlocks(*old.store, other, 0, 30);
    }
    {
        CFileFolder folder(scratch.Open(), {});
        Opened opened = OpenIn(folder, OfferOf("a", Data()));
        ASSERT_EQ(opened.result, OpenResult::Fetch) << opened.problem;
        EXPECT_EQ(opened.store->Have().Held(), 0U);
        WriteBlocks(*opened.store, Data(), 0, 30);
    }
    fs::resize_file(scratch / "a.part", 12 * kBlockSize + 5);
    {
        CFileFolder folder(scratch.Open(), {});
        Opened opened = OpenIn(folder, OfferOf("a", Data()));
        EXPECT_EQ(opened.store->Have().Held(), 12U);
    }
    fs::resize_file(scratch / "a.part.map", 48 + 8 * 3 + 5);
    CFileFolder folder(scratch.Open(), {});
    EXPECT_EQ(OpenIn(folder, OfferOf("a", Data())).store->Have().Held(), 3U);
}

TEST(Folder, WhatHasBegunWithNothingBlocksNobodyAndLeavesNothing) {
    using Leftovers = std::vector<std::pair<std::string, std::string>>;
    const std::string record("LUPM\0\0\0\1cut", 11);
    for (const Leftovers& left :
         {Leftovers{}, Leftovers{{"a.part", ""}}, Leftovers{{"a.part.map", ""}},
          Leftovers{{"a.part", ""}, {"a.part.map", ""}}, Leftovers{{"a.part", ""}, {"a.part.map", "LUPM"}},
          Leftovers{{"a.part", "not in the record"}, {"a.part.map", record}}}) {
        CScratch scratch;
        for (const auto& [name, content] : left) scratch.Put(name, content);
        CFileFolder folder(scratch.Open(), {});
        Opened opened = OpenIn(folder, OfferOf("a", Data()));
        EXPECT_EQ(opened.result, OpenResult::Fetch) << testing::PrintToString(left) << opened.problem;
        opened.store.reset();
        EXPECT_TRUE(scratch.Names().empty()) << testing::PrintToString(left);
    }
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
        {"a record of nobody alone", [](const CScratch& s) { s.Put("a.part.map", "mine"); }, true},
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
            CFileFolder folder(scratch.Open(), {force});
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
        CFileFolder folder(scratch.Open(), {force});
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
    CFileFolder folder(scratch.Open(), {true});
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
    CFileFolder folder(scratch.Open(), {});
    Opened opened = OpenIn(folder, OfferOf("a", "your"));
    ASSERT_EQ(opened.result, OpenResult::AlreadyThere);
    EXPECT_EQ(VerifyAll(*opened.store), StoreStep::Bad);
    EXPECT_EQ(opened.store->Repair(), StoreStep::Broken);
    EXPECT_EQ(opened.store->Reason(), Failure::Exists);
    EXPECT_EQ(scratch.Get("a"), "mine");
}

TEST(Folder, WhatIsReplacedKeepsItsPermissions) {
    const auto kept = [](mode_t mode, gid_t group, uid_t owner) {
        CScratch scratch;
        scratch.Put("a", "old");
        EXPECT_EQ(chown((scratch / "a").c_str(), owner, group), 0);
        EXPECT_EQ(chmod((scratch / "a").c_str(), mode), 0);
        CFileFolder folder(scratch.Open(), {true});
        Opened opened = OpenIn(folder, OfferOf("a", "new"));
        WriteBlocks(*opened.store, "new", 0, 1);
        EXPECT_TRUE(opened.store->Commit()) << opened.store->Problem();
        EXPECT_EQ(scratch.Get("a"), "new");
        struct stat replaced {};
        EXPECT_EQ(stat((scratch / "a").c_str(), &replaced), 0);
        return replaced.st_mode & 07777;
    };
    EXPECT_EQ(kept(0751, getegid(), geteuid()), 0751U);
    EXPECT_EQ(kept(06600, getegid(), geteuid()), 0600U) << "but never those of another user";
    if (geteuid() != 0) return;
    EXPECT_EQ(kept(0660, 12345, 0), 0660U) << "of its group";
    EXPECT_EQ(kept(0666, 0, 12345), 0644U) << "wider open than any new file";
    EXPECT_EQ(kept(0700, 0, 12345), 0700U);
}

TEST(Folder, NamesThatHideOrLookLikeOptionsComeWithAPrefix) {
    for (const bool allowed : {false, true}) {
        CScratch scratch;
        scratch.Put(".rc", "mine");
        CFileFolder folder(scratch.Open(), {true, allowed});
        for (const char* name : {".rc", "-rf", "a.b-c"}) {
            Opened opened = OpenIn(folder, OfferOf(name, "new"));
            WriteBlocks(*opened.store, "new", 0, 1);
            ASSERT_TRUE(opened.store->Commit()) << opened.store->Problem();
        }
        EXPECT_EQ(scratch.Names(), allowed ? (std::set<std::string>{".rc", "-rf", "a.b-c"})
                                           : (std::set<std::string>{".rc", "_.rc", "_-rf", "a.b-c"}));
        EXPECT_EQ(scratch.Get(".rc"), allowed ? "new" : "mine");
        EXPECT_EQ(folder.LocalName(".rc"), allowed ? ".rc" : "_.rc");
        EXPECT_EQ(OpenIn(folder, OfferOf("." + std::string(254, 'x'), "")).result == OpenResult::Fetch, allowed);
    }
}

TEST(FileOutput, WaitsForNobodyAndTellsWhatDidNotGoOut) {
    CSpoolFolder folder;
    std::vector<IncomingFile> files(3);
    std::string expected, problem;
    for (const size_t size : {size_t{100000}, size_t{0}, Data().size()}) {
        IncomingFile& file = files[size == 0 ? 1 : size == 100000 ? 0 : 2];
        file.offer = OfferOf("f", Data().substr(0, size));
        Failure reason{};
        ASSERT_EQ(folder.Open(file.offer, file.store, problem, reason), OpenResult::Fetch) << problem;
        WriteBlocks(*file.store, Data().substr(0, size), 0, BlocksOf(size));
        expected += Data().substr(0, size);
    }
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    CFileDescriptor input(ends[0]), output(ends[1]);
    CFileOutput copy(output.Get());
    for (int step = 0; step < 3; ++step) EXPECT_EQ(copy.Step(files, problem), StoreStep::More) << "nobody reads";
    std::string got;
    std::vector<char> buffer(30000);
    StoreStep step = StoreStep::More;
    while (step == StoreStep::More) {
        ASSERT_EQ(problem, "");
        step = copy.Step(files, problem);
        const ssize_t some = step == StoreStep::More ? read(input.Get(), buffer.data(), buffer.size()) : 0;
        got.append(buffer.data(), static_cast<size_t>(std::max<ssize_t>(some, 0)));
    }
    EXPECT_EQ(step, StoreStep::Good);
    output.Reset();
    for (ssize_t some = 1; (some = read(input.Get(), buffer.data(), buffer.size())) > 0;)
        got.append(buffer.data(), static_cast<size_t>(some));
    EXPECT_TRUE(got == expected);

    CFileDescriptor full(open("/dev/full", O_WRONLY));
    EXPECT_EQ(CFileOutput(full.Get()).Step(files, problem), StoreStep::Broken);
    EXPECT_EQ(problem, "cannot write to standard output: No space left on device");
}

TEST(FileSource, NoticesWhatIsNotTheFileThatWasHashed) {
    CScratch scratch;
    scratch.Put("f", Data());
    CFileSource source(CFileDescriptor(open((scratch / "f").c_str(), O_RDONLY)), "f");
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
        CFileSource other(CFileDescriptor(open(name, O_RDONLY)), "f");
        EXPECT_FALSE(other.Open(problem)) << name;
    }
}

TEST(SpooledSource, TakesAPipeAsItComes) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    CFileDescriptor input(ends[0]), output(ends[1]);
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
