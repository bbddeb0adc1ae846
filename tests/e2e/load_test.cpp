// Many subscribers of one publisher by way of real relay servers.
#include "e2e/transfer_fixture.h"

using e2e::CTransferTest;
using lumo::CChildProcess;

namespace {

using Words = std::vector<std::string>;

TEST_F(CTransferTest, ALoadReachesEverySubscriberByEveryWay) {
    CChildProcess relay, near, nobody, vain;
    StartRelay(relay);
    StartRelay(near, "127.0.0.2");
    const struct {
        const char* medium;
        int subscribers, frames;
    } rows[] = {{"audio", 40, 50}, {"video", 10, 30}, {"desktop", 20, 10}};
    for (const auto& row : rows) {
        CChildProcess loads[3];
        const Words ways[] = {{}, {"--tcp"}, {"--near", "127.0.0.2"}};
        for (size_t i = 0; i < 3; ++i) {
            Words words{"load", row.medium, "--mcu", Mcu(), "--subscribers", std::to_string(row.subscribers)};
            words.insert(words.end(), {"--seconds", "1", "--json"});
            words.insert(words.end(), ways[i].begin(), ways[i].end());
            Run(loads[i], words);
        }
        for (CChildProcess& load : loads) {
            EXPECT_EQ(ExitOf(load), 0) << load.Errors();
            const nlohmann::json end = LastEvent(load);
            EXPECT_EQ(end["medium"], row.medium);
            EXPECT_EQ(end["arrived"], row.subscribers * row.frames) << end;
            EXPECT_EQ(end["lost"], 0) << end;
            EXPECT_GT(end["delay_p50_ms"], 0) << end;
        }
    }
    Run(nobody, {"load", "audio", "--mcu", Mcu("127.0.0.3"), "--subscribers", "1", "--wait", "0.3"});
    EXPECT_EQ(ExitOf(nobody), 3) << nobody.Errors();
    for (const char* const bytes : {"18", "4194308"}) {
        Run(vain, {"load", "video", "--mcu", Mcu(), "--key-bytes", bytes});
        EXPECT_EQ(ExitOf(vain), 2) << bytes;
        vain.Stop();
    }
}

}  // namespace
