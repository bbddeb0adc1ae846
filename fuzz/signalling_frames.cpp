// Frames of signalling clients into the service, and frames of a service into the library's client.
//
// The first byte of a record says whose it is: 'a' and 'b' are clients of the service, 's' is the service itself, 'v'
// its answer to the validation; '+' lets half a second pass. 'A' and 'S' are as the small letters, but the frame is
// made one byte longer than it may be.
#include "lumomedia/p2p.h"
#include "p2p/signal_frames.h"
#include "server/server_manager.h"
#include "support/fake_net.h"
#include "support/p2p_peer.h"
#include "support/records.h"
#include "support/session_wire.h"
#include "support/target.h"
#include "support/virtual_clock.h"

#include <cstdlib>

namespace fuzz::signalling_frames {

using session_wire::U32;

constexpr uint32_t kAlice = 1, kBob = 2, kOwn = 7;

void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("signalling_frames",
                     {"forwarded", "dropped", "closed", "client taken", "client closed", "command"}, TakeInput);

class CTestServer : public CServerManager {
public:
    using CServerManager::CServerManager;
    bool Open() { return OpenEndpoints(0); }
};

class CNotify final : public ISignalNotify {
public:
    void OnSignalNotifyConnected(unsigned long ulUserID) override {
        if (ulUserID != kOwn) std::abort();
        g_target.Hit("client taken");
    }
    void OnSignalNotifyCmd(CCmdPacket& cmd) override {
        if (!cmd.GetAttrib("p2ptype").empty()) g_target.Hit("command");
    }
};

/// The service with two clients.
class CService {
public:
    CService()
        : m_log(std::function<void(const std::string&)>([](const std::string&) {})),
          m_pServer(new CTestServer(Options(), m_log)) {
        m_pServer->Open();
        m_pAlice = Come(kAlice);
        m_pBob = Come(kBob);
    }
    ~CService() { m_pServer->ReleaseConnections(); }
    CService(const CService&) = delete;
    CService& operator=(const CService&) = delete;

    void Frame(char from, const std::string& frame) {
        CFakeTcp* client = from == 'b' ? m_pBob : m_pAlice;
        const CSignallingStatus before = m_pServer->Signalling();
        if (!client->sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size())))
            g_target.Hit("closed");
        const CSignallingStatus after = m_pServer->Signalling();
        if (after.forwarded > before.forwarded) g_target.Hit("forwarded");
        if (after.dropped > before.dropped) g_target.Hit("dropped");
        // Whatever comes out names its true sender.
        for (CFakeTcp* reader : {m_pAlice, m_pBob})
            for (const CSentMessage& one : reader->TakeSent())
                if (one.bytes.size() >= 4 && session_wire::ReadU32(one.bytes, 0) != (from == 'b' ? kBob : kAlice))
                    std::abort();
    }
    void Turn() { m_pServer->RunTurn(); }

    CFakeNet net;

private:
    static CServerOptions Options() {
        CServerOptions options;
        options.listenIP = 0x7f000001;
        return options;
    }
    CFakeTcp* Come(uint32_t user) {
        CFakeTcp* session = &net.NewSession();
        if (!net.TcpServer().Validate(session, 100, U32(user))) std::abort();
        session->TakeSent();
        return session;
    }

    CServerLog m_log;
    CTestServer* m_pServer;
    CFakeTcp* m_pAlice;
    CFakeTcp* m_pBob;
};

void TakeInput(const uint8_t* data, size_t size) {
    CVirtualClock clock;
    CService service;
    CNotify notify;
    ISignalClient* client = CreateSignalClient(notify, kOwn, 0x7f000001, 7000, 0, "", 0, "", "");
    ITcpClientNotify& far = *service.net.LastClient().clientNotify;
    far.OnTcpClientNotifyConnected();
    for (const std::string& record : Records(data, size, 1024)) {
        if (record.empty()) continue;
        const bool tooLong = record[0] == 'A' || record[0] == 'S';
        std::string rest = record.substr(1);
        if (tooLong) rest.resize(signalling::kMaxFrame + 1);
        const auto length = static_cast<int>(rest.size());
        if (record[0] == 'a' || record[0] == 'b' || record[0] == 'A') service.Frame(record[0], rest);
        if ((record[0] == 's' || record[0] == 'S') && !far.OnTcpClientNotifyReceivedFrame(rest.data(), length))
            g_target.Hit("client closed");
        if (record[0] == 'v') far.OnTcpClientNotifyValidate(100, rest.data(), length);
        if (record[0] == '+') clock.Advance(500);
        client->SendCmd(kBob, PeerPacket("P2P_CMD", 0));
        client->IsDisconnected();
        service.Turn();
    }
    client->ReleaseConnections();
}

}  // namespace fuzz::signalling_frames
