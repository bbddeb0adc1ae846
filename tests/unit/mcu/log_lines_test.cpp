// Every log line of the manager and of the file medium towards servers, word for word.
#include "log_scene.h"

#include <gtest/gtest.h>

using namespace log_lines;

namespace {

std::vector<LogRow> ManagerRows() {
    return {
        {"Connect",
         [](CScene& s, Lines& expected, Lines& seen) {
             s.host.Release();
             expected = {"CLocalMCUManager::Connect(ulUDPPort : 5000)", "CreateUdpClient success. Port : 5000",
                         "CreateTcpServer success. Port : 5000"};
             ILocalMcuMgr* manager = nullptr;
             seen = s.Of([&] { manager = CreateLocalMcuMgr(5000); });
             ASSERT_TRUE(manager);
             EXPECT_EQ(manager->GetLocalPort(), 40000) << "the endpoint's port, not the one in the log";
             manager->ReleaseConnections();
         }},
        {"Kinds",
         [](CScene& s, Lines& expected, Lines& seen) {
             const Lines names{"UDP_AUDIO", "UDP_VIDEO", "UDP_P2P", "UDP_P2P_ACK", "UDP_WB", "UDP_DESKTOP"};
             for (size_t kind = 0; kind < names.size(); ++kind)
                 for (const std::string& line : Received(static_cast<int>(kind), 1, names[kind], {}))
                     expected.push_back(line);
             for (const std::string& line : Received(6, 1, "UDP_FILE", {})) expected.push_back(line);
             for (const std::string& line : Received(7, 1, "UDP_STUN", {})) expected.push_back(line);
             expected.emplace_back(
                 "CLocalMCUManager::OnUdpClientNotifyReceivedFrame. CMD : 9, Len : 1, IP : 10.0.0.2, Port : 7001");
             seen = s.Of([&] {
                 for (char kind : {'\0', '\1', '\2', '\3', '\4', '\5', '\6', '\7', '\x9'})
                     s.host.Deliver(std::string(1, kind));
             });
         }},
    };
}

std::vector<LogRow> SinkRows() {
    return {
        {"SinkConnect",
         [](CScene& s, Lines& expected, Lines& seen) {
             expected = Received(
                 6, 10, "UDP_FILE",
                 {"UDP_FILE_SINK_CONNECT", "CFileSinkUDP::OnReceivedConnect(void). connect udp", Sent(10), Sent(10)});
             seen = s.Of([&] { s.host.Deliver(Hex("0639") + U32(5) + U32(77)); });
         }},
        {"SinkKeepAlive",
         [](CScene& s, Lines& expected, Lines& seen) {
             const uint32_t sink = s.ConnectSink();
             expected = Received(6, 6, "UDP_FILE", {"UDP_FILE_SINK_KEEP_ALIVE", Sent(10), Sent(10)});
             seen = s.Of([&] { s.host.Deliver(Hex("063b") + U32(sink)); });
         }},
        {"SinkUpstreamFrame",
         [](CScene& s, Lines& expected, Lines& seen) {
             const uint32_t sink = s.ConnectSink();
             expected = Received(
                 6, 20, "UDP_FILE",
                 {"UDP_FILE_SINK_FRAME_ACK", "CFileSinkUDP::OnTcpSessionNotifyReceivedFrame. nLen : 2", Sent(22)});
             seen = s.Of([&] { s.host.Deliver(Hex("063e") + U32(sink) + session_wire::Data(0, "up")); });
         }},
        {"SinkDownFrame",
         [](CScene& s, Lines& expected, Lines& seen) {
             s.ConnectSink();
             expected = {"CFileSinkUDP::OnFileChannelData", Sent(26)};
             seen = s.Of([&] { s.app.OnFileChannelData("down", 4); });
         }},
        {"SinkDisconnect",
         [](CScene& s, Lines& expected, Lines& seen) {
             const uint32_t sink = s.ConnectSink();
             expected = Received(6, 6, "UDP_FILE", {"UDP_FILE_SINK_DISCONNECT"});
             seen = s.Of([&] { s.host.Deliver(Hex("063f") + U32(sink)); });
         }},
        {"SinkTcpFrame",
         [](CScene& s, Lines& expected, Lines& seen) {
             CFakeTcp& session = s.host.net.NewSession();
             ASSERT_TRUE(s.host.net.TcpServer().Validate(&session, 13, U32(77)));
             expected = {"CFileSinkTCP::OnTcpSessionNotifyReceivedFrame. nLen : 3"};
             seen = s.Of([&] { session.sessionNotify->OnTcpSessionNotifyReceivedFrame("abc", 3); });
         }},
    };
}

std::vector<LogRow> SenderRows() {
    return {
        {"SenderUDP",
         [](CScene& s, Lines& expected, Lines& seen) {
             IFileSender* sender = s.app.SenderUDP();
             const uint32_t key = s.LastID(6);
             expected =
                 Received(6, 14, "UDP_FILE",
                          {"UDP_FILE_SOURCE_CONNECT_ACK",
                           "CFileSenderUDP::OnReceivedConnectACK(ulFileSourceID : 500, IP : 10.0.0.2, Port : 7001)"});
             Lines keepAlive = Received(6, 6, "UDP_FILE", {"UDP_FILE_SOURCE_KEEP_ALIVE", Sent(6)});
             expected.insert(expected.end(), keepAlive.begin(), keepAlive.end());
             Lines frame = Received(6, 18, "UDP_FILE", {"UDP_FILE_SOURCE_FRAME_ACK"});
             expected.insert(expected.end(), frame.begin(), frame.end());
             Lines goodbye{" CFileSenderUDP::SendFileSourceClose", Sent(6), Sent(6), Sent(6)};
             expected.insert(expected.end(), goodbye.begin(), goodbye.end());
             seen = s.Of([&] {
                 s.host.Deliver(Hex("0641") + U32(key) + U32(500) + U32(0));
                 s.host.Deliver(Hex("0644") + U32(key));
                 s.host.Deliver(Hex("0643") + U32(key) + session_wire::Ack(0));
                 sender->ReleaseConnections();
             });
         }},
        {"SenderTCP",
         [](CScene& s, Lines& expected, Lines& seen) {
             expected = {"CLocalMCUFile::CreateFileSenderTCP",
                         "pFileSender is not null",
                         "pFileSenderTCP is not null",
                         "CFileSenderTCP::Connect(MCUIP0 : 10.0.0.2, Port : 7001)",
                         "CreateTcpClient(MCUIP0 : 10.0.0.2, Port : 7001)",
                         "CFileSenderTCP::OnTcpClientNotifyConnected. connected success",
                         "CFileSenderTCP::OnTcpClientNotifyValidate. pData is null. Disconnect",
                         "CFileSenderTCP::OnTcpClientNotifyValidate. m_ulFileChannelID is 0. Disconnect",
                         "CFileSenderTCP::OnTcpClientNotifyValidate(FileChannelID : 78)",
                         "CFileSenderTCP::IsDisconnected() is disconnected"};
             IFileSender* sender = nullptr;
             seen = s.Of([&] {
                 sender = s.app.SenderTCP();
                 CFakeTcp& client = s.host.net.LastClient();
                 client.clientNotify->OnTcpClientNotifyConnected();
                 EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(12, "abc", 3));
                 EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(12, U32(0).data(), 4));
                 EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(12, U32(78).data(), 4));
                 client.lost = true;
                 EXPECT_TRUE(sender->IsDisconnected());
             });
             sender->ReleaseConnections();
         }},
        {"SenderTCPRefused",
         [](CScene& s, Lines& expected, Lines& seen) {
             expected = {"CLocalMCUFile::CreateFileSenderTCP", "pFileSender is null",
                         "CLocalMCUFile::CreateFileSenderTCP", "pFileSender is not null",
                         "pFileSenderTCP is not null",         "CFileSenderTCP::Connect(MCUIP0 : 10.0.0.2, Port : 0)"};
             seen = s.Of([&] {
                 EXPECT_EQ(s.app.SenderTCP(78), nullptr);
                 EXPECT_EQ(s.app.SenderTCP(77, 0), nullptr);
             });
             EXPECT_EQ(s.app.GetFileSinkCount(), 0U);
         }},
    };
}

std::vector<LogRow> ReceiverRows() {
    return {
        {"ReceiverUDP",
         [](CScene& s, Lines& expected, Lines& seen) {
             IFileReceiver* receiver = nullptr;
             Lines created = s.Of([&] { receiver = s.app.ReceiverUDP(); });
             const uint32_t id = s.LastID(2);
             const std::string text = std::to_string(id);
             EXPECT_EQ(created, (Lines{"CLocalMCUFile::AddFileReceiver. FileReceiverID : " + text, Sent(22)}));
             expected = Received(
                 6, 10, "UDP_FILE",
                 {"UDP_FILE_SINK_CONNECT_ACK",
                  "CFileReceiverUDP::OnReceivedConnectACK. ulFileSinkID : 600, Ip : 10.0.0.2, Port : 7001", Sent(6)});
             Lines keepAlive = Received(6, 10, "UDP_FILE", {"UDP_FILE_SINK_KEEP_ALIVE_ACK"});
             expected.insert(expected.end(), keepAlive.begin(), keepAlive.end());
             Lines frame = Received(6, 26, "UDP_FILE", {"UDP_FILE_SINK_FRAME", Sent(18)});
             expected.insert(expected.end(), frame.begin(), frame.end());
             Lines rest{"CFileReceiverUDP::OnFileChannelData(nLen : 4)",
                        Sent(22),
                        Sent(6),
                        Sent(6),
                        Sent(6),
                        "CLocalMCUFile::RemoveFileReceiver. FileReceiverID : " + text};
             expected.insert(expected.end(), rest.begin(), rest.end());
             seen = s.Of([&] {
                 s.host.Deliver(Hex("063a") + U32(id) + U32(600));
                 s.host.Deliver(Hex("063c") + U32(id) + U32(600));
                 s.host.Deliver(Hex("063d") + U32(id) + U32(600) + session_wire::Data(0, "down"));
                 s.app.OnFileChannelData("up..", 4);
                 receiver->ReleaseConnections();
             });
         }},
        {"ReceiverTCP",
         [](CScene& s, Lines& expected, Lines& seen) {
             expected = {
                 "create tcp-mcu receiver tcp. PeerMCUIP0 : 10.0.0.2, PeerMCUPort : 7001, LocalMCUIP0 : "
                 "10.0.0.3, LocalMCUPort : 7002",
                 "tcp-mcu connect success", "tcp-mcu. OnTcpClientNotifyValidate(Type : 13, Len : 4)",
                 "tcp-mcu. recv file data. nLen = 3", "tcp-mcu. send file data. nLen = 2"};
             IFileReceiver* receiver = nullptr;
             seen = s.Of([&] {
                 receiver = s.app.ReceiverTCP();
                 ITcpClientNotify* client = s.host.net.LastClient().clientNotify;
                 client->OnTcpClientNotifyConnected();
                 EXPECT_TRUE(client->OnTcpClientNotifyValidate(13, U32(77).data(), 4));
                 EXPECT_TRUE(client->OnTcpClientNotifyReceivedFrame("abc", 3));
                 s.app.OnFileChannelData("up", 2);
             });
             receiver->ReleaseConnections();
         }},
    };
}

std::vector<LogRow> AllRows() {
    std::vector<LogRow> rows;
    for (auto& part : {ManagerRows(), SinkRows(), SenderRows(), ReceiverRows()})
        rows.insert(rows.end(), part.begin(), part.end());
    return rows;
}

class LogLines : public testing::TestWithParam<LogRow> {};

TEST_P(LogLines, AreWordForWord) {
    CScene scene;
    Lines expected, seen;
    GetParam().run(scene, expected, seen);
    EXPECT_EQ(seen, expected);
    scene.app.ReleaseConnections();
}

INSTANTIATE_TEST_SUITE_P(All, LogLines, testing::ValuesIn(AllRows()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
