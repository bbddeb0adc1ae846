// The program from outside: its exit codes, the dump, the demo.
#include "e2e/relay_test.h"
#include "support/capture.h"
#include "tools/lumo/demo/samples.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <regex>

using e2e::CRelayTest;

namespace {

class Program : public CRelayTest {};

/// A command line, where @ is the relay, and what becomes of it. Nothing listens at port 1, and 127.0.0.2 relays from
/// nobody.
const struct {
    const char* words;
    int code;
    const char* says;
} kLines[] = {
    {"", 2, ""},
    {"nonsense", 2, "there is no command 'nonsense'"},
    {"recieve 5", 2, "did you mean receive?"},
    {"publish talk.opus", 2, "choose from audio, video, desktop"},
    {"publish", 2, "the medium is missing: choose from audio, video, desktop"},
    {"send file --recievers 2", 2, "there is no option --recievers; did you mean --receivers?"},
    {"help publish vidoe", 2, "did you mean video?"},
    {"send", 2, ""},
    {"send file", 2, "--mcu"},
    {"send file --mcu bad:port", 2, ""},
    {"send file --mcu", 2, "--mcu takes HOST[:PORT], which is missing"},
    {"send file --mcu a --mcu b", 2, "--mcu may be given once"},
    {"stats 127.0.0.1 --file live", 2, " do not go together"},
    {"stats --count x", 2, "--count takes NUMBER, not x"},
    {"publish audio", 2, "FILE is missing"},
    {"completion tcsh", 2, "SHELL: tcsh is none of bash, zsh, fish"},
    {"mcu --max-memory 5q", 2, "--max-memory: 5q is no number of bytes, such as 64k or 8MiB"},
    {"send file --channel 0 @", 2, "the channel must be a number"},
    {"send file --proxy ftp://x @", 2, ""},
    {"send file --rate 5q @", 2, "5q is no number, with or without one of k, m, g behind it"},
    {"receive x @", 2, "that is neither a link"},
    {"receive", 2, "no link was given"},
    {"receive 5", 2, "--mcu is missing"},
    {"receive lumo://127.0.0.1/file/1#x", 2, "no secret"},
    {"receive lumo://127.0.0.1/audio/1", 2, "that link leads to audio"},
    {"receive lumo://[::1]/file/1", 2, "IPv6"},
    {"whiteboard lumo://127.0.0.1/board/1#AAECAwQFBgcICQoLDA0ODw", 2, "boards are not sealed"},
    {"receive 5 --near 127.0.0.2:1 @", 2, "--near must use the port of --mcu"},
    {"receive 5 --path p2p --near 127.0.0.2 @", 2, "name one of them"},
    {"whiteboard --channel 5 --path p2p-tcp --near 127.0.0.2 @", 2, "name one of them"},
    {"subscribe audio 5 --path p2p --near 127.0.0.2 @", 2, "name one of them"},
    {"probe --wait nan @", 2, ""},
    {"probe --wait 0 @", 2, ""},
    {"receive 5 --wait -1 @", 2, ""},
    {"receive 5 --wait 1e10 @", 2, ""},
    {"load video --key-bytes 18 @", 2, "--key-bytes: 18 is no number from "},
    {"load video --key-bytes 4194308 @", 2, " to 4194307"},
    {"demo --loss 101%", 2, "not a share"},
    {"demo --loss nan", 2, "not a share"},
    {"demo --loss -1", 2, ""},
    {"demo --loss 2%%", 2, "not a share"},
    {"receive 5 --out nowhere/x @", 1, "nowhere/: No such file"},
    {"send missing @", 1, "missing: No such file"},
    {"send file file @", 1, "/file would be sent twice"},
    {"send file --stats /dev/null/x @", 1, "/dev/null/x: Not a directory"},
    {"stats 127.0.0.1:1", 1, "gives no answer"},
    {"stats --file file", 1, "file holds no figures"},
    {"dump missing", 1, ""},
    {"dump file", 1, ""},
    {"publish audio file @", 1, "file: this is no Ogg Opus file"},
    {"publish audio . @", 1, "cannot read .: Is a directory"},
    {"load audio --file . @", 1, "cannot read .: Is a directory"},
    {"publish video file @", 1, "start code"},
    {"publish audio /dev/null --loop @", 1, "/dev/null: --loop needs a file, which can be read again"},
    {"publish video /dev/null --loop @", 1, "/dev/null: --loop needs a file, which can be read again"},
    {"publish desktop none @", 1, "holds no PNG or JPEG"},
    {"subscribe desktop 5 -o /dev/null/x @", 1, "/dev/null/x"},
    {"send file --wait 0.5 @", 3, "nobody came"},
    {"receive 5 --wait 0.5 @", 3, " is there, but nothing comes of channel 5"},
    {"receive 5 --tcp --wait 0.5 @", 3, " is there, but nothing comes of channel 5"},
    {"receive 5 --mcu 127.0.0.1:1 --wait 3", 3, "nothing listens at 127.0.0.1:1 over UDP"},
    {"receive 5 --near 127.0.0.2 --wait 0.5 @", 3, "refuses to relay from 127.0.0.1:"},
    {"receive 5 --proxy http://127.0.0.1:1 --wait 0.5 @", 3, "the proxy 127.0.0.1:1 is not there (Connection refused)"},
    {"send file --mcu 127.0.0.1:1 --wait 0.5", 3, "the server has not taken the channel: nothing listens at"},
    {"publish audio spoken --mcu 127.0.0.1:1", 3, "nothing listens at 127.0.0.1:1 over UDP"},
    {"publish audio spoken --tcp --mcu 127.0.0.1:1", 3, "nothing listens at 127.0.0.1:1 over TCP"},
    {"subscribe audio 5 --wait 0.5 @", 3, "nothing was heard: 127.0.0.1:"},
    {"subscribe video 5 --wait 0.5 --near 127.0.0.2 --tcp @", 3, "refuses to relay from 127.0.0.1:"},
    {"subscribe desktop 5 --wait 0.5 --tcp @", 3, "nothing was heard: 127.0.0.1:"},
    {"probe --wait 60 --mcu 127.0.0.1:1", 3, "nothing listens at 127.0.0.1:1 over UDP"},
    {"load audio --subscribers 1 --wait 0.3 --mcu 127.0.0.3:1", 3,
     "only 0 of 1 subscribers hear the publisher: nothing"},
    {"load whiteboard --subscribers 1 --wait 0.3 --mcu 127.0.0.3:1", 3, "only 0 of 1 subscribers"},
};

TEST_F(Program, ExitCodesTellWhatHappenedAndFailuresSayWhy) {
    StartRelay();
    StartRelay("127.0.0.2", "--http off --relay-to 10.0.0.0/8");
    folder.Put("file", "0123456789");
    folder.Put("spoken", std::string(lumo::Sample("sample.opus").substr(0, 4171)));  // a second of it
    std::filesystem::create_directory(folder / "none");
    for (const auto& [words, code, says] : kLines) {
        std::string line = words;
        if (const size_t at = line.find('@'); at != std::string::npos) line.replace(at, 1, Mcu());
        Process& process = Lumo(line);
        End(process, code);
        EXPECT_NE(process.Errors(), "") << line;
        EXPECT_NE(process.Errors().find(says), std::string::npos) << line << ": " << process.Errors();
        EXPECT_TRUE(code == 3 || process.Output().empty()) << line << ": a link that leads nowhere";
    }
    for (const auto& [words, shown] : {std::pair("--help", "Usage: lumo COMMAND"),
                                       {"--version", "sealed frames (OpenSSL"},
                                       {"help load audio", "Usage: lumo load audio [OPTION]..."}}) {
        Process& help = Lumo(words);
        End(help);
        EXPECT_EQ(help.Errors(), "");
        EXPECT_NE(help.Output().find(shown), std::string::npos) << help.Output();
    }
    for (const char* const log : {"file/log", "loud:stderr"}) {
        setenv("LUMO_LOG", log, 1);
        Process& unlogged = Lumo("secret");
        End(unlogged, 2);
        EXPECT_NE(unlogged.Errors().find("LUMO_LOG"), std::string::npos) << unlogged.Errors();
    }
    unsetenv("LUMO_LOG");
}

TEST_F(Program, DumpShowsACaptureInWords) {
    const std::string connect = capture::Udp(Hex("06400000000500000009")), stun = capture::Udp(Hex("07"));
    const std::string two = capture::File({connect, stun});
    folder.Put("capture", capture::File({connect, capture::Udp(Hex("09090909")), stun}));
    folder.Put("cut", two.substr(0, two.size() - 3));
    const std::string ways = " UDP 10.0.0.1:40000 > 10.0.0.2:7000  ",
                      first = "   0.000000" + ways + "UDP_FILE_SOURCE_CONNECT channel 5 sender 9\n",
                      other = "   1.000000" + ways + "4 bytes of others\n",
                      last = "   2.000000" + ways + "UDP_STUN asks for its address\n";
    const struct {
        const char* words;
        int code;
        std::string shown;
        const char* says;
    } rows[] = {{"capture", 0, first + last, "3 packets, 2 datagrams and messages shown, 1 packets of others, 0 gaps"},
                {"capture --all --count 2", 0, first + other, ""},
                {"capture --port 40000", 0, first + last, ""},
                {"capture --port 9", 0, "", "3 packets, 0 datagrams"},
                {"cut", 1, first, "truncated"}};
    for (const auto& row : rows) {
        Process& dump = Lumo(std::string("dump ") + row.words);
        End(dump, row.code);
        EXPECT_EQ(dump.Output(), row.shown) << row.words;
        EXPECT_NE(dump.Errors().find(row.says), std::string::npos) << dump.Errors();
    }
}

TEST_F(Program, TheDemoBringsEverythingHome) {
    folder.Put("file", RandomBytes(2 << 20));
    Process& demo = Lumo("demo file --seed 3 --loss 1%");
    End(demo);
    const auto count = [&demo](const std::string& what) {
        size_t found = 0;
        for (size_t at = 0; (at = demo.Output().find(what, at)) != std::string::npos; ++at) ++found;
        return found;
    };
    EXPECT_EQ(count("  equal\n"), 10U) << demo.Output();
    EXPECT_EQ(count("  good "), 21U) << demo.Output();
    EXPECT_EQ(count("  all equal\n"), 6U) << demo.Output();
    const std::regex lossy("UDP, losing 1% +[0-9]+ +[0-9.]+ +[0-9.]+ +[1-9][0-9]*  equal");
    EXPECT_TRUE(std::regex_search(demo.Output(), lossy)) << "nothing was lost: " << demo.Output();
}

TEST_F(Program, AnInterruptedDemoLeavesNoProcess) {
    setenv("TMPDIR", (folder / "").c_str(), 1);  // what a killed demo leaves goes with the test
    for (const int signal : {SIGINT, SIGKILL}) {
        Process& demo = Lumo("demo");
        ASSERT_TRUE(Says(demo, "one sender"));
        const std::string id = std::to_string(demo.Pid());
        std::ifstream list("/proc/" + id + "/task/" + id + "/children");
        const std::vector<pid_t> children{std::istream_iterator<pid_t>(list), {}};
        ASSERT_GE(children.size(), 3U) << "two servers and a proxy";
        demo.Signal(signal);
        End(demo, signal == SIGINT ? 1 : 128 + SIGKILL);
        // The kernel ends them with a demo that was killed: soon, not at once.
        const auto gone = [](pid_t pid) { return kill(pid, 0) != 0; };
        for (int i = 0; i < 1000 && !std::all_of(children.begin(), children.end(), gone); ++i) usleep(10000);
        for (const pid_t pid : children) EXPECT_TRUE(gone(pid)) << pid;
    }
    unsetenv("TMPDIR");
}

}  // namespace
