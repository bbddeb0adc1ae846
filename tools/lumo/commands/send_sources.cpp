#include "tools/lumo/commands/send_sources.h"

#include "tools/lumo/transfer/error_text.h"
#include "tools/lumo/transfer/file_folder.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/spooled_source.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

namespace lumo {
namespace {

/// A path that grows to the left.
struct Tail {
    std::vector<std::string> elements;
    size_t used = 1;

    std::string Text() const {
        std::string text;
        for (size_t i = elements.size() - std::min(used, elements.size()); i < elements.size(); ++i)
            text += (text.empty() ? "" : "/") + elements[i];
        return text;
    }
    bool Grow() { return used < elements.size() && ++used > 0; }
};

Tail TailOf(const std::string& path) {
    Tail tail;
    const std::filesystem::path whole = std::filesystem::absolute(path).lexically_normal();
    for (const auto& element : whole.relative_path()) {
        if (!element.empty()) tail.elements.push_back(element.string());
    }
    return tail;
}

/// Lets all grow that clash; true when there are some, `stuck` names one that cannot.
bool GrowClashing(std::vector<Tail>& tails, std::string& stuck) {
    std::vector<std::pair<std::string, size_t>> sorted;
    for (size_t i = 0; i < tails.size(); ++i) sorted.emplace_back(tails[i].Text() + "/", i);
    std::sort(sorted.begin(), sorted.end());  // a folder's name comes right before what is in it
    std::vector<bool> grows(tails.size());
    for (size_t i = 1, folder = 0; i < sorted.size(); ++i) {
        const std::string& above = sorted[folder].first;
        if (sorted[i].first.compare(0, above.size(), above) != 0) {
            folder = i;
            continue;
        }
        grows[sorted[folder].second] = grows[sorted[i].second] = true;
        stuck = tails[sorted[i].second].Text();
    }
    bool any = false;
    for (size_t i = 0; i < tails.size(); ++i) any = (grows[i] && tails[i].Grow()) || any;
    if (any) stuck.clear();
    return any;
}

bool Fail(const std::string& path, const std::string& why, std::string& problem) {
    problem.assign(path).append(": ").append(why);
    return false;
}

bool AddStandardInput(const SendWishes& wishes, const std::string& name, Sources& sources, std::string& problem) {
    CFileDescriptor spool = MakeSpoolFile();
    const std::string why = spool ? NameProblem(wishes.name) : "no temporary file: " + ErrorText(errno);
    if (!why.empty()) return Fail("-", why, problem);
    sources.push_back(std::make_unique<CSpooledSource>(STDIN_FILENO, std::move(spool), name));
    return true;
}

bool AddSource(const std::string& path, const std::string& name, Sources& sources, LeftOut& leftOut,
               std::string& problem) {
    // Non-blocking, so that a named pipe is refused and does not hang; regular files do not know the difference.
    CFileDescriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) return Fail(path, ErrorText(errno), problem);
    struct stat found {};
    if (fstat(fd.Get(), &found) == 0 && S_ISDIR(found.st_mode))
        return AddTree(std::move(fd), name, sources, leftOut, problem);
    auto source = std::make_unique<CFileSource>(std::move(fd), name);
    std::string why;
    if (!source->Open(why)) return Fail(path, why, problem);
    sources.push_back(std::move(source));
    return true;
}

bool ReadAll(int input, std::string& text, std::string& problem) {
    char piece[4096];
    while (text.size() <= kMaxTextLength) {
        const ssize_t got = read(input, piece, sizeof piece);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return Fail("-", ErrorText(errno), problem);
        if (got == 0) break;
        text.append(piece, static_cast<size_t>(got));
    }
    return true;
}

bool AddText(const SendWishes& wishes, Sources& sources, std::string& problem) {
    if (wishes.text.empty()) return true;
    std::string text = wishes.text == "-" ? "" : wishes.text;
    const bool twice = text.empty() && std::count(wishes.files.begin(), wishes.files.end(), "-") > 0;
    if (twice) return Fail("-", "standard input is either the text or a file", problem);
    if (text.empty() && !ReadAll(STDIN_FILENO, text, problem)) return false;
    if (text.size() > kMaxTextLength) {
        problem = "the text is longer than 64 KiB; send it as a file";
        return false;
    }
    EntryTraits traits;
    traits.kind = EntryKind::Text;
    sources.push_back(std::make_unique<CEntrySource>("text", std::move(traits), std::move(text)));
    return true;
}

/// What no receiver would take.
std::string SizeProblem(const Sources& sources) {
    uint64_t bytes = 0;
    for (const auto& source : sources) bytes += source->Name().size() + source->Traits().target.size();
    const bool tooMuch = sources.size() > kMaxEntries || bytes > kMaxPathBytes;
    return tooMuch ? "more files and folders than one transfer takes; put them into an archive" : "";
}

}  // namespace

bool NameApart(const std::vector<std::string>& paths, std::vector<std::string>& names, std::string& problem) {
    std::vector<Tail> tails;
    for (const std::string& path : paths) {
        tails.push_back(TailOf(path));
        if (tails.back().elements.empty()) problem = path + " has no name to be sent under";
    }
    std::string stuck;
    while (problem.empty() && GrowClashing(tails, stuck)) continue;
    if (!stuck.empty()) problem = "/" + stuck + " would be sent twice";
    names.clear();
    for (const Tail& tail : tails) names.push_back(tail.Text());
    return problem.empty();
}

bool OpenSources(const SendWishes& wishes, Sources& sources, LeftOut& leftOut, std::string& problem) {
    std::vector<std::string> paths = wishes.files, names;
    if (paths.size() > kMaxFiles) {
        problem = "more than " + std::to_string(kMaxFiles) + " files; put them into a folder or an archive";
        return false;
    }
    std::replace(paths.begin(), paths.end(), std::string("-"), wishes.name);
    if (!AddText(wishes, sources, problem) || !NameApart(paths, names, problem)) return false;
    for (size_t i = 0; i < names.size(); ++i) {
        const bool added = wishes.files[i] == "-" ? AddStandardInput(wishes, names[i], sources, problem)
                                                  : AddSource(wishes.files[i], names[i], sources, leftOut, problem);
        if (!added) return false;
    }
    problem = SizeProblem(sources);
    return problem.empty();
}

}  // namespace lumo
