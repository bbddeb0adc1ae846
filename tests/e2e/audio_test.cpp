// A spoken sample between real processes.
#include "e2e/transfer_fixture.h"

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;

namespace {

using Words = std::vector<std::string>;

TEST_F(CTransferTest, ASpokenSampleIsHeardByEveryPath) {
    const std::string sample = LUMO_SOURCE_DIR "/assets/sample.opus";
    const Words ways[] = {{}, {"--tcp"}, {"--near", "127.0.0.2"}, {"--path", "p2p"}};
    CChildProcess relay, near, publisher, subscribers[4];
    StartRelay(relay);
    StartRelay(near, "127.0.0.2");
    Run(publisher, {"publish", "audio", sample, "--mcu", Mcu(), "--channel", "77", "--loop", "--peers", "--json"});
    ASSERT_TRUE(publisher.WaitForText("\"ready\"", kDeadlineMs)) << publisher.Errors();
    for (size_t i = 0; i < 4; ++i) {
        Words words{"subscribe", "audio",     "77", "--mcu", Mcu(),
                    "--json",    "--seconds", "2",  "-o",    Path(std::to_string(i))};
        words.insert(words.end(), ways[i].begin(), ways[i].end());
        Run(subscribers[i], words);
    }
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(ExitOf(subscribers[i]), 0) << i << subscribers[i].Output() << subscribers[i].Errors();
        const nlohmann::json end = LastEvent(subscribers[i]);
        EXPECT_GT(end["packets"], 50) << i << end;
        EXPECT_EQ(Content(Path(std::to_string(i))).substr(0, 4), "OggS");
    }
    publisher.Signal(SIGINT);
    EXPECT_EQ(ExitOf(publisher), 0) << publisher.Errors();
}

TEST_F(CTransferTest, StreamsWithoutSoundOrListenersEndAsTheyShould) {
    CChildProcess relay, text, nobody;
    StartRelay(relay);
    Run(text, {"publish", "audio", MakeFile("noise", 5000), "--mcu", Mcu()});
    EXPECT_EQ(ExitOf(text), 1) << text.Output() << text.Errors();
    EXPECT_NE(text.Errors().find("no Ogg Opus file"), std::string::npos) << text.Errors();
    Run(nobody, {"subscribe", "audio", "5", "--mcu", Mcu(), "--wait", "0.5"});
    EXPECT_EQ(ExitOf(nobody), 3) << nobody.Errors();
}

}  // namespace
