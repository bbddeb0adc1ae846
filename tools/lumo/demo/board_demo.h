// Whiteboards over loopback: on each way some people draw at once, and at the end all boards must be equal.
#pragma once

#include "tools/lumo/demo/board_page.h"
#include "tools/lumo/demo/demo_stage.h"

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace lumo {

/// One board and what became of it.
struct BoardRow {
    std::string path;  ///< the way between its people, for the table
    std::vector<CChildProcess*> seats;
    std::vector<std::unique_ptr<CBoardPage>> pages;

    size_t objects = 0;      ///< on the first of its boards at the end
    size_t changes = 0;      ///< objects drawn, moved and deleted
    uint64_t equalInMs = 0;  ///< from the last change until all had all
    std::string problem;     ///< empty: all boards were equal
};

/// One thread.
class CBoardDemo {
public:
    explicit CBoardDemo(CDemoStage& stage) : m_stage(stage) {}

    /// Lets everybody draw; false when it had to give up.
    bool Run();
    /// Shows the table and how to draw oneself; true when all boards of each way were equal.
    bool Report() const;

    static constexpr size_t kSeats = 3;

private:
    using Words = CDemoStage::Words;

    bool AddRow(const std::string& path, uint32_t channel, const Words& way, const Words& others);
    static bool OpenPages(BoardRow& row);
    static bool AllHere(BoardRow& row);
    bool DrawAndCompare(BoardRow& row);
    static bool Draw(BoardRow& row);
    static bool AreEqual(BoardRow& row, size_t objects);

    CDemoStage& m_stage;
    std::list<BoardRow> m_rows;
};

/// The table of boards.
std::string BoardTable(const std::list<BoardRow>& rows);

}  // namespace lumo
