// The service and the library's own clients of it, joined byte by byte.
#include "lumomedia/p2p.h"
#include "server_host.h"
#include "support/p2p_peer.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

/// A client whose connection ends at the service of the test.
class CUser final : public ISignalNotify {
public:
    CUser(CServerHost& host, uint32_t id) : m_host(host) {
        m_pClient = CreateSignalClient(*this, id, 0x7f000001, CServerHost::kPort, 0, "", 0, "", "");
        m_pFar = &m_host.net.LastClient();
        m_pFar->clientNotify->OnTcpClientNotifyConnected();
        const std::string validation = m_pFar->TakeSent().at(0).bytes;
        m_pNear = m_host.Validate(session_wire::ReadU32(validation, 0), validation.substr(8));
        if (!m_pNear) m_pFar->lost = true;
    }
    ~CUser() { m_pClient->ReleaseConnections(); }
    CUser(const CUser&) = delete;
    CUser& operator=(const CUser&) = delete;

    bool Send(uint32_t user, const std::string& type) { return m_pClient->SendCmd(user, PeerPacket(type, 0)); }
    bool IsDisconnected() { return m_pClient->IsDisconnected(); }
    /// Moves what either end has queued.
    void Exchange() {
        if (!m_pNear) return;
        for (const CSentMessage& one : m_pFar->TakeSent())
            m_pNear->sessionNotify->OnTcpSessionNotifyReceivedFrame(one.bytes.data(),
                                                                    static_cast<int>(one.bytes.size()));
        for (const CSentMessage& one : m_pNear->TakeSent()) {
            const auto length = static_cast<int>(one.bytes.size());
            if (one.mode == 1)
                m_pFar->clientNotify->OnTcpClientNotifyValidate(session_wire::ReadU32(one.bytes, 0),
                                                                one.bytes.data() + 8, length - 8);
            else
                m_pFar->clientNotify->OnTcpClientNotifyReceivedFrame(one.bytes.data(), length);
        }
    }
    void OnSignalNotifyConnected(unsigned long ulUserID) override {
        heard.push_back("taken " + std::to_string(ulUserID));
    }
    void OnSignalNotifyCmd(CCmdPacket& cmd) override {
        heard.push_back(cmd.GetAttrib("p2ptype") + " of " + std::to_string(cmd.GetFromUID()));
    }

    std::vector<std::string> heard;

private:
    CServerHost& m_host;
    ISignalClient* m_pClient;
    CFakeTcp* m_pFar;
    CFakeTcp* m_pNear;
};

TEST(SignallingClients, ReachEachOtherAndNobodyElse) {
    CServerHost host;
    CUser alice(host, 7), bob(host, 8), thief(host, 7);
    const auto exchange = [&] {
        for (int i = 0; i < 2; ++i)
            for (CUser* user : {&alice, &bob, &thief}) user->Exchange();
    };
    EXPECT_FALSE(alice.Send(8, "EARLY"));
    exchange();
    EXPECT_TRUE(thief.IsDisconnected()) << "the ID is taken";
    EXPECT_FALSE(alice.IsDisconnected());
    EXPECT_TRUE(alice.Send(8, "P2P_START"));
    EXPECT_TRUE(bob.Send(7, "P2P_START_ACK"));
    EXPECT_TRUE(bob.Send(9, "P2P_CMD"));
    EXPECT_FALSE(thief.Send(8, "P2P_CMD"));
    exchange();
    EXPECT_EQ(alice.heard, (std::vector<std::string>{"taken 7", "P2P_START_ACK of 8"}));
    EXPECT_EQ(bob.heard, (std::vector<std::string>{"taken 8", "P2P_START of 7"}));
    EXPECT_TRUE(thief.heard.empty());
    EXPECT_EQ(host.server->Signalling().forwarded, 2U);
    EXPECT_EQ(host.server->Signalling().dropped, 1U);
}

}  // namespace
