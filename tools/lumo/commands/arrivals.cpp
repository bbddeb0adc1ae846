#include "tools/lumo/commands/arrivals.h"

#include "tools/lumo/transfer/disk_file.h"
#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/tree_path.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace lumo {
namespace {

std::string WordsIn(const IncomingFile& file) {
    auto* words = dynamic_cast<CDiskFile*>(file.store.get());
    std::string text;
    std::vector<char> piece;
    for (uint64_t read = 0; words && words->ReadNext(read, piece);) text.append(piece.begin(), piece.end());
    return text;
}

}  // namespace

std::string ForTerminal(const std::string& text) {
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find_first_of("\n\t", at), text.size());
        shown += Printable(text.substr(at, end - at));
        if (end < text.size()) shown += text[end];
        at = end + 1;
    }
    return shown.empty() || shown.back() == '\n' ? shown : shown + '\n';
}

void CArrivals::Say(const IncomingFile& file) {
    const std::string words = WordsIn(file);
    m_printer.Event({{"event", "text"}, {"text", words}});
    if (m_bDelivered || m_printer.Mode() == ProgressMode::Json) return;
    m_printer.Wipe();
    const std::string shown = isatty(STDOUT_FILENO) == 1 ? ForTerminal(words) : words;
    std::fwrite(shown.data(), 1, shown.size(), stdout);
    std::fflush(stdout);
}

void CArrivals::TellOne(const IncomingFile& file, const std::string& path) {
    const bool done = file.phase == IncomingFile::Phase::Done;
    const std::string name = m_folder.LocalName(file.offer.name);
    if (done) m_done.Add(file.offer.traits.kind, file.offer.size);
    m_nThere += done && file.wasThere;
    if (file.offer.traits.kind == EntryKind::Text && done) {
        Say(file);
        return;
    }
    if (done && file.offer.traits.kind == EntryKind::File)
        m_printer.Note(Printable(name) + "  " + BytesText(static_cast<double>(file.offer.size)) + "  " +
                       (file.wasThere ? "already there" : "verified, " + path));
    const bool renamed = name == VisibleName(file.offer.name) && name != file.offer.name;
    if (done && renamed && ParentOf(name).empty())
        m_printer.Note("  sent as " + Printable(file.offer.name) + "; --allow-hidden keeps such names");
    nlohmann::json event{{"event", "file"},
                         {"kind", EntryCounts::Name(file.offer.traits.kind)},
                         {"name", file.offer.name},
                         {"bytes", file.offer.size},
                         {"sha256", HexOf(file.offer.sha256)},
                         {"done", done},
                         {"already_there", file.wasThere},
                         {"problem", file.problem}};
    if (done) event["stored_as"] = name;
    m_printer.Event(event);
}

void CArrivals::Tell(const CReceiveEngine& engine, const std::string& path) {
    const std::vector<size_t>& ended = engine.EndedFiles();
    if (ended.size() < m_nTold) {  // the sender has begun anew
        m_nTold = 0;
        m_nThere = 0;
        m_done = EntryCounts();
    }
    for (; m_nTold < ended.size(); ++m_nTold) TellOne(engine.Files()[ended[m_nTold]], path);
}

void CArrivals::Finish(const CReceiveEngine& engine, const std::string& path) {
    Tell(engine, path);
    for (const IncomingFile& file : engine.Files()) {
        if (!file.Ended()) TellOne(file, path);
    }
    const size_t all = engine.Files().size();
    if (all < 2) return;
    const bool whole = engine.State() == ReceiveState::Done, allThere = whole && m_nThere == m_done.Files();
    std::string end = whole ? "  verified, " + path : " of " + std::to_string(all) + " came";
    if (m_nThere > 0 && !allThere) end += "; " + Counted(m_nThere, "file") + " already there";
    m_printer.Note("in all " + m_done.Text() + (allThere && m_nThere > 0 ? "  already there" : end));
}

std::vector<FileView> CArrivals::InFlight(const CReceiveEngine& engine) const {
    std::vector<FileView> views;
    if (engine.Progress().files < 2) return views;
    for (const size_t index : engine.FilesInFlight(ProgressView::kMostFiles)) {
        const IncomingFile& file = engine.Files()[index];
        views.push_back({Printable(m_folder.LocalName(file.offer.name)), file.HeldBytes(), file.offer.size});
    }
    return views;
}

}  // namespace lumo
