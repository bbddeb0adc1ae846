// The relay server as a process: its pages, its end, and service for others under abuse.
#include "e2e/mcu_sockets.h"
#include "e2e/transfer_fixture.h"
#include "support/session_wire.h"

#include <httplib.h>

#include <csignal>
#include <fstream>
#include <random>
#include <regex>

namespace e2e {
namespace {

using lumo::CChildProcess;
using session_wire::U32;

class McuProcess : public CTransferTest {
protected:
    /// A relay with pages, and perhaps more flags.
    void StartMcu(const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments{"mcu", "--listen", "127.0.0.1:0", "--http", "127.0.0.1:0"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        Run(mcu, arguments);
        ASSERT_TRUE(mcu.WaitForText("pages at ", kDeadlineMs)) << mcu.Errors();
        std::smatch match;
        const std::string said = mcu.Errors();
        ASSERT_TRUE(std::regex_search(
            said, match,
            std::regex("127.0.0.1:([0-9]+).*reflector on port ([0-9]+).*pages at http://127.0.0.1:([0-9]+)/")));
        port = static_cast<uint16_t>(std::stoi(match[1]));
        reflectorPort = static_cast<uint16_t>(std::stoi(match[2]));
        pagesPort = match[3];
        pages = std::make_unique<httplib::Client>("127.0.0.1", std::stoi(pagesPort));
    }
    std::string Page(const char* path) {
        const auto answer = pages->Get(path);
        return answer && answer->status == 200 ? answer->body : "";
    }
    /// The traffic of the only stream, once it has one.
    nlohmann::json Stream() {
        const auto json = nlohmann::json::parse(Page("/api/streams"), nullptr, false);
        return json.is_object() && json["streams"].size() == 1 ? json["streams"][0] : nlohmann::json();
    }
    /// Until the only stream has carried this much.
    bool WaitForTraffic(const char* name, uint64_t bytes) {
        for (int tries = 0; tries < 1000; ++tries) {
            const nlohmann::json stream = Stream();
            if (stream.is_object() && stream["traffic"][name].get<uint64_t>() >= bytes) return true;
            mcu.Listen(20);
        }
        return false;
    }
    std::string Here() const { return "127.0.0.1:" + std::to_string(port); }
    void Transfer(CChildProcess& sender, CChildProcess& receiver, const std::string& file,
                  const std::vector<std::string>& more) {
        std::filesystem::create_directories(Path("out"));
        std::vector<std::string> send{"send", file, "--mcu", Here(), "--channel", "77", "--path", "relay", "--json"};
        send.insert(send.end(), more.begin(), more.end());
        Run(sender, send);
        Run(receiver, {"receive", "77", "--mcu", Here(), "--path", "relay", "--json", "--out", Path("out")});
    }

    CChildProcess mcu;
    uint16_t port = 0;
    uint16_t reflectorPort = 0;
    std::string pagesPort;
    std::unique_ptr<httplib::Client> pages;
};

TEST_F(McuProcess, ItsPagesShowWhatGoesThrough) {
    StartMcu();
    EXPECT_EQ(Page("/health"), "ok\n");
    EXPECT_NE(Page("/").find("No streams at the moment."), std::string::npos);
    const std::string file = MakeFile("file", 4 << 20);
    CChildProcess sender, receiver;
    Transfer(sender, receiver, file, {"--rate", "2M"});
    ASSERT_TRUE(WaitForTraffic("bytes_in", 1 << 20));
    const nlohmann::json stream = Stream();
    EXPECT_EQ(stream["channel"], 77);
    EXPECT_EQ(stream["listener_count"], 1);
    EXPECT_NE(Page("/").find("file 77"), std::string::npos);
    EXPECT_EQ(ExitOf(receiver), 0);
    EXPECT_EQ(ExitOf(sender), 0);
    std::smatch match;
    const std::string metrics = Page("/metrics");
    ASSERT_TRUE(std::regex_search(metrics, match,
                                  std::regex("lumo_bytes_total\\{direction=\"out\",medium=\"file\"\\} ([0-9]+)")));
    EXPECT_GE(std::stoull(match[1]), 4U << 20);
    EXPECT_TRUE(mcu.WaitForText("left channel 77", kDeadlineMs)) << mcu.Errors();
}

TEST_F(McuProcess, TellsClientsTheirAddressOnTwoPorts) {
    StartMcu();
    ASSERT_NE(port, reflectorPort);
    for (uint16_t asked : {port, reflectorPort}) {
        const CRawUdp udp(asked, "127.0.0.5");
        udp.Send("\x07");
        EXPECT_EQ(udp.Receive(), "\x07" + U32(0x7f000005) + U32(udp.Port()).substr(2));
    }
    CChildProcess taken, off;
    Run(taken, {"mcu", "--listen", "127.0.0.1:0", "--http", "off", "--reflector-port", std::to_string(reflectorPort)});
    EXPECT_EQ(ExitOf(taken), 1);
    EXPECT_NE(taken.Errors().find("cannot reflect addresses on 127.0.0.1:"), std::string::npos) << taken.Errors();
    Run(off, {"mcu", "--listen", "127.0.0.1:0", "--http", "off", "--reflector-port", "off"});
    EXPECT_TRUE(off.WaitForText("without a second reflector", kDeadlineMs)) << off.Errors();
}

TEST_F(McuProcess, CarriesPacketsBetweenItsSignallingClients) {
    StartMcu();
    CRawTcp alice(port), bob(port), impostor(port);
    std::string frame;
    ASSERT_TRUE(alice.SendMessage(1, Validation(100, {7})) && alice.Receive(frame));
    EXPECT_EQ(frame, Validation(100, {7}));
    ASSERT_TRUE(bob.SendMessage(1, Validation(100, {8})) && bob.Receive(frame));
    ASSERT_TRUE(impostor.SendMessage(1, Validation(100, {8})));
    EXPECT_TRUE(impostor.IsClosedSilently());
    ASSERT_TRUE(alice.SendMessage(0, U32(8) + "packet") && bob.Receive(frame));
    EXPECT_EQ(frame, U32(7) + "packet");
    EXPECT_NE(Page("/metrics").find("lumo_signalling_clients 2\n"), std::string::npos);
}

TEST_F(McuProcess, TakesAsManyDescriptorsAsItMay) {
    StartMcu();
    std::ifstream limits("/proc/" + std::to_string(mcu.Pid()) + "/limits");
    const std::string text{std::istreambuf_iterator<char>(limits), {}};
    std::smatch match;
    ASSERT_TRUE(std::regex_search(text, match, std::regex("Max open files +([0-9a-z]+) +([0-9a-z]+)"))) << text;
    EXPECT_EQ(match[1], match[2]);
}

TEST_F(McuProcess, AtTheEndTcpQueuesDrainFirst) {
    constexpr size_t kFrames = 128, kFrameLen = 64 << 10;
    StartMcu();
    auto publisher = std::make_unique<CRawTcp>(port);
    auto subscriber = std::make_unique<CRawTcp>(port, "127.0.0.1", 16 << 10);
    std::string answer;
    ASSERT_TRUE(publisher->SendMessage(1, Validation(12, {77})) && publisher->Receive(answer));
    EXPECT_EQ(answer, Validation(12, {77}));
    ASSERT_TRUE(subscriber->SendMessage(1, Validation(13, {77, 0, 0, 0})) && subscriber->Receive(answer));
    EXPECT_EQ(answer, Validation(13, {77}));
    for (size_t i = 0; i < kFrames; ++i)
        ASSERT_TRUE(publisher->SendMessage(0, std::string(kFrameLen, static_cast<char>('a' + i % 26))));
    ASSERT_TRUE(WaitForTraffic("bytes_in", kFrames * kFrameLen));
    mcu.Signal(SIGTERM);
    std::string frame;
    for (size_t i = 0; i < kFrames; ++i) {
        ASSERT_TRUE(subscriber->Receive(frame)) << "frame " << i;
        ASSERT_TRUE(frame == std::string(kFrameLen, static_cast<char>('a' + i % 26))) << "frame " << i;
    }
    EXPECT_FALSE(subscriber->Receive(frame));
    publisher.reset();
    subscriber.reset();
    EXPECT_EQ(ExitOf(mcu), 0);
}

TEST_F(McuProcess, ASubscriberThatNeverReadsDoesNotKeepItFromEnding) {
    StartMcu();
    CRawTcp publisher(port), subscriber(port, "127.0.0.1", 16 << 10);
    std::string answer;
    ASSERT_TRUE(publisher.SendMessage(1, Validation(12, {77})) && publisher.Receive(answer));
    ASSERT_TRUE(subscriber.SendMessage(1, Validation(13, {77})) && subscriber.Receive(answer));
    for (int i = 0; i < 128; ++i) ASSERT_TRUE(publisher.SendMessage(0, std::string(64 << 10, 'x')));
    ASSERT_TRUE(WaitForTraffic("bytes_in", 128 << 16));
    mcu.Signal(SIGTERM);
    EXPECT_EQ(ExitOf(mcu), 0);
}

TEST_F(McuProcess, ServesOthersWhateverArrives) {
    StartMcu();
    const std::string file = MakeFile("file", 6 << 20);
    CChildProcess sender, receiver;
    Transfer(sender, receiver, file, {"--rate", "4M"});
    ASSERT_TRUE(WaitForTraffic("bytes_in", 1 << 16));
    const CRawUdp udp(port, "127.0.0.5");
    std::mt19937 random(3);
    for (uint32_t i = 0; i < 20000; ++i) {
        udp.Send(std::string("\x06\x39", 2) + U32(i) + U32(77));
        udp.Send(std::string("\x06\x40", 2) + U32(1000 + i) + U32(i));
        std::string junk(random() % 100 + 1, '\6');
        for (char& byte : junk) byte = static_cast<char>(random() % 8 == 0 ? random() : static_cast<uint8_t>(byte));
        udp.Send(junk);
    }
    for (const std::string& bytes : {std::string("GET / HTTP/1.1\r\n\r\n"), std::string(5, '\xff'),
                                     U32(4) + "\x01" + "none", U32(8) + '\0' + "no frame"}) {
        CRawTcp tcp(port, "127.0.0.5");
        ASSERT_TRUE(tcp.IsConnected());
        tcp.SendBytes(bytes);
        EXPECT_TRUE(tcp.IsClosedSilently()) << bytes;
    }
    for (const auto& refused :
         {Validation(12, {0}), Validation(12, {77}), Validation(13, {78}), Validation(13, {78, 0, 0, 0}),
          Validation(13, {78, 0x7f000001, 0, 0}), Validation(13, {77, 0}), Validation(100, {0})}) {
        CRawTcp tcp(port, "127.0.0.5");
        tcp.SendMessage(1, refused);
        EXPECT_TRUE(tcp.IsClosedSilently());
    }
    EXPECT_EQ(ExitOf(receiver), 0) << receiver.Errors();
    EXPECT_EQ(ExitOf(sender), 0) << sender.Errors();
}

TEST_F(McuProcess, SilentConnectionsOfOneAddressAreBounded) {
    StartMcu({"--max-unvalidated", "3", "--allow", "127.0.0.0/29"});
    std::vector<std::unique_ptr<CRawTcp>> silent;
    for (int i = 0; i < 3; ++i) silent.push_back(std::make_unique<CRawTcp>(port, "127.0.0.5"));
    std::string answer;
    CRawTcp first(port, "127.0.0.6");
    ASSERT_TRUE(first.SendMessage(1, Validation(12, {77})) && first.Receive(answer)) << "another address";
    CRawTcp newcomer(port, "127.0.0.5");
    EXPECT_TRUE(silent[0]->IsClosedSilently()) << "its address's oldest";
    EXPECT_TRUE(CRawTcp(port, "127.0.0.8").IsClosedSilently()) << "not allowed at all";
    for (CRawTcp* one : {silent[1].get(), &newcomer})
        EXPECT_TRUE(one->SendMessage(1, Validation(13, {77})) && one->Receive(answer));
}

TEST_F(McuProcess, SaysPlainlyWhenAPortIsTaken) {
    StartMcu();
    CChildProcess second, third;
    Run(second, {"mcu", "--listen", Here(), "--http", "off"});
    EXPECT_EQ(ExitOf(second), 1);
    EXPECT_NE(second.Errors().find("cannot listen on " + Here()), std::string::npos) << second.Errors();
    Run(third, {"mcu", "--listen", "127.0.0.1:0", "--http", "127.0.0.1:" + pagesPort});
    EXPECT_EQ(ExitOf(third), 1);
    EXPECT_NE(third.Errors().find("cannot serve pages on 127.0.0.1:"), std::string::npos) << third.Errors();
}

}  // namespace
}  // namespace e2e
