// Every log line of the manager, of files and of the peer-to-peer manager, word for word: log_lines.txt has them, step
// by step. Other media log what comes and goes and nothing else; tests/sim compares that.
#include "lumomedia/file.h"
#include "support/log_capture.h"
#include "support/medium_scene.h"
#include "support/p2p_peer.h"

#include <fstream>
#include <stdexcept>

using session_wire::U32;

namespace {

const CMcuAddress kPeerServer{{CTestHost::kPeerIP, 0, 0}, CTestHost::kPeerPort};

/// Reads a story's lines out of the file.
std::string Golden(const std::string& story) {
    std::ifstream file(LUMO_SOURCE_DIR "/tests/unit/mcu/log_lines.txt");
    std::string lines;
    bool inside = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("== "))
            inside = line == "== " + story;
        else if (inside && !line.empty())
            lines += line + "\n";
    }
    return lines;
}

class LogLines : public testing::Test, protected CMediumScene {
protected:
    LogLines() : CMediumScene(kFile) {}
    void TearDown() override {
        EXPECT_EQ(m_story, Golden(testing::UnitTest::GetInstance()->current_test_info()->name()));
    }
    /// A step of the story, with the lines that it logs.
    template <class Action>
    void Step(const std::string& name, Action action) {
        log.Clear();
        action();
        m_story += "- " + name + "\n";
        for (const std::string& line : log.Lines()) m_story += "\"" + line + "\"\n";
    }
    /// The story has `word` for a number behind this text, which is another one each time.
    void Call(uint32_t number, const std::string& behind, const std::string& word) {
        const std::string written = behind + std::to_string(number);
        for (size_t at = 0; (at = m_story.find(written, at)) != std::string::npos;)
            m_story.replace(at, written.size(), behind + word);
    }
    /// 32 bits of a pointer, as the log shows it.
    static uint32_t Memory(const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }

    CLogCapture log;

private:
    std::string m_story;
};

TEST_F(LogLines, OfTheManager) {
    Step("datagrams of one byte", [&] {
        for (const char kind : {'\0', '\1', '\2', '\3', '\4', '\5', '\6', '\7', '\x9'})
            host.Deliver(std::string(1, kind));
    });
    host.Release();
    ILocalMcuMgr* manager = nullptr;
    Step("made", [&] { manager = CreateLocalMcuMgr(5000); });
    ASSERT_TRUE(manager);
    EXPECT_EQ(manager->GetLocalPort(), 40000) << "the endpoint's port, not the one in the log";
    manager->ReleaseConnections();
}

TEST_F(LogLines, OfSinks) {
    Step("connect", [&] { host.Deliver(Request(5)); });
    const uint32_t sink = SentID(6);
    Step("keep-alive", [&] { host.Deliver(Say(Row().sink.keepAlive, {sink})); });
    Step("frame up", [&] { host.Deliver(Say(Row().sink.frameAck, {sink}, session_wire::Data(0, "up"))); });
    Step("frame down", [&] { app->Write("down"); });
    Step("disconnect", [&] { host.Deliver(Say(Row().sink.disconnect, {sink})); });
    ASSERT_TRUE(Serve(Row().tcp.receiver, U32(kChannelID)));
    Step("frame up over TCP",
         [&] { host.net.sessions.back()->sessionNotify->OnTcpSessionNotifyReceivedFrame("abc", 3); });
}

TEST_F(LogLines, OfSenders) {
    CMade sender = app->Sender(false, kPeerServer);
    const uint32_t key = SentID(6);
    Step("acknowledged", [&] { host.Deliver(Say(Row().source.connectAck, {key, kSourceID, 0})); });
    Step("keep-alive", [&] { host.Deliver(Say(Row().source.keepAlive, {key})); });
    Step("acknowledgement", [&] { host.Deliver(Say(Row().source.frameAck, {key}, session_wire::Ack(0))); });
    Step("released", [&] { sender.Release(); });
    Step("made over TCP", [&] { sender = app->Sender(true, kPeerServer); });
    CFakeTcp& client = host.net.LastClient();
    Step("connected", [&] { client.clientNotify->OnTcpClientNotifyConnected(); });
    for (const std::string& answer : {std::string("abc"), U32(0), U32(78)})
        Step("answered " + ToHex(answer), [&] { Answer(client, Row().tcp.sender, answer); });
    client.lost = true;
    Step("lost", [&] { EXPECT_TRUE(sender.IsDisconnected()); });
    Step("without a port", [&] { EXPECT_FALSE(app->Sender(true, {{CTestHost::kPeerIP, 0, 0}, 0})); });
    app->asksFor = 78;
    Step("without a channel", [&] { EXPECT_FALSE(app->Sender(true, kPeerServer)); });
}

TEST_F(LogLines, OfReceivers) {
    CMade receiver;
    Step("made", [&] { receiver = app->Receiver(false, kPeerServer); });
    const uint32_t id = SentID(2);
    Step("acknowledged", [&] { host.Deliver(Say(Row().sink.connectAck, {id, kSinkID})); });
    Step("keep-alive", [&] { host.Deliver(Say(Row().sink.keepAliveAck, {id, kSinkID})); });
    Step("frame down", [&] { host.Deliver(Say(Row().sink.frame, {id, kSinkID}, session_wire::Data(0, "down"))); });
    Step("frame up", [&] { app->Write("up.."); });
    Step("released", [&] { receiver.Release(); });
    Step("made over TCP", [&] { receiver = app->Receiver(true, kPeerServer, {{0x0a000003, 0, 0}, 7002}); });
    CFakeTcp& client = host.net.LastClient();
    Step("connected", [&] { client.clientNotify->OnTcpClientNotifyConnected(); });
    Step("answered", [&] { EXPECT_TRUE(Answer(client, Row().tcp.receiver, U32(kChannelID))); });
    Step("frame down", [&] { Arrive(client, "abc"); });
    Step("frame up", [&] { app->Write("up"); });
    Call(id, "FileReceiverID : ", "ID");
}

class PeerLogLines : public LogLines {
protected:
    PeerLogLines() { user.item = Item(0x05060708, 1234, 0xc0a80105, 40000); }
    ~PeerLogLines() override { p2p->ReleaseConnections(); }
    void Command(const char* type, uint32_t from = 8) {
        CCmdPacket command = PeerPacket(type, from, item);
        p2p->OnReceivedP2PCmd(command);
    }

    CP2PApplication user;
    IP2P* const p2p = CreateP2P(user);
    P2PItem item = Item(CTestHost::kPeerIP, CTestHost::kPeerPort, 0xc0a80202, 40000);
    IFileReceiverNotify& notify = dynamic_cast<IFileReceiverNotify&>(app->As<CFileChannel>());
};

TEST_F(PeerLogLines, OfCommands) {
    Step("a reflector is named", [&] { p2p->SetSunServer(0x0a000009, 7000); });
    host.TakeSent();
    Step("and asked every second", [&] { host.Run(1100, 100); });
    EXPECT_EQ(host.TakeSent().size(), 1U);
    Step("and answers", [&] { host.Deliver(Hex("07 01020304 0005")); });
    Step("a call", [&] { p2p->StartP2PCaller(8); });
    for (const char* type : {"P2P_START", "P2P_START_ACK", "P2P_CMD", "P2P_CMD", "P2P_CMD", "P2P_CMD_ACK"})
        Step(type, [&] { Command(type); });
    Step("a probe", [&] { host.Deliver(Hex("02 08000000")); });
    Step("its answer", [&] { host.Deliver(Hex("03 08000000")); });
    for (const char* type : {"P2P_CMD_ACK", "P2P_FETCH", "P2P_FETCH_ACK"}) Step(type, [&] { Command(type); });
    Step("what is reserved", [&] { p2p->Reserved(1); });
}

TEST_F(PeerLogLines, OfAReceiverOverUdp) {
    Command("P2P_FETCH_ACK");
    CMade receiver;
    Step("made", [&] { receiver = app->PeerReceiver(false); });
    host.Deliver(Hex("03 08000000"));
    host.TakeSent();
    Step("polled", [&] { receiver.IsDisconnected(); });
    const uint32_t id = SentID(2);
    Step("acknowledged", [&] { host.Deliver(Say(Row().sink.connectAck, {id, kSinkID})); });
    Step("frame up", [&] { app->Write("up.."); });
    Step("released", [&] { receiver.Release(); });
    Call(id, "FileReceiverID : ", "ID");
}

TEST_F(PeerLogLines, OfReceiversOverTcpAndTheirWays) {
    const struct {
        const char* what;
        P2PItem peer;
        const char* dials;  // null: there is no way
    } ways[] = {
        {"behind the same NAT", Item(0x05060708, 1, 0xc0a80202, 40000), "192.168.2.2"},
        {"with a mapped port", Item(CTestHost::kPeerIP, 1, 0xc0a80202, 40000, true), "10.0.0.2"},
        {"without a NAT", Item(CTestHost::kPeerIP, 1, CTestHost::kPeerIP, 40000), "10.0.0.2"},
        {"behind another", Item(CTestHost::kPeerIP, 1, 0xc0a80202, 40000), nullptr},
    };
    for (uint32_t from = 8; const auto& way : ways) {
        IFileReceiver* receiver = nullptr;
        Step("made", [&] { receiver = CreateFileReceiverP2PTCP(notify, kChannelID, from); });
        Step("polled before the addresses have come", [&] { EXPECT_FALSE(receiver->IsDisconnected()); });
        item = way.peer;
        Command("P2P_FETCH_ACK", from);
        Step(way.what, [&] { EXPECT_EQ(receiver->IsDisconnected(), way.dials == nullptr); });
        if (way.dials) {
            const CFakeTcp& client = host.net.LastClient();
            EXPECT_EQ(client.dialledHost, way.dials);
            EXPECT_EQ(client.dialledPort, 40000);
            EXPECT_EQ(client.proxy, "0  0  ");
            Step("polled again", [&] { EXPECT_FALSE(receiver->IsDisconnected()); });
            Call(Memory(static_cast<const ITcpClient*>(&client)), "m_pITcpClient memory : ", "CLIENT");
        }
        receiver->ReleaseConnections();
        ++from;
    }
    Call(Memory(&notify), "Notify memory : ", "NOTIFY");
}

TEST_F(PeerLogLines, OfAnswersOverTcp) {
    item = Item(CTestHost::kPeerIP, 1, CTestHost::kPeerIP, 40000);
    Command("P2P_FETCH_ACK");
    CMade receiver = app->PeerReceiver(true);
    receiver.IsDisconnected();
    CFakeTcp& client = host.net.LastClient();
    Step("connected", [&] { client.clientNotify->OnTcpClientNotifyConnected(); });
    for (const std::string& answer : {std::string("abc"), U32(78), U32(kChannelID)})
        Step("answered " + ToHex(answer), [&] { Answer(client, Row().tcp.receiver, answer); });
    Step("frame down", [&] { Arrive(client, "abc"); });
    Step("frame up", [&] { app->Write("up"); });
    int told = 0;
    CMediumApp::whenConnected = [&] {
        if (++told == 1) throw std::runtime_error("connected");
    };
    Step("answered once more, and the application throws",
         [&] { EXPECT_TRUE(Answer(client, Row().tcp.receiver, U32(kChannelID))); });
    CMediumApp::whenConnected = nullptr;
    EXPECT_EQ(told, 2) << "and is told 0 then";
    Call(Memory(&notify), "Notify memory : ", "NOTIFY");
    Call(Memory(static_cast<ITcpClient*>(&client)), "m_pITcpClient memory : ", "CLIENT");
}

}  // namespace
