// Drivers that need no network, each with one way to behave; and a main() that plays their processes.
#include "bench/harness/child.h"
#include "bench/harness/frames.h"
#include "bench/harness/ping.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <cstring>
#include <fstream>
#include <string>

namespace bench {

namespace {

void ListenAndWait(CSide& side) {
    side.Listening(1234);
    side.Connected();
    side.WaitForStop();
}

/// Makes and checks every frame in one process; each so often.
void Receive(CSide& side, int times) {
    side.Connected();
    if (side.Port() != 1234) side.Fail("the port did not arrive");
    CFrameSource source(side);
    CBulkReceiver receiver(side);
    while (source.Next())
        for (int i = 0; i < times; ++i) receiver.OnFrame(source.Data(), source.Length());
    side.WaitForStop();
}
void ReceiveAll(CSide& side) { Receive(side, 1); }
void ReceiveTwice(CSide& side) { Receive(side, 2); }

void AnswerMyself(CSide& side) {
    side.Connected();
    CPinger pinger(side);
    const char* frame = pinger.Next();
    while (pinger.OnReply(frame, pinger.Length())) frame = pinger.Next();
    side.WaitForStop();
}

/// Each side waits for the other's steps; this one then waits for a step that never comes.
void TellSteps(CSide& side) {
    side.Listening(1234);
    side.Connected();
    side.Add({{"added", 7}, {"heard", 0}});
    for (uint64_t step = 1; step <= 3; ++step) {
        side.Tell(step, 0.5);
        if (!side.Hear(step, 5000)) side.Fail("step " + std::to_string(step) + " was not answered");
    }
    if (side.Hear(99, 60000)) side.Fail("heard what nobody told");
    side.WaitForStop();
}
void AnswerSteps(CSide& side) {
    side.Connected();
    double heard = 0;
    for (uint64_t step = 1; step <= 3; ++step) {
        if (!side.Hear(step, 5000) || side.HeardStep() != step) side.Fail("a step is missing");
        heard += side.HeardNumber();
        side.Tell(step);
    }
    const double late = side.Hear(4, 20) ? 1 : 0;
    side.Finish({{"heard", heard}, {"late", late}, {"datagrams", 1000}});
    side.WaitForStop();
}

nlohmann::json NoSettings() { return nlohmann::json::object(); }

CDriver Receiving(const char* name, void (*receiver)(CSide&)) {
    return {name, Role::Receiver, Listener::Sender, ListenAndWait, receiver, NoSettings};
}

}  // namespace

const std::vector<CDriver>& Drivers() {
    static const std::vector<CDriver> drivers = {
        Receiving("good", ReceiveAll),
        Receiving("doubling", ReceiveTwice),
        Receiving("crashing", [](CSide&) { raise(SIGABRT); }),
        Receiving("crashing late",
                  [](CSide& side) {
                      ReceiveAll(side);
                      raise(SIGABRT);
                  }),
        Receiving("throwing", [](CSide&) { throw std::runtime_error("on purpose"); }),
        Receiving("hanging",
                  [](CSide&) {
                      std::ofstream(std::getenv("LUMO_BENCH_TEST_FILE")) << getpid();
                      while (true) pause();
                  }),
        {"steps", Role::Receiver, Listener::Sender, TellSteps, AnswerSteps, NoSettings},
        {"ping", Role::Sender, Listener::Receiver, AnswerMyself, ListenAndWait, NoSettings},
    };
    return drivers;
}

const CDriver* FindDriver(const std::string& name) {
    for (const CDriver& driver : Drivers())
        if (name == driver.name) return &driver;
    return nullptr;
}

}  // namespace bench

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--child") == 0) return bench::RunChild(std::stoi(argv[2]));
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
