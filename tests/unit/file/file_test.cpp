// Files: how much waits for subscribers, and who of them gives way. What is in the table of media is in tests/sim.
#include "file/local_mcu_file.h"

#include "link/bounds/limits.h"
#include "support/medium_scene.h"

namespace {

class File : public testing::Test, protected CMediumScene {
protected:
    File() : CMediumScene(kFile) {}
};

// Anybody may subscribe as often as he likes and read nothing: that takes from his own address alone.
TEST_F(File, TheMoreSinksAnAddressHasTheLessMayWaitAtEach) {
    constexpr uint32_t kOther = 0x0a000003;
    const auto lag = [&](int frames) {
        for (int i = 0; i < frames; ++i) app->Write(std::string(8 << 20, 'x'));
        host.Run(1001, 1001);
    };
    const auto idle = kFile.make(78);
    ValidatedSink(0);
    lag(4);
    EXPECT_EQ(app->SinkCount(), 1U) << "alone it has time";
    for (uint32_t i = 1; i < 128; ++i) ValidatedSink(i, 78, kOther);
    for (uint32_t i = 128; i < 168; ++i) ConnectSink(i, 78);  // who only says so takes nothing
    host.Run(1001, 1001);
    EXPECT_EQ(app->SinkCount(), 1U) << "others have their own quota";
    for (uint32_t i = 200; i < 300; ++i) ValidatedSink(i, 78);
    host.Run(2002, 1001);
    EXPECT_EQ(app->SinkCount(), 0U) << "one that came earlier shares, too";
    ValidatedSink(0);
    lag(3);
    EXPECT_EQ(app->SinkCount(), 0U);
}

TEST_F(File, AnUnvalidatedSinkGetsOneWindowAndNothingMore) {
    const uint32_t sink = ConnectSink(5);
    const auto packets = [&] {
        size_t count = 0;
        for (const CSentDatagram& one : host.TakeSent()) count += one.bytes.starts_with(Say(Row().sink.frame, {}));
        return count;
    };
    app->Write("short");
    host.Run(900);
    EXPECT_EQ(packets(), 3U) << "what is lost is repeated";
    app->Write(std::string(300000, 'x'));
    host.Run(179000, 10);
    EXPECT_EQ(packets(), 157U);
    host.Deliver(Say(Row().sink.keepAlive, {sink}), CTestHost::kPeerIP, 1);
    host.Run(100);
    EXPECT_EQ(packets(), 0U) << "a datagram from elsewhere shows nothing";
    host.Deliver(Say(Row().sink.keepAlive, {sink}));
    host.Run(1001);
    EXPECT_GT(packets(), 0U);
}

TEST_F(File, TheOldestUnvalidatedSinkGivesWay) {
    const auto count = [] { return GetLocalMCUFile()->Tables().sinks.Size(); };
    const uint32_t validated = ValidatedSink(1);
    for (uint32_t i = 0; i < 10 * limits::kUnvalidatedPerAddress; ++i) ConnectSink(100 + i);
    EXPECT_EQ(count(), 1 + limits::kUnvalidatedPerAddress);
    for (uint32_t i = 0; i < 2 * limits::kMaxUnvalidated; ++i) ConnectSink(10000 + i, kChannelID, 0x0b000000 + i);
    EXPECT_EQ(count(), 1 + limits::kMaxUnvalidated);
    for (uint32_t i = 0; i < limits::kMaxSinks; ++i) ValidatedSink(20000 + i);
    EXPECT_EQ(count(), limits::kMaxSinks);
    EXPECT_EQ(ConnectSink(99999), 0U) << "a table full of those who are there answers nobody new";
    EXPECT_EQ(ConnectSink(1), validated) << "those who are in are answered";
    EXPECT_FALSE(Serve(Row().tcp.receiver, session_wire::U32(kChannelID)));
}

}  // namespace
