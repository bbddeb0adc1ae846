// Command packets and datagrams of peers into a peer-to-peer manager, with receivers that wait for a way.
//
// A record whose first byte is a digit is a command packet of the user of that number, as the signalling channel
// carries it; any other is a datagram.
#include "lumomedia/file.h"
#include "support/p2p_peer.h"
#include "support/records.h"
#include "support/target.h"
#include "support/test_manager.h"

#include <cstdlib>

namespace fuzz::p2p_command {

void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("p2p_command",
                     {"P2P_START", "P2P_START_ACK", "P2P_CMD", "P2P_CMD_ACK", "P2P_FETCH", "P2P_FETCH_ACK", "probes",
                      "probe answered", "public address", "connected", "failed", "refused", "receiver asks",
                      "receiver dials"},
                     TakeInput);

class CChannel : public CFileChannel, public IFileReceiverNotify {
public:
    CChannel() : CFileChannel(77) { Connect(); }
    void OnFileSinkData(const void*, int) override {}
    void OnFileReceiverNotifyData(const char*, int) override {}
    void OnFileReceiverNotifyConnected(unsigned long) override {}
};

class CUser : public CP2PApplication {
public:
    void OnP2PNotifyNATAddress(unsigned long, unsigned short) override { g_target.Hit("public address"); }
};

/// Sees what leaves; an address that no peer can have is a fault.
void Judge(CTestHost& host) {
    size_t probes = 0;
    for (const CSentDatagram& one : host.TakeSent()) {
        const uint32_t first = one.ip >> 24;
        if (first == 0 || first == 127 || first >= 224 || one.port == 0) std::abort();
        probes += one.bytes[0] == 2 ? 1 : 0;
        if (one.bytes[0] == 3) g_target.Hit("probe answered");
        if (one.bytes[0] == 6) g_target.Hit("receiver asks");
    }
    if (probes > 6) std::abort();
    if (probes > 0) g_target.Hit("probes");
}

void Command(IP2P& p2p, const std::string& record) {
    CCmdPacket cmd, again;
    if (!CCmdPacket::Parse(record.substr(1), cmd)) return g_target.Hit("refused");
    if (!CCmdPacket::Parse(cmd.Serialize(), again) || again.Serialize() != cmd.Serialize()) std::abort();
    cmd.SetFromUID(static_cast<unsigned long>(record[0] - '0'));
    p2p.OnReceivedP2PCmd(cmd);
    g_target.Hit(cmd.GetAttrib("p2ptype"));
    P2PPeer peer{};
    if (!GetP2PPeer(cmd.GetFromUID(), peer)) return;
    if (peer.byState == 1) g_target.Hit("connected");
    if (peer.byState == 2) g_target.Hit("failed");
    if (peer.byState > 2) std::abort();
}

void Poll(CTestHost& host, IFileReceiver& receiver) {
    receiver.IsDisconnected();
    if (host.net.clients.empty()) return;
    g_target.Hit("receiver dials");
    const std::string& target = host.net.LastClient().dialledHost;
    if (target.rfind("0.", 0) == 0 || target.rfind("127.", 0) == 0) std::abort();
}

void TakeInput(const uint8_t* data, size_t size) {
    CUser user;
    user.item = Item(0x05060708, 1234, 0xc0a80105, 40000);
    IP2P* p2p = CreateP2P(user);
    {
        CTestHost host;
        CChannel channel;
        p2p->SetSunServer(CTestHost::kPeerIP, 7000);
        IFileReceiver* overUdp = CreateFileReceiverP2P(channel, 77, 8);
        IFileReceiver* overTcp = CreateFileReceiverP2PTCP(channel, 77, 9);
        for (const std::string& record : Records(data, size)) {
            const bool command = !record.empty() && record[0] >= '0' && record[0] <= '9';
            if (command)
                Command(*p2p, record);
            else if (!record.empty())
                host.Deliver(record);
            Judge(host);
            overUdp->IsDisconnected();
            Poll(host, *overTcp);
            host.Run(400, 400);
            Judge(host);
        }
        overUdp->ReleaseConnections();
        overTcp->ReleaseConnections();
        channel.ReleaseConnections();
    }
    p2p->ReleaseConnections();
}

}  // namespace fuzz::p2p_command
