// Files that have arrived, on their way to standard output.
#pragma once

#include "tools/lumo/transfer/receive_engine.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lumo {

/// Copies files one after the other to a descriptor whose reader may be slow: no step waits longer than a moment.
class CFileOutput {
public:
    /// `output` is not closed.
    explicit CFileOutput(int output);
    /// As a Delivery.
    StoreStep Step(const std::vector<IncomingFile>& files, std::string& problem);

private:
    /// Fills the piece; false when everything is out or, with `problem`, when it cannot.
    bool NextPiece(const std::vector<IncomingFile>& files, std::string& problem);
    bool Finish(std::string& problem) const;

    static constexpr int kWaitMs = 10;
    const int m_nOutput;
    size_t m_nAtOnce;        // what the output takes without waiting once it says that it takes something
    size_t m_nFile = 0;      // being copied
    uint64_t m_ullRead = 0;  // of that file
    std::vector<char> m_piece;
    size_t m_nWritten = 0;  // of the piece
};

}  // namespace lumo
