// Files that arrive, on a real disk.
#include "support/pipe.h"
#include "tools/lumo/transfer/file_output.h"
#include "tools/lumo/transfer/file_source.h"
#include "unit/tools/arrivals.h"

#include <sys/stat.h>

#include <functional>

using namespace arrivals;

namespace {

TEST(Folder, AFileAppearsOnlyWhenWholeAndVerified) {
    const CScratch scratch;
    {
        const Attempt first(scratch);
        ASSERT_EQ(first.result, OpenResult::Fetch) << first.problem;
        first.Write(Data(), 0, kBlocks);
        EXPECT_EQ(scratch.Names(), (Names{"a.part", "a.part.map"}));
        ASSERT_EQ(first.Verify(), StoreStep::Good);
        ASSERT_TRUE(first->Commit()) << first->Problem();
    }
    EXPECT_EQ(scratch.Names(), Names{"a"});
    const Attempt again(scratch), other(scratch, RandomBytes(Data().size(), 8));
    ASSERT_TRUE(again.result == OpenResult::AlreadyThere && other.result == OpenResult::AlreadyThere);
    EXPECT_EQ(again.Verify(), StoreStep::Good) << "the same offer again costs only a look";
    EXPECT_EQ(other.Verify(), StoreStep::Bad);
    EXPECT_EQ(other->Repair(), StoreStep::Broken);
    EXPECT_EQ(other->Reason(), Failure::Exists);
    EXPECT_EQ(scratch.Get("a"), Data());
}

TEST(Folder, AnAttemptGoesOnWhereTheLastOneEnded) {
    const CScratch scratch;
    {
        const Attempt first(scratch);
        first.Write(Data(), 0, 10);
        first.Write(Data(), 20, 25);
        EXPECT_EQ(Attempt(scratch).result, OpenResult::Refused) << "one writer at a time";
    }
    const Attempt attempt(scratch);
    ASSERT_EQ(attempt.result, OpenResult::Fetch) << attempt.problem;
    EXPECT_EQ(attempt.Lacking(), (std::vector<BlockRange>{{10, 10}, {25, 16}}));
    attempt.Write(Data(), 10, 20);
    attempt.Write(Data(), 25, kBlocks);
    // Somebody has damaged a block meanwhile: only that one is fetched again.
    CFileDescriptor part(open((scratch / "a.part").c_str(), O_WRONLY));
    ASSERT_EQ(pwrite(part.Get(), "X", 1, 5 * kBlockSize + 9), 1);
    ASSERT_EQ(attempt.Verify(), StoreStep::Bad);
    EXPECT_EQ(attempt->Repair(), StoreStep::More) << "all in one go";
    ASSERT_EQ(attempt->Repair(), StoreStep::Good);
    EXPECT_EQ(attempt.Lacking(), (std::vector<BlockRange>{{5, 1}}));
    attempt.Write(Data(), 5, 6);
    ASSERT_EQ(attempt.Verify(), StoreStep::Good);
    ASSERT_TRUE(attempt->Commit());
    EXPECT_EQ(scratch.Get("a"), Data());
}

TEST(Folder, LeftoversOfOtherContentAndCutPartsDoNoHarm) {
    const CScratch scratch;
    const std::string other = RandomBytes(Data().size(), 8);
    Attempt(scratch, other).Write(other, 0, 30);
    {
        const Attempt attempt(scratch);
        ASSERT_EQ(attempt.result, OpenResult::Fetch) << attempt.problem;
        EXPECT_EQ(attempt->Have().Held(), 0U);
        attempt.Write(Data(), 0, 30);
    }
    fs::resize_file(scratch / "a.part", 12 * kBlockSize + 5);
    EXPECT_EQ(Attempt(scratch)->Have().Held(), 12U);
    fs::resize_file(scratch / "a.part.map", 48 + 8 * 3 + 5);
    EXPECT_EQ(Attempt(scratch)->Have().Held(), 3U);
}

TEST(Folder, WhatHasBegunWithNothingBlocksNobodyAndLeavesNothing) {
    using Leftovers = std::vector<std::pair<std::string, std::string>>;
    const std::string record("LUPM\0\0\0\1cut", 11);
    for (const Leftovers& left :
         {Leftovers{}, Leftovers{{"a.part", ""}}, Leftovers{{"a.part.map", ""}},
          Leftovers{{"a.part", ""}, {"a.part.map", ""}}, Leftovers{{"a.part", ""}, {"a.part.map", "LUPM"}},
          Leftovers{{"a.part", "not in the record"}, {"a.part.map", record}}}) {
        const CScratch scratch;
        for (const auto& [name, content] : left) scratch.Put(name, content);
        EXPECT_EQ(Attempt(scratch).result, OpenResult::Fetch) << testing::PrintToString(left);
        EXPECT_TRUE(scratch.Names().empty()) << testing::PrintToString(left);
    }
}

TEST(Folder, NothingInTheWayIsTouched) {
    const struct {
        const char* what;
        std::function<void(const CScratch&)> prepare;
        bool forceHelps;
    } rows[] = {
        {"a file of that name", [](const CScratch& s) { s.Put("a", "mine"); }, true},
        {"a symlink of that name", [](const CScratch& s) { fs::create_symlink("victim", s / "a"); }, false},
        {"a dangling symlink", [](const CScratch& s) { fs::create_symlink("nowhere", s / "a"); }, false},
        {"a directory", [](const CScratch& s) { fs::create_directory(s / "a"); }, false},
        {"a named pipe", [](const CScratch& s) { mkfifo((s / "a").c_str(), 0600); }, false},
        {"a symlink as part", [](const CScratch& s) { fs::create_symlink("victim", s / "a.part"); }, false},
        {"a symlink as record", [](const CScratch& s) { fs::create_symlink("victim", s / "a.part.map"); }, false},
        {"a hard link as part",
         [](const CScratch& s) { s.Put("a.part.map", "LUPM"), fs::create_hard_link(s / "victim", s / "a.part"); },
         false},
        {"a named pipe as part", [](const CScratch& s) { mkfifo((s / "a.part").c_str(), 0600); }, false},
        {"a record of nobody alone", [](const CScratch& s) { s.Put("a.part.map", "mine"); }, true},
        {"a record of somebody else",
         [](const CScratch& s) { s.Put("a.part.map", std::string(60, 'm')), s.Put("a.part", "mine"); }, true},
    };
    for (const auto& row : rows) {
        for (const bool force : {false, true}) {
            SCOPED_TRACE(row.what + std::string(force ? ", by force" : ""));
            const CScratch scratch;
            scratch.Put("victim", "precious");
            row.prepare(scratch);
            const Names before = scratch.Names();
            const Attempt attempt(scratch, Data(), {force});
            const bool expected = force && row.forceHelps;
            EXPECT_EQ(attempt.result == OpenResult::Fetch, expected) << attempt.problem;
            EXPECT_EQ(scratch.Get("victim"), "precious");
            if (expected) continue;
            EXPECT_EQ(attempt.reason, Failure::Exists);
            EXPECT_NE(attempt.problem, "");
            EXPECT_EQ(scratch.Names(), before);
        }
    }
}

TEST(Folder, AFileThatAppearsMeanwhileIsNotOverwritten) {
    for (const bool force : {false, true}) {
        const CScratch scratch;
        const auto folder = In(scratch, {force});
        const Attempt late(folder, OfferOf("a", "new")), swapped(folder, OfferOf("b", "new"));
        scratch.Put("a", "mine");
        EXPECT_EQ(late.Finish(), force);
        EXPECT_EQ(scratch.Get("a"), force ? "new" : "mine");
        fs::remove(scratch / "b.part");
        scratch.Put("b.part", "not verified");
        EXPECT_FALSE(swapped.Finish());
        EXPECT_EQ(scratch.Names().count("b"), 0U);
    }
}

TEST(Folder, FilesOfOneTransferDoNotShareNames) {
    const CScratch scratch;
    const auto folder = In(scratch, {true});
    {
        const Attempt part(folder, OfferOf("a.part", "x"));
        ASSERT_EQ(part.result, OpenResult::Fetch);
        const Attempt whole(folder, OfferOf("a", "y"));
        EXPECT_EQ(scratch.Names(), (Names{"a.part.part", "a.part.part.map", "a~.part", "a~.part.map"}));
        EXPECT_EQ(Attempt(folder, OfferOf("a", "z")).reason, Failure::BadOffer);
        EXPECT_EQ(Attempt(folder, OfferOf("../a", "y")).reason, Failure::BadName);
        for (const char* name : {"a~.part", "a~.part.map", "a~.part/b"})
            EXPECT_EQ(Attempt(folder, OfferOf(name, "z")).result, OpenResult::Later) << name;
    }
    EXPECT_EQ(Attempt(folder, OfferOf("a~.part", "z")).result, OpenResult::Fetch);
    scratch.Put("b.part", "mine");
    EXPECT_TRUE(Attempt(folder, OfferOf("b", "new")).Finish());
    EXPECT_EQ(scratch.Get("b.part"), "mine");
}

TEST(Folder, WhatIsReplacedKeepsItsPermissions) {
    const struct {
        mode_t mode, kept;
        gid_t group;
        uid_t owner;
        const char* why;
    } rows[] = {{0751, 0751, getegid(), geteuid(), "its own"},
                {06600, 0600, getegid(), geteuid(), "but never those of another user"},
                {0660, 0660, 12345, 0, "of its group"},
                {0666, 0644, 0, 12345, "wider open than any new file"},
                {0700, 0700, 0, 12345, "of somebody else"}};
    for (const auto& row : rows) {
        if (geteuid() != 0 && (row.group != getegid() || row.owner != geteuid())) continue;
        const CScratch scratch;
        scratch.Put("a", "old");
        const std::string path = scratch / "a";
        ASSERT_TRUE(chown(path.c_str(), row.owner, row.group) == 0 && chmod(path.c_str(), row.mode) == 0) << row.why;
        EXPECT_TRUE(Attempt(scratch, "new", {true}).Finish()) << row.why;
        EXPECT_EQ(scratch.Get("a"), "new");
        struct stat replaced {};
        EXPECT_EQ(stat(path.c_str(), &replaced), 0);
        EXPECT_EQ(replaced.st_mode & 07777, row.kept) << row.why;
    }
}

TEST(Folder, NamesThatHideOrLookLikeOptionsComeWithAPrefix) {
    for (const bool allowed : {false, true}) {
        const CScratch scratch;
        scratch.Put(".rc", "mine");
        const auto folder = In(scratch, {true, allowed});
        for (const char* name : {".rc", "-rf", "a.b-c"}) EXPECT_TRUE(Attempt(folder, OfferOf(name, "new")).Finish());
        EXPECT_EQ(scratch.Names(), allowed ? (Names{".rc", "-rf", "a.b-c"}) : (Names{".rc", "_.rc", "_-rf", "a.b-c"}));
        EXPECT_EQ(scratch.Get(".rc"), allowed ? "new" : "mine");
        EXPECT_EQ(folder->LocalName(".rc"), allowed ? ".rc" : "_.rc");
        const Attempt longest(folder, OfferOf("." + std::string(254, 'x'), ""));
        EXPECT_EQ(longest.result == OpenResult::Fetch, allowed);
    }
}

TEST(FileOutput, WaitsForNobodyAndTellsWhatDidNotGoOut) {
    std::vector<IncomingFile> files;
    std::string expected, got, problem;
    for (const size_t size : {size_t{100000}, size_t{0}, Data().size()}) {
        const std::string data = Data().substr(0, size);
        Attempt attempt(std::make_shared<CSpoolFolder>(), OfferOf("f", data));
        attempt.Write(data, 0, BlocksOf(size));
        files.push_back({OfferOf("f", data), std::move(attempt.store)});
        expected += data;
    }
    CPipe pipe;
    CFileOutput copy(pipe.write.Get());
    for (int step = 0; step < 3; ++step) EXPECT_EQ(copy.Step(files, problem), StoreStep::More) << "nobody reads";
    StoreStep step = StoreStep::More;
    std::vector<char> buffer(1 << 20);
    while (step == StoreStep::More) {
        step = copy.Step(files, problem);
        if (step != StoreStep::More) pipe.write.Reset();
        const ssize_t some = read(pipe.read.Get(), buffer.data(), buffer.size());
        got.append(buffer.data(), static_cast<size_t>(std::max<ssize_t>(some, 0)));
    }
    EXPECT_EQ(step, StoreStep::Good) << problem;
    EXPECT_TRUE(got == expected);

    const CFileDescriptor full(open("/dev/full", O_WRONLY));
    EXPECT_EQ(CFileOutput(full.Get()).Step(files, problem), StoreStep::Broken);
    EXPECT_EQ(problem, "cannot write to standard output: No space left on device");
}

TEST(FileSource, NoticesWhatIsNotTheFileThatWasHashed) {
    const CScratch scratch;
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
    EXPECT_FALSE(CFileSource(CFileDescriptor(open("/dev/null", O_RDONLY)), "f").Open(problem));
}

}  // namespace
