// What `lumo receive` says of the files, folders and words that have come.
#pragma once

#include "tools/lumo/transfer/receive_engine.h"
#include "tools/lumo/ui/entry_counts.h"
#include "tools/lumo/ui/progress.h"

#include <cstddef>
#include <string>
#include <vector>

namespace lumo {

/// Words of somebody else for a terminal: lines and tabs stay, whatever would steer it becomes '?'.
std::string ForTerminal(const std::string& text);

class CArrivals {
public:
    /// `delivered`: the content goes to standard output anyway, so that words are not said again.
    CArrivals(const IFileFolder& folder, bool delivered, CProgressPrinter& printer)
        : m_folder(folder), m_bDelivered(delivered), m_printer(printer) {}

    /// Of those that have ended since the last time.
    void Tell(const CReceiveEngine& engine, const std::string& path);
    /// Of all that have not ended, and the total of several.
    void Finish(const CReceiveEngine& engine, const std::string& path);
    const EntryCounts& Done() const { return m_done; }
    /// What is in flight, of several.
    std::vector<FileView> InFlight(const CReceiveEngine& engine) const;

private:
    void TellOne(const IncomingFile& file, const std::string& path);
    void Say(const IncomingFile& file);

    const IFileFolder& m_folder;
    const bool m_bDelivered;
    CProgressPrinter& m_printer;
    size_t m_nTold = 0;
    uint64_t m_nThere = 0;  // files that had come before
    EntryCounts m_done;
};

}  // namespace lumo
