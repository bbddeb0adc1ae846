// A spoken sample between real processes.
#include "e2e/transfer_fixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;

namespace {

using Words = std::vector<std::string>;

constexpr uint64_t kPacketSamples = 960, kPreSkip = 312;  // of the sample

/// How many samples a recording decodes to; nothing when there is no decoder.
std::optional<uint64_t> DecodedSamples(const std::string& recorded, const std::string& pcm) {
    constexpr int kNotThere = 127;
    CChildProcess decoder;
    EXPECT_TRUE(decoder.Start({"/usr/bin/env", "ffmpeg", "-nostdin", "-v", "error", "-i", recorded, "-ac", "1", "-ar",
                               "48000", "-f", "s16le", pcm}));
    EXPECT_TRUE(decoder.WaitForEnd(kDeadlineMs));
    if (decoder.ExitCode() == kNotThere) return std::nullopt;
    EXPECT_EQ(decoder.ExitCode(), 0) << decoder.Errors();
    EXPECT_EQ(decoder.Errors(), "");
    return std::filesystem::file_size(pcm) / sizeof(int16_t);
}

TEST_F(CTransferTest, ASpokenSampleIsHeardByEveryPath) {
    const std::string sample = LUMO_SOURCE_DIR "/assets/sample.opus";
    const Words ways[] = {
        {"--path", "relay"}, {"--tcp", "--path", "relay"}, {"--near", "127.0.0.2"}, {"--path", "p2p"}, {}};
    CChildProcess relay, near, publisher, subscribers[5];
    StartRelay(relay);
    StartRelay(near, "127.0.0.2");
    Run(publisher, {"publish", "audio", sample, "--mcu", Mcu(), "--channel", "77", "--loop", "--peers", "--json"});
    ASSERT_TRUE(publisher.WaitForText("\"ready\"", kDeadlineMs)) << publisher.Errors();
    for (size_t i = 0; i < 5; ++i) {
        Words words{"subscribe", "audio",     "77", "--mcu", Mcu(),
                    "--json",    "--seconds", "2",  "-o",    Path(std::to_string(i))};
        words.insert(words.end(), ways[i].begin(), ways[i].end());
        Run(subscribers[i], words);
    }
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(ExitOf(subscribers[i]), 0) << i << subscribers[i].Output() << subscribers[i].Errors();
        const nlohmann::json end = LastEvent(subscribers[i]);
        EXPECT_GT(end["packets"], 50) << i << end;
        const char* wanted = i < 3 ? "relay " : i == 3 ? "direct " : "";
        EXPECT_EQ(end["path"].get<std::string>().rfind(wanted, 0), 0) << i << end;
        const double rate = end["bytes"].get<double>() / end["seconds"].get<double>();
        EXPECT_NEAR(end["bytes_per_second"].get<double>(), rate, 1) << i << end;
        EXPECT_EQ(end["lost_percent"] == 0, end["lost"] == 0) << i << end;
        const auto samples = DecodedSamples(Path(std::to_string(i)), Path("pcm" + std::to_string(i)));
        EXPECT_TRUE(samples || std::getenv("LUMO_REQUIRE_ALL") == nullptr) << "ffmpeg is not installed";
        const uint64_t published = end["packets"].get<uint64_t>() + end["lost"].get<uint64_t>();
        if (samples) {
            EXPECT_EQ(*samples, published * kPacketSamples - kPreSkip) << i << end;
        }
    }
    publisher.Signal(SIGINT);
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
}

TEST_F(CTransferTest, AListenerGoesDirectlyWhileThatIsPossible) {
    const std::string sample = LUMO_SOURCE_DIR "/assets/sample.opus";
    CChildProcess relay, publisher, plain, subscriber;
    StartRelay(relay);
    Run(publisher, {"publish", "audio", sample, "--mcu", Mcu(), "--channel", "77", "--loop", "--peers"});
    Run(subscriber, {"subscribe", "audio", "77", "--mcu", Mcu(), "--json"});
    ASSERT_TRUE(subscriber.WaitForText("\"path\":\"direct ", kDeadlineMs)) << subscriber.Output();
    const size_t before = subscriber.Output().size();
    publisher.Signal(SIGKILL);
    Run(plain, {"publish", "audio", sample, "--mcu", Mcu(), "--channel", "77", "--loop"});
    const auto told = [&](const char* key) { return LastEvent(subscriber).value(key, uint64_t{0}); };
    const auto listen = [&](const std::function<bool()>& done) {
        while (subscriber.Running() && !done()) subscriber.Listen(kDeadlineMs);
    };
    listen([&] { return subscriber.Output().find("\"path\":\"relay ", before) != std::string::npos; });
    listen([&] { return told("packets") > 0; });  // the next progress
    listen([&, packets = told("packets")] { return told("packets") > packets; });
    plain.Signal(SIGINT);
    EXPECT_EQ(ExitOf(subscriber), 0) << subscriber.Errors();
    EXPECT_EQ(LastEvent(subscriber)["path"].get<std::string>().rfind("relay ", 0), 0);
}

TEST_F(CTransferTest, StreamsWithoutSoundOrListenersEndAsTheyShould) {
    CChildProcess relay, text, vain, nobody;
    StartRelay(relay);
    Run(text, {"publish", "audio", MakeFile("noise", 5000), "--mcu", Mcu()});
    EXPECT_EQ(ExitOf(text), 1) << text.Output() << text.Errors();
    EXPECT_NE(text.Errors().find("no Ogg Opus file"), std::string::npos) << text.Errors();
    std::ofstream(Path("second"), std::ios::binary) << Content(LUMO_SOURCE_DIR "/assets/sample.opus").substr(0, 4171);
    Run(vain, {"publish", "audio", Path("second"), "--mcu", "127.0.0.1:1"});
    EXPECT_EQ(ExitOf(vain), 3) << vain.Errors();
    Run(nobody, {"subscribe", "audio", "5", "--mcu", Mcu(), "--wait", "0.5"});
    EXPECT_EQ(ExitOf(nobody), 3) << nobody.Errors();
}

}  // namespace
