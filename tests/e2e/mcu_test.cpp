// The relay server as a process: its pages, its limits, its end.
#include "e2e/relay_test.h"
#include "support/raw_tcp.h"
#include "support/session_wire.h"

#include <httplib.h>

#include <csignal>
#include <regex>

using session_wire::U32;

namespace e2e {
namespace {

/// The body of the next message; empty at the end of the connection.
std::string Receive(const CRawPeer& peer) {
    const std::string head = peer.Read(5);
    return head.size() == 5 ? peer.Read(session_wire::ReadU32(head, 0)) : "";
}

/// Asks for a service: 12 is to publish files, 13 to receive them.
bool IsTaken(const CRawPeer& peer, uint32_t service) {
    const std::string validation = U32(service) + U32(4) + U32(77);
    return peer.Send(Framed(1, validation)) && Receive(peer) == validation;
}

bool IsClosedSilently(const CRawPeer& peer) {
    bool closed = false;
    return peer.ReadAll(&closed).empty() && closed;
}

class RelayProcess : public CRelayTest {
protected:
    /// From 127.0.0.`host`, since limits are an address's.
    CRawPeer Dial(uint32_t host = 1) const {
        return CRawPeer::Dial(static_cast<uint16_t>(std::stoi(port)), "", 16 << 10, 0x7f000000 + host);
    }
    Process& StartWithPages(const std::string& more = "") {
        Process& relay = StartRelay("127.0.0.1", "--http 127.0.0.1:0" + more);
        m_pages =
            std::make_unique<httplib::Client>("http://127.0.0.1:" + NumberBehind(relay.Errors(), "http://127.0.0.1:"));
        return relay;
    }
    std::string Page(const char* path) {
        const auto answer = m_pages->Get(path);
        return answer && answer->status == 200 ? answer->body : "";
    }
    /// What a program has written last with --stats.
    Json LastLine(const std::string& name) const {
        std::ifstream file(folder / name);
        std::string line, last;
        while (std::getline(file, line)) last = line;
        return Json::parse(last, nullptr, false);
    }
    /// The only stream, once it has carried so much.
    Json WaitForStream(Process& relay, uint64_t bytes) {
        for (int tries = 0; tries < 1000; ++tries) {
            const Json streams = Json::parse(Page("/api/streams"))["streams"];
            if (streams.size() == 1 && streams[0]["traffic"]["bytes_in"] >= bytes) return streams[0];
            relay.Listen(20);
        }
        ADD_FAILURE() << "nothing goes through";
        return {};
    }

private:
    std::unique_ptr<httplib::Client> m_pages;
};

TEST_F(RelayProcess, ShowsWhatGoesThroughAndTakesAllDescriptors) {
    const auto shows = [this](const std::string& words, const char* line) {
        Process& stats = Lumo("stats --count 1 " + words);
        End(stats);
        EXPECT_TRUE(std::regex_search(stats.Output(), std::regex(line))) << stats.Output();
    };
    Process& relay = StartWithPages();
    EXPECT_EQ(Page("/health"), "ok\n");
    EXPECT_NE(Page("/").find("No streams at the moment."), std::string::npos);
    folder.Put("file", RandomBytes(4 << 20));
    std::filesystem::create_directory(folder / "out");
    Process& sender = Client("send file --plain --channel 77 --path relay --rate 1M --receivers 1 --stats live");
    Process& receiver = Client("receive 77 --path relay --out out");
    const Json stream = WaitForStream(relay, 1 << 20);
    EXPECT_EQ(stream["channel"], 77);
    EXPECT_EQ(stream["listener_count"], 1);
    EXPECT_NE(Page("/").find("file 77"), std::string::npos);
    const std::string pages = "127.0.0.1:" + NumberBehind(relay.Errors(), "http://127.0.0.1:");
    shows(pages, "\nfile 77 .*\n +from 127\\.0\\.0\\.1:[0-9]+ +udp wide .*\n +to 127\\.0\\.0\\.1:[0-9]+ +udp wide ");
    shows("--json " + pages, "\"listener_count\":1.*\"time\":[1-9]");
    shows("--file live", ("lumo send, process .*\n(?:.*\n)+file +127\\.0\\.0\\.1:" + port + " +udp wide ").c_str());
    End(receiver);
    End(sender);
    EXPECT_EQ(LastLine("live")["progress"]["receivers"]["complete"], 1);
    const std::string out = NumberBehind(Page("/metrics"), "lumo_bytes_total{direction=\"out\",medium=\"file\"} ");
    EXPECT_GE(std::stoull(out), 4U << 20);
    EXPECT_TRUE(Says(relay, "left channel 77"));
    std::ifstream file("/proc/" + std::to_string(relay.Pid()) + "/limits");
    const std::string limits{std::istreambuf_iterator<char>(file), {}};
    EXPECT_TRUE(std::regex_search(limits, std::regex("Max open files +([0-9a-z]+) +\\1 "))) << limits;
}

TEST_F(RelayProcess, AtItsEndQueuesDrainAndWhoReadsNothingHoldsItUpNotForEver) {
    constexpr size_t kFrames = 128;
    const auto frame = [](size_t i) { return std::string(64 << 10, static_cast<char>('a' + i % 26)); };
    Process& relay = StartWithPages();
    const CRawPeer publisher = Dial(), subscriber = Dial(), silent = Dial();
    ASSERT_TRUE(IsTaken(publisher, 12) && IsTaken(subscriber, 13) && IsTaken(silent, 13));
    for (size_t i = 0; i < kFrames; ++i) ASSERT_TRUE(publisher.Send(Framed(0, frame(i))));
    WaitForStream(relay, kFrames << 16);
    relay.Signal(SIGTERM);
    for (size_t i = 0; i < kFrames; ++i) ASSERT_TRUE(Receive(subscriber) == frame(i)) << i;
    EXPECT_EQ(Receive(subscriber), "");
    End(relay);
}

TEST_F(RelayProcess, BoundsTheSilentConnectionsOfAnAddressAndServesOnlyWhomItMay) {
    StartRelay("127.0.0.1", "--http off --max-unvalidated 3 --allow 127.0.0.0/29");
    const CRawPeer oldest = Dial(5), second = Dial(5), third = Dial(5), other = Dial(6);
    ASSERT_TRUE(IsTaken(other, 12)) << "another address";
    const CRawPeer newcomer = Dial(5);
    EXPECT_TRUE(IsClosedSilently(oldest)) << "of its address";
    EXPECT_TRUE(IsClosedSilently(Dial(8))) << "not allowed at all";
    EXPECT_TRUE(IsTaken(second, 13) && IsTaken(newcomer, 13));
}

TEST_F(RelayProcess, SaysPlainlyWhichPortIsTaken) {
    const std::string said = StartWithPages().Errors(), own = "mcu --listen 127.0.0.1:0 --http ";
    const std::string pages = NumberBehind(said, "http://127.0.0.1:");
    const std::pair<std::string, std::string> rows[] = {
        {"whiteboard --channel 5 --http " + pages + Mcu(), "cannot serve the page on 127.0.0.1:" + pages},
        {"mcu --http off --listen 127.0.0.1:" + port, "cannot listen on 127.0.0.1:" + port},
        {own + "127.0.0.1:" + pages, "cannot serve pages on 127.0.0.1:"},
        {own + "off --reflector-port " + NumberBehind(said, "reflector on port "),
         "cannot reflect addresses on 127.0.0.1:"}};
    for (const auto& [line, problem] : rows) {
        Process& second = Lumo(line);
        End(second, 1);
        EXPECT_NE(second.Errors().find(problem), std::string::npos) << second.Errors();
        EXPECT_NE(second.Errors().find("Address already in use"), std::string::npos) << second.Errors();
    }
}

}  // namespace
}  // namespace e2e
