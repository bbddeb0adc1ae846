// What every part of the demo stands on: two relay servers, helpers, processes that never outlive it.
#pragma once

#include "tools/lumo/demo/child_process.h"
#include "tools/lumo/net/loop.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <list>
#include <string>
#include <vector>

namespace lumo {

struct DemoOptions {
    std::string file;  ///< empty: files of its own making
    std::string loss = "2%";
    uint32_t delayMs = 0;
    uint32_t seed = 1;
};

/// A UDP path to a server that loses and delays.
struct ImpairedPath {
    CChildProcess* process = nullptr;
    std::string address;  ///< where it takes datagrams; empty: it did not start
};

/// One thread. Its destructor ends every process and removes every file.
class CDemoStage {
public:
    using Words = std::vector<std::string>;

    explicit CDemoStage(const DemoOptions& options) : m_options(options) {}
    ~CDemoStage();
    CDemoStage(const CDemoStage&) = delete;
    CDemoStage& operator=(const CDemoStage&) = delete;

    /// A directory, two relay servers and a proxy. False, and said why, when something is missing.
    bool Open();
    /// This program with other words; null, and said, when it cannot be started.
    CChildProcess* Start(Words words);
    ImpairedPath StartImpaired(int server);
    bool RestartFirstRelay();

    const DemoOptions& Options() const { return m_options; }
    const std::string& Folder() const { return m_strFolder; }
    std::string Mcu(int server) const;
    std::string Proxy() const { return "http://127.0.0.1:" + std::to_string(m_usProxyPort); }
    double Seconds() const;

    /// Until `done`, which is asked whenever a process has said something, and that often besides; false when
    /// interrupted or when the time is up.
    template <class Done>
    bool WaitUntil(Done done, uint64_t oftenMs = 200) {
        while (!done())
            if (!Turn(oftenMs)) return false;
        return true;
    }

    /// Waits for the link that a process hands on; false, and said, without one.
    bool TakeLink(const CChildProcess* child, std::string& link);

    /// The last object that a process has written; none when it wrote no line.
    static nlohmann::json LastEvent(const CChildProcess& child);
    /// The problem with what a process should have said at its end; empty: it did.
    static std::string EndProblem(const CChildProcess* child);
    static void Say(const std::string& line);
    /// Says it and is false.
    static bool Fail(const std::string& problem);

private:
    static constexpr uint64_t kBudgetMs = 180000;  // far more than it takes; nothing waits for ever

    bool StartRelay(int server);
    bool Turn(uint64_t mostMs);
    static uint16_t PortOf(CChildProcess* helper);

    const DemoOptions m_options;
    CToolLoop m_loop;
    std::string m_strProgram;
    std::string m_strFolder;
    uint64_t m_ullStart = 0;
    uint16_t m_usPort = 0;
    uint16_t m_usProxyPort = 0;
    std::list<CChildProcess> m_children;
    CChildProcess* m_pFirstRelay = nullptr;
};

}  // namespace lumo
