#include "sim/p2p_host.h"

namespace sim {

CP2PHost::CP2PHost(CWorld& world, CFakeNet& net, CNetwork& network, uint32_t address, uint32_t id)
    : CP2PApplication(id), ip(address), m_world(world), m_network(network) {
    Do([&] {
        m_pP2P = CreateP2P(*this);
        m_pManager = new CTestManager;
        m_pManager->Open();
        m_pChannel = std::make_unique<CChannel>();
    });
    m_pUdp = &net.Udp();
    m_network.Join(ip, [this](const Packet& packet) {
        Do([&] { m_pUdp->Deliver(packet.bytes, packet.from.ip, packet.from.port); });
    });
    m_world.Attach({id, kSignalling}, [this](const std::string& bytes, Address from) { OnCommand(bytes, from); });
    m_world.AddTurn([this] { return Turn(); });
}

CP2PHost::~CP2PHost() {
    Do([&] {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
        m_pChannel->ReleaseConnections();
        m_pChannel.reset();
        m_pManager->ReleaseConnections();
        m_pP2P->ReleaseConnections();
    });
}

bool CP2PHost::Turn() {
    Do([&] { m_pManager->RunTurn(); });
    const std::vector<CSentDatagram> sent = m_pUdp->TakeSent();
    for (const CSentDatagram& datagram : sent) {
        probes += datagram.bytes[0] == 2 ? 1 : 0;
        m_network.Send({{ip, m_pUdp->GetLocalPort()}, {datagram.ip, datagram.port}, datagram.bytes});
    }
    return !sent.empty();
}

void CP2PHost::OnP2PNotifySendCmd(unsigned long ulUserID, CCmdPacket& cmd) {
    const std::string bytes = cmd.Serialize();
    m_world.Send({userID, kSignalling}, {static_cast<uint32_t>(ulUserID), kSignalling}, bytes.data(),
                 static_cast<int>(bytes.size()));
}

void CP2PHost::OnCommand(const std::string& bytes, Address from) {
    CCmdPacket cmd;
    if (!CCmdPacket::Parse(bytes, cmd)) return;
    cmd.SetFromUID(from.ip);
    Do([&] { m_pP2P->OnReceivedP2PCmd(cmd); });
}

void CP2PHost::OnP2PNotifyGetP2PItem(P2PItem& announced) {
    announced.ulLocalIP = ip;
    announced.usLocalUDPPort = m_pUdp->GetLocalPort();
    if (natAddresses.empty()) return;
    announced.ulNATIP = natAddresses.front().first;
    announced.usNATUDPPort = natAddresses.front().second;
}

}  // namespace sim
