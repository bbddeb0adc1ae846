// Desktops, where they are not as files.
#include "support/medium_scene.h"

namespace {

class Desktop : public testing::Test, protected CMediumScene {
protected:
    Desktop() : CMediumScene(kDesktop) {}
};

TEST_F(Desktop, UpstreamFramesLeaveAllAtOnce) {
    const CMade receiver = app->Receiver(false, kServer);
    FromServer(Say(Row().sink.connectAck, {SentID(2), kSinkID}));
    for (const char* frame : {"first", "x", "second", "third"}) app->Write(frame);
    std::vector<std::string> expected;
    for (const char* frame : {"first", "second", "third"})
        expected.push_back(
            ToHex(Say(Row().sink.frameAck, {kSinkID}, Framed(frame, static_cast<uint16_t>(expected.size())))));
    EXPECT_EQ(host.TakeSentHex(), expected) << "nothing has been acknowledged";
    host.Run(200, 200);
    EXPECT_EQ(host.TakeSentHex(), expected) << "and the worker repeats them";
}

}  // namespace
