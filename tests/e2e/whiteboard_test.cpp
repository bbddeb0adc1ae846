// An application of a few lines draws with another through real relays.
#include "e2e/transfer_fixture.h"

using e2e::CTransferTest;
using e2e::kDeadlineMs;
using lumo::CChildProcess;

namespace {

TEST_F(CTransferTest, TwoApplicationsShareABoard) {
    const std::string program = LUMO_BUILD_DIR "/tests/embed_whiteboard/embed_whiteboard";
    CChildProcess relay, early, late;
    StartRelay(relay);
    const std::string port = Mcu().substr(Mcu().find(':') + 1);
    ASSERT_TRUE(early.Start({program, "77", port, "good morning", "60"}));
    ASSERT_TRUE(early.WaitForText("connected", kDeadlineMs)) << early.Errors();
    ASSERT_TRUE(late.Start({program, "77", port, "good evening", "60"}));
    EXPECT_TRUE(late.WaitForText("object: good morning", kDeadlineMs)) << late.Output() << relay.Errors();
    EXPECT_TRUE(early.WaitForText("object: good evening", kDeadlineMs)) << early.Output() << relay.Errors();
    CChildProcess other;
    ASSERT_TRUE(other.Start({program, "78", port, "", "2"}));
    EXPECT_EQ(ExitOf(other), 0);
    EXPECT_EQ(other.Output(), "connected\n") << "another board";
}

}  // namespace
