// How long a late joiner of a whiteboard waits until it has everything.
#include "link/process/instances.h"
#include "lumomedia/whiteboard.h"
#include "sim/harness.h"
#include "support/p2p_peer.h"
#include "support/wb_words.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace sim {
namespace {

constexpr uint32_t kChannelID = 77;
constexpr uint16_t kPort = 40000;  // of every host
constexpr uint32_t kUser = 8;

/// An application that draws and counts the objects it hears of.
class CBoardHost : public CP2PApplication, public IWBSessionClientNotify {
public:
    CBoardHost(CWorld& world, CFakeNet& net, uint32_t address) : ip(address), m_world(world) {
        Do([&] {
            m_pP2P = CreateP2P(*this);
            m_pManager = new CTestManager;
            m_pManager->Open();
            channel = new CWBChannel(kChannelID);
            channel->Connect();
        });
        m_pUdp = &net.Udp();
        world.Attach({ip, kPort}, [this](const std::string& bytes, Address from) {
            Do([&] { m_pUdp->Deliver(bytes, from.ip, from.port); });
        });
        world.AddTurn([this] { return Turn(); });
    }
    ~CBoardHost() override {
        Do([&] {
            if (m_pClient) m_pClient->ReleaseConnections();
            m_pManager->ReleaseConnections();  // deletes the channel
            m_pP2P->ReleaseConnections();
        });
    }
    template <class Action>
    void Do(Action action) {
        UseInstances(&m_instances);
        action();
        UseInstances(nullptr);
    }
    /// Joins its channel to the other's, whose address it is told; the punch is known to have gone through.
    void Join(const CBoardHost& other) {
        Do([&] {
            m_pClient = CreateWBSessionClientP2P(*this, kChannelID, kUser);
            CCmdPacket answer = PeerPacket("P2P_START_ACK", kUser, Item(other.ip, kPort, other.ip, kPort));
            m_pP2P->OnReceivedP2PCmd(answer);
            m_pUdp->Deliver(Hex("03 08000000"), other.ip, kPort);
            m_pClient->IsDisconnected();
        });
    }
    void OnWBSessionClientNotifyConnected(unsigned long) override { connected = true; }

    const uint32_t ip;
    CWBChannel* channel = nullptr;
    bool connected = false;

private:
    bool Turn() {
        Do([&] { m_pManager->RunTurn(); });
        const std::vector<CSentDatagram> sent = m_pUdp->TakeSent();
        for (const CSentDatagram& datagram : sent)
            m_world.Send({ip, kPort}, {datagram.ip, datagram.port}, datagram.bytes.data(),
                         static_cast<int>(datagram.bytes.size()));
        return !sent.empty();
    }

    CWorld& m_world;
    CInstances m_instances;
    IP2P* m_pP2P = nullptr;
    CTestManager* m_pManager = nullptr;
    CFakeUdp* m_pUdp = nullptr;
    IWBSessionClient* m_pClient = nullptr;
};

/// The application's place at a board.
class CReader : public CWBSession {
public:
    explicit CReader(CWBChannel* channel) : CWBSession(channel) {}
    void SendWBSessionData(const char* data, int) override { offered += data[0] == WB_CMD_OBJECT_OFFER; }
    bool IsDisconnected() override { return false; }
    size_t offered = 0;
};

struct JoinRow {
    size_t objects;
    uint32_t permilleLost, delay;
    uint64_t withinMs;
};

TEST(BoardJoin, ALateJoinerIsCompleteInTime) {
    for (const JoinRow& row : {JoinRow{10000, 0, 0, 5000}, JoinRow{500, 20, 2, 15000}}) {
        SCOPED_TRACE(std::to_string(row.objects) + " objects");
        CWorld world(1);
        CFakeNet net;
        CBoardHost early(world, net, 0x0a000001), late(world, net, 0x0a000002);
        for (const auto& [from, to] : {std::pair(early.ip, late.ip), std::pair(late.ip, early.ip)}) {
            world.AddFault<CRandomLoss>({from, kPort}, {to, kPort}, row.permilleLost);
            world.AddFault<CDelaySpread>({from, kPort}, {to, kPort}, row.delay, row.delay);
        }
        CReader drawer(early.channel), reader(late.channel);
        early.Do([&] {
            drawer.JoinWBChannel();
            for (uint32_t id = 1; id <= row.objects; ++id) {
                const std::string object = wb_words::Message(wb_words::kData, 1000 + id, 0, std::string(120, 'o'));
                drawer.OnWBSessionData(object.data(), static_cast<int>(object.size()));
            }
        });
        late.Do([&] { reader.JoinWBChannel(); });
        late.Join(early);
        EXPECT_TRUE(world.RunUntil([&] { return reader.offered == row.objects; }, [&] { return row.withinMs; }))
            << reader.offered;
        EXPECT_TRUE(late.connected);
        RecordProperty("ms for " + std::to_string(row.objects), static_cast<int>(world.Elapsed()));
        early.Do([&] { drawer.LeaveWBChannel(); });
        late.Do([&] { reader.LeaveWBChannel(); });
    }
}

}  // namespace
}  // namespace sim
