// The program's other commands, from outside.
#include "e2e/transfer_fixture.h"

#include "support/fake_net.h"
#include "support/session_wire.h"

#include <pcap/pcap.h>
#include <signal.h>

#include <algorithm>
#include <fstream>

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;
namespace fs = std::filesystem;

namespace {

class ToolTest : public CTransferTest {
protected:
    /// A capture with these UDP payloads, one a second.
    std::string MakeCapture(const std::vector<std::string>& payloads) const {
        const std::string path = Path("capture.pcap");
        pcap_t* capture = pcap_open_dead(DLT_RAW, 65535);
        pcap_dumper_t* dumper = pcap_dump_open(capture, path.c_str());
        long second = 1000000;
        for (const std::string& payload : payloads) {
            using session_wire::U32;
            const auto length = static_cast<uint32_t>(payload.size());
            const std::string packet = Hex("4500") + U32(length + 28).substr(2) + Hex("0000 0000 4011 0000") +
                                       Hex("7F000001 7F000002 1388 1B58") + U32(length + 8).substr(2) + Hex("0000") +
                                       payload;
            pcap_pkthdr header{};
            header.ts.tv_sec = ++second;
            header.caplen = header.len = static_cast<bpf_u_int32>(packet.size());
            pcap_dump(reinterpret_cast<u_char*>(dumper), &header, reinterpret_cast<const u_char*>(packet.data()));
        }
        pcap_dump_close(dumper);
        pcap_close(capture);
        return path;
    }
};

TEST_F(ToolTest, DumpShowsACaptureInWords) {
    const std::string capture = MakeCapture({Hex("06 40 00000005 00000009"), "\x09somebody else's", Hex("07")});
    CChildProcess dump, few, other;
    Run(dump, {"dump", capture});
    EXPECT_EQ(ExitOf(dump), 0) << dump.Errors();
    EXPECT_EQ(dump.Output(),
              "   0.000000 UDP 127.0.0.1:5000 > 127.0.0.2:7000  UDP_FILE_SOURCE_CONNECT channel 5 sender 9\n"
              "   2.000000 UDP 127.0.0.1:5000 > 127.0.0.2:7000  UDP_STUN asks for its address\n");
    EXPECT_NE(dump.Errors().find("3 packets, 2 datagrams and messages shown"), std::string::npos) << dump.Errors();
    Run(few, {"dump", capture, "--count", "1", "--all"});
    EXPECT_EQ(ExitOf(few), 0);
    EXPECT_EQ(std::count(few.Output().begin(), few.Output().end(), '\n'), 1);
    Run(other, {"dump", capture, "--port", "9"});
    EXPECT_EQ(ExitOf(other), 0);
    EXPECT_EQ(other.Output(), "");
}

TEST_F(ToolTest, DumpOfACutCaptureFailsAfterShowingTheRest) {
    const std::string capture = MakeCapture({Hex("07"), Hex("07")});
    fs::resize_file(capture, fs::file_size(capture) - 3);
    CChildProcess dump;
    Run(dump, {"dump", capture});
    EXPECT_EQ(ExitOf(dump), 1);
    EXPECT_EQ(std::count(dump.Output().begin(), dump.Output().end(), '\n'), 1);
}

TEST_F(ToolTest, TheDemoBringsEverythingHome) {
    CChildProcess demo;
    Run(demo, {"demo", MakeFile("file", 2 * 1024 * 1024), "--seed", "3", "--loss", "1%"});
    EXPECT_EQ(ExitOf(demo), 0) << demo.Output() << demo.Errors();
    const auto count = [&demo](const std::string& what) {
        size_t found = 0;
        for (size_t at = 0; (at = demo.Output().find(what, at)) != std::string::npos; ++at) ++found;
        return found;
    };
    EXPECT_EQ(count("  equal\n"), 10U) << demo.Output();
    EXPECT_EQ(count("  good "), 21U) << demo.Output();
    EXPECT_EQ(count("  all equal\n"), 6U) << demo.Output();
    EXPECT_EQ(count("lumo whiteboard --channel"), 1U) << "how to draw oneself";
}

/// The processes that `parent` has started.
std::vector<pid_t> ChildrenOf(pid_t parent) {
    const std::string id = std::to_string(parent);
    std::ifstream list("/proc/" + id + "/task/" + id + "/children");
    std::vector<pid_t> children;
    for (pid_t pid = 0; list >> pid;) children.push_back(pid);
    return children;
}

TEST_F(ToolTest, AnInterruptedDemoLeavesNoProcess) {
    for (const int signal : {SIGINT, SIGKILL}) {
        CChildProcess demo;
        setenv("TMPDIR", Path(".").c_str(), 1);  // what a killed demo leaves goes with the test
        Run(demo, {"demo"});
        unsetenv("TMPDIR");
        ASSERT_TRUE(demo.WaitForText("one sender", kDeadlineMs)) << demo.Errors();
        const std::vector<pid_t> children = ChildrenOf(demo.Pid());
        ASSERT_GE(children.size(), 3U) << "two servers and a proxy";
        demo.Signal(signal);
        EXPECT_EQ(ExitOf(demo), signal == SIGINT ? 1 : 128 + SIGKILL);
        for (const pid_t pid : children) {
            // The kernel ends them with a demo that was killed: soon, not at once.
            bool gone = kill(pid, 0) != 0;
            for (int i = 0; i < 1000 && !gone; ++i) {
                usleep(10000);
                gone = kill(pid, 0) != 0;
            }
            EXPECT_TRUE(gone) << pid;
        }
    }
}

}  // namespace
