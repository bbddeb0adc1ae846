// Files and live streams over loopback in every way the system knows, each party a process of its own.
#pragma once

#include "tools/lumo/demo/child_process.h"
#include "tools/lumo/demo/stream_rows.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/transfer/messages.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace lumo {

struct DemoOptions {
    std::string file;  ///< empty: files of its own making
    std::string loss = "2%";
    double lossShare = 0.02;  ///< the same as a number
    uint32_t delayMs = 0;
    uint32_t seed = 1;
};

/// One receiver and what became of it.
struct DemoRow {
    std::string path;  ///< the way the file took, for the table
    std::string file;  ///< what was sent
    std::string folder;
    bool udp = true;
    bool lossy = false;
    CChildProcess receiver;

    bool started = false;
    uint64_t bytes = 0;
    double seconds = 0;
    uint64_t repeated = 0;
    bool equal = false;
    std::string problem;
};

/// One thread. Its destructor ends every process and removes every file.
class CDemo {
public:
    explicit CDemo(const DemoOptions& options);
    ~CDemo();
    CDemo(const CDemo&) = delete;
    CDemo& operator=(const CDemo&) = delete;

    /// True when every file arrived whole and every stream was heard.
    bool Run();

private:
    using Words = std::vector<std::string>;
    static constexpr uint64_t kBudgetMs = 120000;  // far more than it takes; nothing waits for ever

    bool Prepare();
    bool StartRelays();
    bool StartHelpers();
    bool StartRelay(CChildProcess& relay, const std::string& address);
    bool StartProgram(CChildProcess& child, Words words);
    bool StartSender(CChildProcess& sender, const std::string& file, uint32_t channel, const Words& more);
    DemoRow& AddRow(const std::string& path, const std::string& file, uint32_t channel, const Words& way);
    bool RunTogether();
    bool RunStreams();
    bool StartStream(const StreamMedium& medium, uint32_t channel, const std::string& mcu);
    bool RunCut();
    /// Until `done`; false when interrupted, when the time is up or when a row has failed.
    template <class Done>
    bool WaitUntil(Done done);
    bool WaitForRows(const std::vector<DemoRow*>& rows);
    std::vector<CChildProcess*> Children();
    static nlohmann::json LastEvent(const CChildProcess& child);
    static uint64_t BytesOf(const DemoRow& row);
    void Judge(DemoRow& row);
    void FinishLossyRow();
    bool Report();
    bool Fail(const std::string& problem);
    std::string Mcu(int server) const;

    const DemoOptions m_options;
    CToolLoop m_loop;
    std::string m_strProgram;
    std::string m_strFolder;
    std::string m_strBig, m_strSmall, m_strCut;  // the files that are sent
    uint64_t m_ullStart = 0;
    uint16_t m_usPort = 0;
    uint16_t m_usImpairPort = 0;
    uint16_t m_usProxyPort = 0;
    CChildProcess m_relays[2];
    CChildProcess m_secondLife;  // of the first relay
    CChildProcess m_impair, m_proxy;
    CChildProcess m_lossySender, m_sender, m_cutSender;
    std::list<DemoRow> m_rows;
    std::list<CChildProcess> m_publishers;
    std::list<StreamRow> m_streams;
    DemoRow* m_pLossyRow = nullptr;
};

/// The demo's table.
std::string DemoTable(const std::list<DemoRow>& rows);

}  // namespace lumo
