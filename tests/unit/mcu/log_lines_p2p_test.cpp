// Every log line of the peer-to-peer manager and of the receivers that use it, word for word.
#include "log_scene.h"
#include "support/p2p_peer.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace log_lines;

namespace {

constexpr uint32_t kPeerUser = 8;

/// 32 bits of a pointer, as the log shows it.
std::string Memory(const void* pointer) {
    return std::to_string(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)));
}

class CPeerScene : public CScene {
public:
    CPeerScene() : p2p(CreateP2P(user)) { user.item = Item(0x05060708, 1234, 0xc0a80105, 40000); }
    ~CPeerScene() {
        app.ReleaseConnections();
        host.Release();
        p2p->ReleaseConnections();
    }
    void Command(const char* type) {
        CCmdPacket cmd = PeerPacket(type, kPeerUser, item);
        p2p->OnReceivedP2PCmd(cmd);
    }
    std::string Notify() { return Memory(static_cast<IFileReceiverNotify*>(&app)); }
    std::string Client() { return Memory(static_cast<ITcpClient*>(&host.net.LastClient())); }

    CP2PApplication user;
    IP2P* p2p;
    P2PItem item = Item(0x0a000002, 7001, 0xc0a80202, 40000);
};

Lines operator+(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::string kToLan = "SendUdpData(nLen = 5, IP : 192.168.2.2, Port : 40000)";
const std::string kAdd =
    "CMTP2P::AddP2P(UserID : 8, NATIP : 10.0.0.2, NATUDPPort : 7001, LocalIP : 192.168.2.2, LocalUDPPort : 40000, "
    "Upnp : 0).";
const std::string kStart =
    "StartP2PCaller. UserID : 8. LocalNatIp : 5.6.7.8, LocalNatPort : 1234, LocalIp : 192.168.1.5, LocalPort : 40000";
Lines Punch() { return Lines(3, Sent(5)) + Lines(3, kToLan); }
Lines Announced(const std::string& type) {
    return Lines{kAdd} + Punch() +
           Lines{type + ". UserID : 8, NATIP : 10.0.0.2, NATPort : 7001, LocalIP : 192.168.2.2, LocalPort : 40000"};
}

TEST(P2PLogLines, OfTheReflector) {
    CPeerScene s;
    EXPECT_EQ(s.Of([&] { s.p2p->SetSunServer(0x0a000009, 7000); }),
              Lines{"CMTP2P::SetSunServer(IP : 10.0.0.9,Port : 7000)"});
    EXPECT_EQ(s.Of([&] { s.host.Run(1100, 100); }), Lines()) << "what goes there every second is not logged";
    EXPECT_EQ(s.host.TakeSent().size(), 1U);
    EXPECT_EQ(s.Of([&] { s.host.Deliver(Hex("07 01020304 0005")); }), Received(7, 7, "UDP_STUN", {}));
}

TEST(P2PLogLines, OfEveryCommand) {
    CPeerScene s;
    const auto command = [&](const char* type) { return s.Of([&] { s.Command(type); }); };
    EXPECT_EQ(s.Of([&] { s.p2p->StartP2PCaller(8); }), (Lines{"CMTP2P::ResetP2P(UserID : 8)", kStart}));
    EXPECT_EQ(command("P2P_START"), Announced("P2P_START"));
    EXPECT_EQ(command("P2P_START_ACK"), Announced("P2P_START_ACK"));
    EXPECT_EQ(command("P2P_CMD"), Lines{"P2P_CMD. UserID : 8. IsP2PFailed : 0, IsP2PConnected : 0"} + Punch());
    command("P2P_CMD");
    command("P2P_CMD");
    EXPECT_EQ(command("P2P_CMD_ACK"), Lines{"P2P_CMD_ACK. UserID : 8. IsP2PFailed : 1, IsP2PConnected : 0"});
    const std::string connected = "OnP2PConnected. UserID : 8. Ip : 10.0.0.2, Port : 7001";
    EXPECT_EQ(s.Of([&] { s.host.Deliver(Hex("02 08000000")); }),
              Received(2, 5, "UDP_P2P", Lines(3, Sent(5)) + Lines{connected}));
    EXPECT_EQ(s.Of([&] { s.host.Deliver(Hex("03 08000000")); }), Received(3, 5, "UDP_P2P_ACK", {connected}));
    EXPECT_EQ(command("P2P_CMD_ACK"), Lines{"P2P_CMD_ACK. UserID : 8. IsP2PFailed : 0, IsP2PConnected : 1"});
    EXPECT_EQ(command("P2P_FETCH"), Lines{"P2P_FETCH. UserID : 8"});
    EXPECT_EQ(command("P2P_FETCH_ACK"), (Lines{"P2P_FETCH_ACK. UserID : 8", kAdd}));
    EXPECT_EQ(s.Of([&] { s.p2p->Reserved(1); }), Lines());
}

TEST(P2PLogLines, OfTheReceiverOverUdp) {
    CPeerScene s;
    s.Command("P2P_FETCH_ACK");
    IFileReceiver* receiver = nullptr;
    const Lines created = s.Of([&] { receiver = CreateFileReceiverP2P(s.app, 77, kPeerUser); });
    s.host.Deliver(Hex("03 08000000"));
    s.host.TakeSent();
    const auto sentTo = [](const char* to) { return std::string("SendUdpData(nLen = 10, IP : ") + to + ")"; };
    EXPECT_EQ(s.Of([&] { receiver->IsDisconnected(); }),
              (Lines{sentTo("10.0.0.2, Port : 7001"), sentTo("192.168.2.2, Port : 40000")}));
    const uint32_t id = s.LastID(2);
    EXPECT_EQ(created, (Lines{"LocalMCUFile::CreateFileReceiverP2P. ulFileChannelID : 77",
                              "CLocalMCUFile::AddFileReceiver. FileReceiverID : " + std::to_string(id),
                              "CFileReceiverP2P::Connect(UserID : 8)", "CMTP2P::ResetP2P(UserID : 8)"} +
                        Punch() + Lines{kStart}));
    EXPECT_EQ(
        s.Of([&] { s.host.Deliver(Hex("063a") + U32(id) + U32(600)); }),
        Received(6, 10, "UDP_FILE",
                 {"UDP_FILE_SINK_CONNECT_ACK",
                  "CFileReceiverP2P::OnReceivedConnectACK.FileSinkID : 600, IP : 10.0.0.2, Port : 7001 ", Sent(6)}));
    EXPECT_EQ(s.Of([&] { s.app.OnFileChannelData("up..", 4); }),
              (Lines{"CFileReceiverP2P::OnFileChannelData(nLen : 4)", Sent(22)}));
    EXPECT_EQ(s.Of([&] { receiver->ReleaseConnections(); }),
              Lines(3, Sent(6)) + Lines{"CLocalMCUFile::RemoveFileReceiver. FileReceiverID : " + std::to_string(id)});
}

const std::string kPoll = "CFileReceiverP2PTCP::IsDisconnected(void)";

/// The receiver over TCP of a peer, and the lines of its poll.
struct CTcpReceiverScene : CPeerScene {
    CTcpReceiverScene() {
        created = Of([&] { receiver = CreateFileReceiverP2PTCP(app, 77, kPeerUser); });
    }
    ~CTcpReceiverScene() { receiver->ReleaseConnections(); }
    Lines Poll(bool disconnected) {
        return Of([&] { EXPECT_EQ(receiver->IsDisconnected(), disconnected); });
    }
    std::string Validated(const char* type) const {
        return std::string("CFileReceiverP2PTCP::OnTcpClientNotifyValidate(Type : ") + type;
    }
    bool Answer(const std::string& payload) {
        return host.net.LastClient().clientNotify->OnTcpClientNotifyValidate(13, payload.data(),
                                                                             static_cast<int>(payload.size()));
    }
    IFileReceiver* receiver = nullptr;
    Lines created;
};

TEST(P2PLogLines, OfTheReceiverOverTcpAndItsWay) {
    struct Row {
        const char* why;  // of the dial; null: there is no way
        P2PItem peer;
        const char *localIP, *natIP;
    };
    const Row rows[] = {
        {"pMTP2PIP->m_ulNATIP == P2PItem.ulNATIP", Item(0x05060708, 1, 0xc0a80202, 40000), "192.168.2.2", "5.6.7.8"},
        {"pMTP2PIP->m_bUpnp || pMTP2PIP->m_ulNATIP == pMTP2PIP->m_ulLocalIP",
         Item(0x0a000002, 1, 0xc0a80202, 40000, true), "192.168.2.2", "10.0.0.2"},
        {"pMTP2PIP->m_bUpnp || pMTP2PIP->m_ulNATIP == pMTP2PIP->m_ulLocalIP", Item(0x0a000002, 1, 0x0a000002, 40000),
         "10.0.0.2", "10.0.0.2"},
        {nullptr, Item(0x0a000002, 1, 0xc0a80202, 40000), "", ""},
    };
    for (const Row& row : rows) {
        CTcpReceiverScene s;
        EXPECT_EQ(s.created, (Lines{"CreateFileReceiverP2PTCP(FileChannelID : 77, UserID : 8)",
                                    "CLocalMCUFile::CreateFileReceiverP2PTCP. ulFileChannelID : 77",
                                    "CCFileReceiverP2PTCP. ulFileChannelID : 77",
                                    "CFileReceiverP2PTCP::CFileReceiverP2PTCP.Notify memory : " + s.Notify(),
                                    "CFileReceiverP2PTCP::Connect(UserID : 8)", "CMTP2P::FetchMTP2PIP(UserID : 8)"}));
        EXPECT_EQ(s.Poll(false), Lines{kPoll}) << "the addresses have not come";
        s.item = row.peer;
        s.Command("P2P_FETCH_ACK");
        const Lines lines = s.Poll(row.why == nullptr);
        if (!row.why) {
            EXPECT_EQ(lines, (Lines{kPoll, "return true;"}));
            continue;
        }
        EXPECT_EQ(lines, (Lines{kPoll, std::string(row.why) + ".pMTP2PIP->m_pITcpClient memory : " + s.Client() +
                                           ".LocalIp = 192.168.1.5, LocalNatIp = 5.6.7.8, UserLocalIp = " +
                                           row.localIP + ", UserNatIp = " + row.natIP + "."}));
        EXPECT_EQ(s.host.net.LastClient().dialledHost, std::string(row.natIP) == "5.6.7.8" ? row.localIP : row.natIP);
        EXPECT_EQ(s.host.net.LastClient().dialledPort, 40000);
        EXPECT_EQ(s.host.net.LastClient().proxy, "0  0  ");
        EXPECT_EQ(s.Poll(false), Lines{kPoll});
    }
}

TEST(P2PLogLines, OfAnAnswerOverTcp) {
    CTcpReceiverScene s;
    s.item = Item(0x0a000002, 1, 0x0a000002, 40000);
    s.Command("P2P_FETCH_ACK");
    s.Poll(false);
    CFakeTcp& tcp = s.host.net.LastClient();
    EXPECT_EQ(s.Of([&] { tcp.clientNotify->OnTcpClientNotifyConnected(); }), Lines());
    EXPECT_EQ(ToHex(tcp.TakeSent().at(0).bytes), "0000000d000000040000004d");
    const auto ids = [](uint32_t received) {
        return "CFileReceiverP2PTCP::OnTcpClientNotifyValidate.LocalFileChannelID : 77. FileChannelID : " +
               std::to_string(received) + ". m_pITcpClient is not null.";
    };
    EXPECT_EQ(s.Of([&] { EXPECT_FALSE(s.Answer("abc")); }), Lines{s.Validated("13, Len : 3)")});
    EXPECT_EQ(s.Of([&] { EXPECT_FALSE(s.Answer(U32(78))); }),
              (Lines{s.Validated("13, Len : 4)"), ids(78), "ulFileChannelID != GetFileChannelID()"}));
    const std::string memory = "Notify memory : " + s.Notify() + ". m_pITcpClient memory : " + s.Client();
    EXPECT_EQ(
        s.Of([&] { EXPECT_TRUE(s.Answer(U32(77))); }),
        (Lines{s.Validated("13, Len : 4)"), ids(77), memory, "CFileReceiverP2PTCP::OnTcpClientNotifyValidate end"}));
    EXPECT_EQ(s.Of([&] { tcp.clientNotify->OnTcpClientNotifyReceivedFrame("abc", 3); }),
              Lines{"tcp-mcu. recv file data. nLen = 3"});
    EXPECT_EQ(s.Of([&] { s.app.OnFileChannelData("up", 2); }), Lines()) << "upstream data is not logged";
    EXPECT_EQ(tcp.TakeSent().back().bytes, "up");
}

TEST(P2PLogLines, OfAnApplicationThatThrowsWhenItIsTold) {
    class CThrowing : public CApplication {
    public:
        void OnFileReceiverNotifyConnected(unsigned long ip) override {
            ips.push_back(ip);
            if (ip != 0) throw std::runtime_error("connected");
        }
        std::vector<unsigned long> ips;
    } throwing;
    CPeerScene s;
    s.item = Item(0x0a000002, 1, 0x0a000002, 40000);
    s.Command("P2P_FETCH_ACK");
    IFileReceiver* receiver = CreateFileReceiverP2PTCP(throwing, 77, kPeerUser);
    receiver->IsDisconnected();
    const Lines lines = s.Of(
        [&] { EXPECT_TRUE(s.host.net.LastClient().clientNotify->OnTcpClientNotifyValidate(13, U32(77).data(), 4)); });
    EXPECT_EQ(lines.back(),
              "CFileReceiverP2PTCP::OnTcpClientNotifyValidate.__except (MyUnhandledFilter(GetExceptionInformation()))");
    EXPECT_EQ(throwing.ips, (std::vector<unsigned long>{0x7f000001, 0}));
    receiver->ReleaseConnections();
    throwing.ReleaseConnections();
}

}  // namespace
