// Files over loopback in every way the system knows, each party a process of its own.
#pragma once

#include "tools/lumo/demo/demo_stage.h"

#include <list>
#include <map>
#include <string>
#include <vector>

namespace lumo {

/// One receiver and what became of it.
struct FileRow {
    std::string path;  ///< the way the file took, for the table
    std::string file;  ///< what was sent
    std::string folder;
    bool udp = true;
    CChildProcess* receiver = nullptr;

    uint64_t bytes = 0;
    double seconds = 0;
    uint64_t repeated = 0;
    bool equal = false;
    std::string problem;
};

/// One thread.
class CFileDemo {
public:
    explicit CFileDemo(CDemoStage& stage) : m_stage(stage) {}

    /// Sends everything; false when it had to give up.
    bool Run();
    /// Shows the table; true when every file arrived whole.
    bool Report() const;

private:
    using Words = CDemoStage::Words;

    /// Null, and said, when it does not start or says no link.
    CChildProcess* StartSender(const std::string& file, uint32_t channel, const Words& more);
    FileRow& AddRow(const std::string& path, const std::string& file, uint32_t channel, const Words& way);
    bool RunTogether();
    bool RunCut();
    bool WaitForRows(const std::vector<FileRow*>& rows);
    static uint64_t BytesOf(const FileRow& row);
    static void Judge(FileRow& row);
    void FinishLossyRow();

    CDemoStage& m_stage;
    std::string m_strBig, m_strSmall, m_strCut;  // the files that are sent
    ImpairedPath m_impaired;
    std::map<uint32_t, std::string> m_links;  // by channel
    std::list<FileRow> m_rows;
    FileRow* m_pLossyRow = nullptr;
};

/// The table of files.
std::string FileTable(const std::list<FileRow>& rows);

}  // namespace lumo
