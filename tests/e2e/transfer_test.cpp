// Files between real processes. What the demo sends is not sent again here.
#include "e2e/relay_test.h"
#include "support/pipe.h"

#include <csignal>
#include <regex>

namespace e2e {
namespace {

namespace fs = std::filesystem;

class Transfer : public CRelayTest {
protected:
    Transfer() {
        folder.Put("file", content);
        setenv("LUMO_SECRET", "AAECAwQFBgcICQoLDA0ODw", 1);  // of all programs that it starts
    }
    ~Transfer() override { unsetenv("LUMO_SECRET"); }

    /// Ends with the first receiver unless the words say otherwise.
    Process& Send(const std::string& words) { return Send("file", words); }
    Process& Send(const std::string& what, const std::string& words) {
        const bool said = words.find("--receivers") != std::string::npos;
        return Client("send " + what + " --channel 77 " + words + (said ? "" : " --receivers 1"));
    }
    /// Into a directory of that name.
    Process& Receive(const std::string& out, const std::string& words) {
        fs::create_directory(folder / out);
        return Client("receive 77 --out " + out + " " + words);
    }
    void ExpectWhole(const std::string& out) const {
        EXPECT_TRUE(folder.Get(out + "/file") == content) << out;
        EXPECT_FALSE(fs::exists(folder / (out + "/file.part"))) << out;
    }

    const std::string content = RandomBytes(6 << 20);
};

TEST_F(Transfer, TakesThePathThatBothSidesAllowAndSaysWhich) {
    const Process& relay = StartRelay();
    const Json probe = End(Client("probe --second " + NumberBehind(relay.Errors(), "reflector on port ")));
    EXPECT_EQ(probe["lan"], probe["public"]);
    EXPECT_EQ(probe["public"], probe["public_second"]);
    EXPECT_TRUE(probe["same_mapping"] == true && probe["translated"] == false) << probe;
    StartRelay("127.0.0.2");
    const struct {
        const char *send, *receive, *path, *paths;
    } rows[] = {{"--path p2p", "", "direct 127.0.0.1:", "1 direct 127.0.0.1:"},
                {"--path relay", "--path auto", "relay 127.0.0.1:", "1 relay 127.0.0.1:"},
                {"", "--near 127.0.0.2", "relay 127.0.0.2:", "1 relay 127.0.0.1:"}};
    for (const auto& row : rows) {
        const std::string out = std::to_string(&row - rows);
        Process& receiver = Receive(out, row.receive);
        Process& sender = Send(row.send);
        EXPECT_EQ(PathOf(End(receiver)).find(row.path), 0U) << receiver.Output();
        EXPECT_EQ(End(sender).value("paths", "").find(row.paths), 0U) << sender.Output();
        ExpectWhole(out);
    }
}

TEST_F(Transfer, TheRelayCarriesAtOnceAndWhatIsLeftGoesDirectly) {
    StartRelay();
    Process& sender = Send("--rate 1M");
    Process& receiver = Receive("out", "");
    const Json end = End(receiver);
    EXPECT_LT(end["until_first_byte"], 10) << "a way that is not waited for";
    std::vector<Json> paths;
    std::istringstream lines(receiver.Output());
    for (std::string line; std::getline(lines, line);)
        if (Json event = Json::parse(line); event["event"] == "path") paths.push_back(event);
    ASSERT_EQ(paths.size(), 2U) << receiver.Output();
    EXPECT_EQ(PathOf(paths[0]).find("relay 127.0.0.1:"), 0U);
    EXPECT_EQ(PathOf(paths[1]).find("direct 127.0.0.1:"), 0U);
    EXPECT_GT(paths[1]["arrived_bytes"], 0);
    EXPECT_LT(paths[1]["arrived_bytes"], content.size());
    EXPECT_EQ(PathOf(end), PathOf(paths[1]));
    EXPECT_EQ(End(sender).value("paths", "").find("1 direct 127.0.0.1:"), 0U) << sender.Output();
    ExpectWhole("out");
}

TEST_F(Transfer, TheRelayCarriesOnlyWhatSomebodyThereLacks) {
    Process& relay = StartRelay();
    Process& sender = Send("--receivers 3");
    Process* const direct[] = {&Receive("0", "--path p2p"), &Receive("1", "--path p2p")};
    for (Process* const one : direct) End(*one);
    relay.Listen(0);
    EXPECT_EQ(relay.Errors().find("came to channel"), std::string::npos) << relay.Errors();
    End(Receive("2", "--path relay"));
    const Json end = End(sender);
    const std::regex paths("2 direct 127[.]0[.]0[.]1:[0-9]+, 1 relay 127[.]0[.]0[.]1:[0-9]+");
    EXPECT_TRUE(std::regex_match(end["paths"].get<std::string>(), paths)) << "one host is told once: " << end;
    // Each direct receiver may have come alone: twice directly at most, once through the relay.
    EXPECT_GE(end["sent_bytes"], 2 * content.size());
    EXPECT_LE(end["sent_bytes"], 3 * content.size());
}

TEST_F(Transfer, GoesFromStandardInputToStandardOutput) {
    StartRelay();
    unsetenv("LUMO_SECRET");
    CPipe pipe;
    Process& sender = Lumo("send -" + Mcu(), pipe.read.Get());
    ASSERT_TRUE(Says(sender, "lumo receive ")) << "the line to type comes before the first byte";
    EXPECT_TRUE(Says(sender, "127.0.0.1 is this host alone"));
    const std::string line = sender.Output().substr(0, sender.Output().find('\n'));
    Process& receiver = Lumo(line.substr(line.find(' ')) + " --out - --quiet");
    pipe.Write(content);
    pipe.write.Reset();
    End(receiver);
    EXPECT_TRUE(Says(sender, "stays 60 s for others"));
    sender.Signal(SIGINT);
    End(sender);
    EXPECT_TRUE(receiver.Output() == content);
    EXPECT_EQ(receiver.Errors(), "");
}

TEST_F(Transfer, WordsComeOutOfTheProgramAndIntoNoFolder) {
    StartRelay();
    const std::string words = "see you at 8\n\x1b]0;x\x07";
    for (const bool tooLong : {false, true}) {
        CPipe pipe;
        Process& sender = Client("send --text - --channel 77 --receivers 1", pipe.read.Get());
        pipe.Write(tooLong ? content.substr(0, (64 << 10) + 1) : words);
        pipe.write.Reset();
        if (!tooLong) {
            fs::create_directory(folder / "out");
            Process& receiver = Lumo("receive 77 --quiet --out out" + Mcu());
            End(receiver);
            EXPECT_EQ(receiver.Output(), words);
            EXPECT_TRUE(fs::is_empty(folder / "out"));
        }
        End(sender, tooLong ? 1 : 0);
    }
    End(Client("send"), 2);
}

TEST_F(Transfer, GoesOnWhereItWasWhenASideIsKilledAndStartedAnew) {
    StartRelay();
    for (const std::string way : {"relay", "p2p", "p2p-tcp", "auto"}) {
        const std::string path = "--path " + way;
        Process& sender = Send(path + " --rate 2M");
        Process& killed = Receive(way, path);
        ASSERT_TRUE(WaitFor(killed, "bytes", 1 << 20));
        killed.Signal(SIGKILL);
        End(killed, 128 + SIGKILL);
        EXPECT_FALSE(fs::exists(folder / (way + "/file")));
        EXPECT_TRUE(fs::exists(folder / (way + "/file.part")));
        Process& receiver = Receive(way, path);
        ASSERT_TRUE(WaitFor(receiver, "bytes", 3 << 20));
        sender.Signal(SIGKILL);
        End(sender, 128 + SIGKILL);
        Process& second = Send(path);  // on another port
        EXPECT_LT(End(receiver)["arrived_bytes"], content.size()) << way << ": it began anew";
        EXPECT_LT(End(second)["sent_bytes"], content.size()) << way << ": it began anew";
        ExpectWhole(way);
    }
}

TEST_F(Transfer, AFolderArrivesAsItIsAndGoesOnWhereItWas) {
    StartRelay();
    folder.Put("from/trip/a/x", content);
    folder.Put("from/trip/b/x", "other");
    fs::create_directory(folder / "from/trip/empty");
    fs::create_symlink("a/x", folder / "from/trip/link");
    fs::create_symlink("/etc/passwd", folder / "from/trip/out");
    const auto when = fs::file_time_type::clock::now() - std::chrono::hours(9999);
    for (const char* dated : {"b/x", "a/x", "b", ""}) fs::last_write_time(folder / "from/trip" / dated, when);
    for (const std::string out : {"sealed", "plain"}) {
        if (out == "plain") unsetenv("LUMO_SECRET");
        const std::string way = out == "plain" ? " --path p2p " : " --path relay ", top = out + "/trip";
        Process& sender = Send("from/trip from/trip/b/x", "--rate 3M" + way + (out == "plain" ? "--plain" : ""));
        ASSERT_TRUE(Says(sender, "left_out"));
        Process& stopped = Receive(out, way);
        ASSERT_TRUE(WaitFor(stopped, "bytes", 1 << 20));
        stopped.Signal(SIGINT);
        End(stopped, 1);
        EXPECT_TRUE(fs::exists(folder / top / "a/x.part"));
        const Json end = End(Receive(out, way)), sent = End(sender);
        EXPECT_LT(end["arrived_bytes"], content.size()) << "it began anew";
        EXPECT_EQ(end["came"].dump(), R"({"bytes":6291466,"files":3,"folders":4,"links":1,"texts":0})");
        EXPECT_EQ(end["came"], sent["offered"]);
        EXPECT_TRUE(folder.Get(top + "/a/x") == content);
        EXPECT_EQ(folder.Get(top + "/b/x") + folder.Get(out + "/x"), "otherother");
        EXPECT_TRUE(fs::is_empty(folder / top / "empty"));
        EXPECT_EQ(fs::read_symlink(folder / top / "link"), "a/x");
        EXPECT_FALSE(fs::is_symlink(folder / top / "out"));
        for (const char* dated : {"a/x", "b/x", "b", ""}) EXPECT_EQ(fs::last_write_time(folder / top / dated), when);
    }
}

TEST_F(Transfer, AnInterruptSaysGoodbyeAndKeepsWhatHasCome) {
    StartRelay();
    Process& sender = Send("--path relay --rate 1M");
    Process& receiver = Receive("out", "--path relay");
    ASSERT_TRUE(WaitFor(receiver, "bytes", 100000));
    receiver.Signal(SIGINT);
    End(receiver, 1);
    EXPECT_TRUE(fs::exists(folder / "out/file.part"));
    Process& second = Receive("out", "--path relay --wait 1000");
    ASSERT_TRUE(WaitFor(second, "bytes", 200000));
    sender.Signal(SIGTERM);
    End(sender, 1);
    End(second, 1);  // at once, not after the wait
    EXPECT_NE(second.Errors().find("the sender left"), std::string::npos) << second.Errors();
}

TEST_F(Transfer, WithoutSignallingPeersTakeTheRelayAndOnlyForceOverwrites) {
    StartRelay("127.0.0.1", "--http off --max-signalling 0 --reflector-port off");
    folder.Put("out/file", "mine");
    Process& sender = Send("");
    Process& refused = Receive("out", "");
    End(refused, 1);
    EXPECT_NE(refused.Errors().find("exists already"), std::string::npos) << refused.Errors();
    EXPECT_EQ(folder.Get("out/file"), "mine");
    EXPECT_EQ(PathOf(End(Receive("out", "--force"))).find("relay "), 0U);
    EXPECT_EQ(End(sender)["failed"], 1);
    ExpectWhole("out");
    EXPECT_TRUE(End(Client("probe --wait 1.5"))["same_mapping"].is_null()) << "the second port is off";
}

TEST_F(Transfer, ASecondSenderOfOneChannelAndWhoFindsNoRoomAreToldAtOnce) {
    Process& relay = StartRelay("127.0.0.1", "--http off --max-channels 2");
    int channel = 80;
    for (const std::string way : {"p2p", "auto", "relay"}) {
        const std::string number = std::to_string(++channel);
        const std::string line = "send file --channel " + number + " --path " + way + Mcu();
        Process& first = Lumo(line);
        ASSERT_TRUE(way == "p2p" || Says(relay, "publishes channel " + number));
        ASSERT_TRUE(way == "relay" || Says(relay, "user " + number));
        const std::string room = way == "p2p" ? ", or has the server no room for more channels?" : "?";
        EXPECT_TRUE(Says(Lumo(line), "is the number " + number + " in use" + room));
        first.Listen(0);
        EXPECT_EQ(first.Errors().find("in use"), std::string::npos) << way << first.Errors();
    }
    EXPECT_TRUE(Says(Lumo("send file --channel 90" + Mcu()), "is the number 90 in use, or has the server no room"));
}

}  // namespace
}  // namespace e2e
