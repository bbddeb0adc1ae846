// Folders that are sent and that arrive, on a real disk: nothing comes out of one that was not in it, and nothing of a
// hostile one goes elsewhere.
#include "support/scratch.h"
#include "tools/lumo/commands/send_sources.h"
#include "tools/lumo/transfer/file_folder.h"
#include "tools/lumo/transfer/tree_path.h"
#include "unit/tools/transfer_sim.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

namespace {

using lumo::EntryKind;
using lumo::EntryTraits;
using lumo::NameApart;
namespace fs = std::filesystem;
using Listing = std::map<std::string, std::string>;

/// Path by path what a folder holds: "/" for folders, "-> target" for links, else the content.
Listing ListingOf(const fs::path& top) {
    Listing all;
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const bool link = entry.is_symlink();
        all[entry.path().lexically_relative(top).string()] =
            link                   ? "-> " + fs::read_symlink(entry.path()).string()
            : entry.is_directory() ? "/"
                                   : std::string(std::istreambuf_iterator<char>(file), {});
    }
    return all;
}

/// A whole transfer into a folder, through the engines; what the receiver says is wrong.
std::string Arrive(const fs::path& into, sim::Files files, const lumo::FolderRules& rules = {}) {
    lumo::CFileFolder folder(CFileDescriptor(open(into.c_str(), O_RDONLY | O_DIRECTORY)), rules);
    lumo::CReceiveEngine receiver(7, folder, 60000);
    lumo::CSendEngine sender(9, std::move(files), {});
    sim::Link down, up;
    for (uint64_t now = 1000; now < 200000 && !receiver.Over(); now += 60) {
        sender.Tick(now, down);
        for (; !down.queue.empty(); down.queue.pop_front())
            receiver.OnFrame(down.queue.front().data(), down.queue.front().size(), now);
        receiver.Tick(now, up);
        for (; !up.queue.empty(); up.queue.pop_front())
            sender.OnFrame(up.queue.front().data(), up.queue.front().size(), now);
    }
    EXPECT_EQ(receiver.Problem().empty(), receiver.State() == lumo::ReceiveState::Done) << receiver.Problem();
    return receiver.Problem();
}

sim::Files SourcesOf(const std::vector<std::string>& paths, lumo::LeftOut& leftOut) {
    sim::Files files;
    std::string problem;
    EXPECT_TRUE(lumo::OpenSources({paths, "stdin"}, files, leftOut, problem)) << problem;
    return files;
}

void Date(const fs::path& path, time_t seconds) {
    const timespec times[] = {{seconds, 5}, {seconds, 5}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

TEST(Tree, ArrivesAsItWasAndAgainAtNoCost) {
    const CScratch from, into;
    from.Put("photos/a/x", "one");
    from.Put("photos/b/x", "other");
    from.Put("photos/b/x.part", "called as the part of x");
    from.Put("photos/a/x.part/y", "in a folder that is");
    from.Put("photos/.rc", "");
    from.Put("photos/b/run", "#!");
    fs::permissions(from / "photos/b/run", fs::perms::owner_exec | fs::perms::group_exec, fs::perm_options::add);
    fs::create_directories(from / "photos/empty/deeper");
    fs::create_symlink("../a/x", from / "photos/b/inside");
    fs::create_symlink("nowhere", from / "photos/dangling");
    Listing expected = ListingOf(from / "");
    for (const char* target : {"/etc/passwd", "../../secret", "a/../../secret"})
        fs::create_symlink(target, from / ("photos/b/out" + std::to_string(std::string(target).size())));
    mkfifo((from / "photos/pipe").c_str(), 0600);
    std::vector<std::string> dated{"photos/b/inside"};
    for (const auto& [path, content] : expected) dated.push_back(path);
    for (auto path = dated.rbegin(); path != dated.rend(); ++path)
        Date(from / *path, static_cast<time_t>(1000000000 + path->size()));
    lumo::LeftOut leftOut;
    EXPECT_EQ(Arrive(into / "", SourcesOf({from / "photos/"}, leftOut)), "");
    EXPECT_EQ(leftOut.size(), 4U) << "links that lead out, and the pipe";
    EXPECT_EQ(ListingOf(into / ""), expected);
    for (const auto& [path, content] : expected) {
        struct stat arrived {};
        ASSERT_EQ(lstat((into / path).c_str(), &arrived), 0);
        EXPECT_EQ(arrived.st_mtim.tv_sec, 1000000000 + static_cast<time_t>(path.size())) << path;
        EXPECT_EQ(arrived.st_mtim.tv_nsec, 5) << path;
        const mode_t executable = S_ISREG(arrived.st_mode) ? arrived.st_mode & 0111 : 0;
        EXPECT_EQ(executable, path == "photos/b/run" ? 0100U : 0U) << path;
    }
    EXPECT_EQ(Arrive(into / "", SourcesOf({from / "photos"}, leftOut)), "");
    fs::remove(into / "photos/dangling");
    from.Put("photos/a/x", "new");
    EXPECT_NE(Arrive(into / "", SourcesOf({from / "photos"}, leftOut)).find("--force"), std::string::npos);
    EXPECT_EQ(into.Get("photos/a/x"), "one");
    EXPECT_EQ(Arrive(into / "", SourcesOf({from / "photos"}, leftOut), {true}), "");
    EXPECT_EQ(into.Get("photos/a/x"), "new");
}

TEST(Tree, MoreFilesThanMayBeOpenArrive) {
    const CScratch from, into;
    for (uint32_t i = 0; i < 3 * lumo::kMaxOpenFiles; ++i)
        from.Put("t/" + std::to_string(i % 7) + "/" + std::to_string(i), std::to_string(i % 5));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few{3 * lumo::kMaxOpenFiles + 60, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    lumo::LeftOut leftOut;
    EXPECT_EQ(Arrive(into / "", SourcesOf({from / "t"}, leftOut)), "");
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(ListingOf(into / ""), ListingOf(from / ""));
}

TEST(Tree, OfAHostileSenderNothingGoesElsewhere) {
    const auto link = [](const char* target) { return EntryTraits{EntryKind::Link, false, false, 0, 0, target}; };
    const std::string nul("a/x\0y", 5), deep = [] {
        std::string path = "a";
        for (uint32_t i = 0; i < lumo::kMaxPathDepth; ++i) path += "/a";
        return path;
    }();
    const std::string wide = "a/" + std::string(256, 'x');
    using Entries = std::vector<std::pair<std::string, EntryTraits>>;
    const std::pair<const char*, Entries> rows[] = {
        {"the name is refused", {{"../up", {}}}},
        {"the name is refused", {{"a/../../up", {}}}},
        {"the name is refused", {{"/tmp/up", {}}}},
        {"the name is refused", {{"a//x", {}}}},
        {"the name is refused", {{"..", {EntryKind::Folder}}}},
        {"the name is refused", {{nul, {}}}},
        {"the name is refused", {{deep, {}}}},
        {"the name is refused", {{wide, {}}}},
        {"the link is refused", {{"a/l", link("/outside")}}},
        {"the link is refused", {{"a/l", link("..")}}},
        {"the link is refused", {{"a/b/l", link("x/../../../outside")}}},
        {"the link is refused", {{"l", link("outside")}}},
        {"two files of one name", {{"a/x", {}}, {"a/x", {}}}},
        {"not a link has that name", {{"a/l", link("b")}, {"a/l/x", {}}}},
        {"Is a directory", {{"a/x", {}}, {"a/x/y", {}}}},
        {"not a folder has the name", {{"there/x", {}}}},
        {"not a folder has the name", {{"there", {EntryKind::Folder}}}},
        {"not a folder has the name", {{"there/l", link("x")}}},
        {"too much", {{"t", {EntryKind::Text}}, {"t", {EntryKind::Text}}}},
    };
    for (const auto& [problem, entries] : rows) {
        SCOPED_TRACE(entries.back().first + " " + entries.back().second.target);
        const CScratch world;
        world.Put("outside/x", "precious");
        fs::create_directory(world / "into");
        fs::create_symlink("../outside", world / "into/there");
        sim::Files files;
        for (const auto& [name, traits] : entries)
            files.push_back(std::make_unique<lumo::CEntrySource>(name, traits, traits.HasContent() ? "bad" : ""));
        EXPECT_NE(Arrive(world / "into", std::move(files), {true}).find(problem), std::string::npos);
        Listing outside = ListingOf(world / "");
        for (auto entry = outside.begin(); entry != outside.end();)
            entry = entry->first.rfind("into/", 0) == 0 ? outside.erase(entry) : std::next(entry);
        EXPECT_EQ(outside, (Listing{{"into", "/"}, {"outside", "/"}, {"outside/x", "precious"}}));
    }
}

TEST(Tree, PathsThatEndAlikeAreToldApart) {
    const struct {
        std::vector<std::string> paths, names;
    } rows[] = {{{"/p/a", "/p/b/"}, {"a", "b"}},
                {{"/p/a/x", "/q/a/x", "/x"}, {"p/a/x", "q/a/x", "x"}},
                {{"/q/x", "/x"}, {"q/x", "x"}},
                {{"/p/a", "/q/a/x", "/r/x"}, {"p/a", "q/a/x", "r/x"}}};
    std::vector<std::string> names;
    std::string problem;
    for (const auto& row : rows) {
        EXPECT_TRUE(NameApart(row.paths, names, problem)) << problem;
        EXPECT_EQ(names, row.names);
    }
    for (const auto& paths : {std::vector<std::string>{"/p/a", "/p/./a"}, {"/"}}) {
        problem.clear();
        EXPECT_FALSE(NameApart(paths, names, problem));
    }
}

}  // namespace
