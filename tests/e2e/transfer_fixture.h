// Relay servers, senders and receivers as processes of their own, on loopback.
#pragma once

#include "tools/lumo/demo/child_process.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace e2e {

/// Every wait ends with an event; this is for the case that none comes.
inline constexpr uint64_t kDeadlineMs = 120000;

class CTransferTest : public ::testing::Test {
protected:
    CTransferTest();
    ~CTransferTest() override;

    /// A relay on a port of its own; the port is the same for all relays of one test.
    void StartRelay(lumo::CChildProcess& relay, const std::string& address = "127.0.0.1",
                    const std::vector<std::string>& more = {});
    /// Where that relay's second reflector listens.
    static std::string ReflectorPort(const lumo::CChildProcess& relay);
    std::string Mcu(const std::string& address = "127.0.0.1") const { return address + ":" + m_port; }
    void Run(lumo::CChildProcess& child, std::vector<std::string> arguments, int input = -1);
    /// `lumo send FILE --channel 77 --json` with more arguments, through the relay unless they name a path.
    void StartSend(lumo::CChildProcess& child, const std::vector<std::string>& files,
                   const std::vector<std::string>& more = {});
    /// `lumo receive 77 --json` into a directory of the test, in the same way.
    void StartReceive(lumo::CChildProcess& child, const std::string& folder, const std::vector<std::string>& more = {});
    /// Waits for the end; the exit code, or -1000 when it did not come.
    int ExitOf(lumo::CChildProcess& child);
    /// The last JSON object that a process has written.
    static nlohmann::json LastEvent(const lumo::CChildProcess& child);
    /// Until a progress event of the receiver tells of `bytes`.
    bool WaitForBytes(lumo::CChildProcess& receiver, uint64_t bytes);

    std::string Path(const std::string& name) const { return (m_folder / name).string(); }
    std::string MakeFile(const std::string& name, size_t size) const;
    static std::string Content(const std::string& path);

private:
    std::filesystem::path m_folder;
    std::string m_port = "0";
};

}  // namespace e2e
