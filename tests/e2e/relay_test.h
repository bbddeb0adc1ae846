// Relay servers and their clients on loopback.
#pragma once

#include "support/program_test.h"
#include "tools/lumo/net/share_link.h"

namespace e2e {

class CRelayTest : public CProgramTest {
protected:
    /// At the same port as the other servers of this test.
    Process& StartRelay(const std::string& address = "127.0.0.1", const std::string& more = "--http off") {
        Process& relay = Lumo("mcu --listen " + address + ":" + port + " " + more);
        if (Says(relay, "room for ")) port = NumberBehind(relay.Errors(), "listening on " + address + ":");
        return relay;
    }
    std::string Mcu() const { return " --mcu 127.0.0.1:" + port; }
    /// A client of the first server, which tells as JSON what happens.
    Process& Client(const std::string& words, int input = -1) { return Lumo(words + " --json" + Mcu(), input); }
    /// The link in a line that is handed on; empty without one.
    static std::string LinkIn(const std::string& line) {
        const size_t at = line.find(lumo::kLinkScheme);
        return at == std::string::npos ? "" : line.substr(at, line.find_first_of(" \"\n", at) - at);
    }
    /// What a sender or publisher hands on.
    static std::string LinkOf(Process& sender) {
        return Says(sender, "\"ready\"") ? LinkIn(sender.Output()) : std::string();
    }
    /// The figure of that name in what a process has told last; 0 without one.
    static uint64_t Told(const Process& process, const char* name) {
        const Json event = LastEvent(process);
        return event.is_object() ? event.value(name, uint64_t{0}) : 0;
    }
    /// Until it tells of that many.
    static bool WaitFor(Process& process, const char* name, uint64_t least) {
        while (process.Running() && Told(process, name) < least) process.Listen(kDeadlineMs);
        const bool come = Told(process, name) >= least;
        EXPECT_TRUE(come) << process.line << '\n' << process.Output() << process.Errors();
        return come;
    }

    std::string port = "0";
};

}  // namespace e2e
