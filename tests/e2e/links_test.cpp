// Files sealed end to end between real processes, and the links that lead to them.
#include "e2e/hostile_relay.h"
#include "e2e/relay_test.h"
#include "support/pipe.h"
#include "tools/lumo/net/share_link.h"
#include "tools/lumo/transfer/messages.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace e2e {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOther = "AAECAwQFBgcICQoLDA0ODw";

class Links : public CRelayTest {
protected:
    Links() {
        folder.Put("holiday.bin", content);
        fs::create_directory(folder / "out");
        StartRelay();
    }
    Process& Send(const std::string& words) { return Client("send holiday.bin --receivers 1 " + words); }
    static std::string SecretIn(const std::string& link) { return link.substr(link.find('#') + 1); }
    static std::string ClearOf(const std::string& link) { return link.substr(0, link.find('#')); }
    void ExpectWhole() const { EXPECT_TRUE(folder.Get("out/holiday.bin") == content); }
    /// A file that the kernel makes up, which has no size.
    static std::string Told(const Process& process, const char* name) {
        std::ifstream file("/proc/" + std::to_string(process.Pid()) + "/" + name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const std::string content = RandomBytes((3 << 20) + 12345);
};

TEST_F(Links, AHostileRelayAddsNothingToAFileAndLearnsNothingOfIt) {
    Process& sender = Send("--channel 77 --path relay");
    const std::string link = LinkOf(sender);
    lumo::ShareLink parsed;
    std::string problem;
    ASSERT_TRUE(lumo::ParseShareLink(link, parsed, problem)) << problem;
    lumo::Status status;
    status.receiver = 4711;
    CForger down(parsed.secret, {SEAL_FILE, SEAL_DOWN, 77},
                 lumo::Encode({9, lumo::SenderBye{lumo::ByeReason::Failed}, lumo::kSealedVersion})),
        up(parsed.secret, {SEAL_FILE, SEAL_UP, 77}, lumo::Encode({9, status, lumo::kSealedVersion}));
    CHostileRelay relay(static_cast<uint16_t>(std::stoul(port)), std::ref(down), std::ref(up));
    const Json end = End(Lumo("receive " + link + " --json --tcp --path relay --out out --mcu " + relay.Address()));
    ExpectWhole();
    EXPECT_EQ(End(sender)["complete"], 1);
    EXPECT_GT(down.carried, 48U);
    for (const char* reason : {"wrong", "plain", "malformed", "repeated"})
        EXPECT_GE(end["not_opened"].value(reason, uint64_t{0}), 45U) << reason << end;
    const std::string seen = relay.Seen(), size{0, 0, 0, 0, 0, 0x30, 0x30, 0x39};
    for (const std::string& secret :
         {std::string("holiday.bin"), size, content.substr(0, 16), content.substr(70000, 16)})
        EXPECT_EQ(seen.find(secret), std::string::npos) << secret.size() << " bytes have passed in the clear";
    EXPECT_GT(seen.size(), content.size());
}

TEST_F(Links, EndsThatDoNotFitSaySoAndWriteNothing) {
    const std::string sealed = LinkOf(Send("--keep --channel 77")), plain = LinkOf(Send("--keep --channel 87 --plain"));
    EXPECT_EQ(plain, ClearOf(plain));
    const std::pair<std::string, const char*> rows[] = {{ClearOf(sealed) + "#" + kOther, "wrong secret"},
                                                        {ClearOf(sealed), "the sender seals"},
                                                        {plain + "#" + kOther, "the sender does not seal"}};
    std::vector<Process*> receivers;
    for (const auto& [link, words] : rows) receivers.push_back(&Lumo("receive " + link + " --json --out out"));
    for (size_t i = 0; i < receivers.size(); ++i) {
        EXPECT_EQ(End(*receivers[i], 4).value("result", ""), "sealed");
        EXPECT_NE(receivers[i]->Errors().find(rows[i].second), std::string::npos) << receivers[i]->Errors();
        EXPECT_EQ(receivers[i]->Errors().find(kOther), std::string::npos);
    }
    EXPECT_TRUE(fs::is_empty(folder / "out"));
}

TEST_F(Links, ASenderStartedAnewUnderItsLinkFileIsResumed) {
    Process& sender = Send("--link-file kept --rate 2M");
    const std::string link = LinkOf(sender);
    EXPECT_EQ(folder.Get("kept"), link + "\n");
    EXPECT_EQ(fs::status(folder / "kept").permissions(), fs::perms::owner_read | fs::perms::owner_write);
    Process& receiver = Lumo("receive --link-file kept --json --out out");
    ASSERT_TRUE(WaitFor(receiver, "bytes", 1 << 20));
    sender.Signal(SIGKILL);
    End(sender, 128 + SIGKILL);
    Process& second = Lumo("send holiday.bin --receivers 1 --json --link-file kept");
    EXPECT_EQ(LinkOf(second), link);
    EXPECT_LE(End(receiver)["arrived_bytes"], content.size()) << "it began anew";
    EXPECT_LT(End(second)["sent_bytes"], content.size()) << "it began anew";
    ExpectWhole();
    for (const char* words : {"--channel 5", "--plain", "--mcu 127.0.0.1:1"})
        End(Lumo("send holiday.bin --link-file kept " + std::string(words)), 2);
    fs::permissions(folder / "kept", fs::perms::others_read, fs::perm_options::add);
    Process& shared = Lumo("receive --link-file kept");
    End(shared, 2);
    EXPECT_NE(shared.Errors().find("chmod 600"), std::string::npos) << shared.Errors();
}

TEST_F(Links, OtherUsersOfTheHostSeeNoSecret) {
    setenv("LUMO_SECRET", kOther, 1);
    Process& sender = Send("--channel 77 --keep");
    unsetenv("LUMO_SECRET");
    const std::string link = LinkOf(sender);
    EXPECT_EQ(SecretIn(link), kOther);
    EXPECT_EQ(Told(sender, "environ").find(kOther), std::string::npos);
    EXPECT_EQ(sender.Output().find(kOther), sender.Output().rfind(kOther)) << "more than the line hands it on";
    EXPECT_NE(Told(sender, "environ").find("LUMO_SECRET"), std::string::npos) << "not what it was given";

    Process& receiver = Lumo("receive " + link + " --wait 60 --path p2p --json --mcu 127.0.0.1:1");
    ASSERT_TRUE(Says(receiver, "\"progress\""));
    EXPECT_NE(Told(receiver, "cmdline").find(ClearOf(link) + "#"), std::string::npos);
    EXPECT_EQ(Told(receiver, "cmdline").find(kOther), std::string::npos);

    const CPipe terminal;
    terminal.Write("lumo receive " + link + " --path relay\n");
    Process& asked = Lumo("receive --quiet --out out", terminal.read.Get());
    End(asked);
    EXPECT_EQ(asked.Errors(), "");
    ExpectWhole();
}

TEST_F(Links, ATerminalShowsNoLinkAndIsAsItWasAfterwards) {
    const CFileDescriptor screen(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char name[64];
    ASSERT_TRUE(grantpt(screen.Get()) == 0 && unlockpt(screen.Get()) == 0 &&
                ptsname_r(screen.Get(), name, sizeof name) == 0);
    const CFileDescriptor terminal(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    const auto echoes = [&terminal] {
        termios settings{};
        return tcgetattr(terminal.Get(), &settings) == 0 && (settings.c_lflag & ECHO) != 0;
    };
    ASSERT_TRUE(echoes());
    for (const bool interrupted : {true, false}) {
        Process& asked = Lumo("receive", terminal.Get());
        ASSERT_TRUE(Says(asked, "link, which is not shown"));
        EXPECT_FALSE(echoes());
        if (interrupted)
            asked.Signal(SIGINT);
        else
            EXPECT_EQ(write(screen.Get(), "lumo://a/audio/1\n", 17), 17);
        End(asked, interrupted ? 128 + SIGINT : 2);
        EXPECT_TRUE(echoes()) << interrupted;
    }
}

TEST_F(Links, NoCoreDumpHoldsASecret) {
    const rlimit before = [] {
        rlimit limit{};
        getrlimit(RLIMIT_CORE, &limit);
        return limit;
    }();
    const rlimit most{before.rlim_max, before.rlim_max};
    setrlimit(RLIMIT_CORE, &most);
    Process& sender = Send("--channel 77 --keep");
    EXPECT_FALSE(LinkOf(sender).empty());
    Process& relay = Lumo("mcu --listen 127.0.0.1:0 --http off");  // which has no secret
    EXPECT_TRUE(Says(relay, "room for "));
    setrlimit(RLIMIT_CORE, &before);
    const auto leavesCore = [this](Process& process) {
        process.Signal(SIGABRT);
        End(process, 128 + SIGABRT);
        for (const std::string& name : folder.Names())
            if (name.rfind("core", 0) == 0) return fs::remove(folder / name);
        return false;
    };
    EXPECT_FALSE(leavesCore(sender));
    if (!leavesCore(relay)) GTEST_SKIP() << "this system puts core dumps elsewhere, or makes none";
}

TEST_F(Links, TheCodeOnTheTerminalReadsAsTheLink) {
    Process& sender = Lumo("send holiday.bin --qr --wait 60" + Mcu());
    ASSERT_TRUE(Says(sender, "sealed end to end"));
    ASSERT_TRUE(Says(sender, "\n\u2588\u2588\u2588"));
    sender.Signal(SIGINT);
    End(sender, 1);
    std::vector<std::string> rows;
    std::istringstream lines(sender.Errors());
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("\u2588\u2588\u2588", 0) != 0) continue;
        std::string upper, lower;
        for (size_t at = 0; at < line.size(); at += line[at] == ' ' ? 1 : 3) {
            const std::string block = line.substr(at, 3);
            upper += block == "\u2588" || block == "\u2580" ? " 1" : " 0";
            lower += block == "\u2588" || block == "\u2584" ? " 1" : " 0";
        }
        rows.insert(rows.end(), {upper, lower});
    }
    ASSERT_FALSE(rows.empty());
    EXPECT_LE(rows[0].size() / 2, 80U);
    std::string picture =
        "P2 " + std::to_string(rows[0].size() / 2 * 4) + " " + std::to_string(rows.size() * 4) + " 1\n";
    for (const std::string& row : rows) {
        std::string wide;
        for (size_t at = 1; at < row.size(); at += 2)
            for (int i = 0; i < 4; ++i) wide += std::string(" ") + row[at];
        for (int i = 0; i < 4; ++i) picture += wide + "\n";
    }
    folder.Put("code.pgm", picture);
    Process& reader = Start({}, "/usr/bin/zbarimg", "--quiet --nodbus --raw code.pgm");
    End(reader);
    EXPECT_EQ(reader.Output(), LinkIn(sender.Output()) + "\n") << reader.Errors();
}

}  // namespace
}  // namespace e2e
