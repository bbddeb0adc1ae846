// Relay servers and their clients on loopback.
#pragma once

#include "support/program_test.h"

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
