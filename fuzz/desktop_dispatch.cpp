// Datagrams of kind 5 into a local MCU that has a channel, a sink, a sender, and receivers of a server and of a peer.
#include "desktop/desktop_receiver_p2p.h"
#include "desktop/desktop_receiver_udp.h"
#include "desktop/local_mcu_desktop.h"
#include "lumomedia/p2p.h"
#include "support/fake_net.h"
#include "support/reach.h"
#include "support/records.h"
#include "support/session_wire.h"
#include "support/stand_ins.h"
#include "support/test_manager.h"

#include <cstdlib>

using session_wire::U32;

namespace {

CReach& Reach() {
    static CReach reach("desktop_dispatch",
                        {"sink made", "sink acknowledged again", "sink kept", "sink gone", "packet to a sink",
                         "upstream frame", "receiver connected", "receiver's keep-alive answered", "packet answered",
                         "frame arrived", "sender connected", "sender kept", "packet to a server", "ignored"});
    return reach;
}

// Reads every byte, so that a wrong length does not go unseen.
void Touch(const char* handler, const void* data, int length) {
    const std::string copy(static_cast<const char*>(data), static_cast<size_t>(length));
    if (!copy.empty()) Reach().Hit(handler);
}

class CApplication : public CDesktopChannel, public IDesktopSenderNotify, public IDesktopReceiverNotify {
public:
    CApplication() : CDesktopChannel(77) { Connect(); }
    void OnDesktopSinkData(const void* data, int length) override { Touch("upstream frame", data, length); }
    void OnDesktopReceiverNotifyData(const char* data, int length) override { Touch("frame arrived", data, length); }
    void OnDesktopSenderNotifyConnected(unsigned long) override { Reach().Hit("sender connected"); }
    void OnDesktopReceiverNotifyConnected(unsigned long) override { Reach().Hit("receiver connected"); }
};

/// What leaves says what was done. No datagram is longer than a session packet behind the longest envelope.
void Judge(const std::vector<CSentDatagram>& sent, bool newSink) {
    static const std::pair<char, const char*> kSaid[] = {{0x2e, "sink kept"},
                                                         {0x2f, "packet to a sink"},
                                                         {0x30, "packet answered"},
                                                         {0x34, "packet to a server"},
                                                         {0x37, "sender kept"}};
    for (const CSentDatagram& one : sent) {
        if (one.bytes.size() > 10 + 12 + 1040 || one.bytes.size() < 6 || one.bytes[0] != 5) std::abort();
        if (one.bytes[1] == 0x2c) Reach().Hit(newSink ? "sink made" : "sink acknowledged again");
        for (const auto& [command, reached] : kSaid)
            if (one.bytes[1] == command) Reach().Hit(reached);
    }
}

/// The last sign of life of every receiver, added up: an answer to a keep-alive changes nothing else.
uint64_t Heard() {
    uint64_t heard = 0;
    GetLocalMCUDesktop()->Tables().receivers.ForEach([&](CShareReceiver& receiver) {
        if (auto* server = dynamic_cast<CDesktopReceiverUDP*>(&receiver)) heard += server->LastHeard();
        if (auto* peer = dynamic_cast<CDesktopReceiverP2P*>(&receiver)) heard += peer->LastHeard();
    });
    return heard;
}

void Deliver(CTestHost& host, const std::string& datagram) {
    const uint64_t heard = Heard();
    const size_t sinks = GetLocalMCUDesktop()->Tables().sinks.Size();
    host.Deliver(datagram);
    const size_t after = GetLocalMCUDesktop()->Tables().sinks.Size();
    if (after < sinks) Reach().Hit("sink gone");
    const auto sent = host.TakeSent();
    Judge(sent, after > sinks);
    if (Heard() != heard && datagram[1] == 0x2e) Reach().Hit("receiver's keep-alive answered");
    if (Heard() == heard && sent.empty() && after == sinks) Reach().Hit("ignored");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CTestHost host;
    CApplication app;
    CLiveIDs live{{"#src", U32(500)}, {"#chn", U32(77)}};
    IDesktopSender* sender = CreateDesktopSenderUDP(app, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
    live["#snd"] = host.TakeSent().at(0).bytes.substr(6, 4);
    IDesktopReceiver* receiver =
        CreateDesktopReceiverUDP(app, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, true);
    live["#rcv"] = host.TakeSent().at(0).bytes.substr(2, 4);
    SetP2PSubscribe(size % 2 != 0);
    IDesktopReceiver* peer = CreateDesktopReceiverP2P(app, 77, 8);
    SetP2PSubscribe(false);
    GetLocalMCUDesktop()->Tables().receivers.ForEach([&](CShareReceiver& one) {
        if (U32(one.ReceiverID()) != live["#rcv"]) live["#p2p"] = U32(one.ReceiverID());
    });
    host.Deliver(Hex("052b") + U32(9) + U32(77));
    live["#sin"] = host.TakeSent().at(0).bytes.substr(6, 4);

    for (const std::string& record : Records(data, size)) {
        host.Run(100, 100);
        host.TakeSent();
        // A record that is no datagram is a frame of the application.
        if (record.size() > 1 && record[0] == 5) {
            Deliver(host, WithLiveIDs(record, live));
        } else {
            app.OnDesktopChannelData(record.data(), static_cast<int>(record.size()));
            Judge(host.TakeSent(), false);
        }
    }
    for (IDesktopReceiver* one : {receiver, peer}) {
        one->IsDisconnected();
        one->ReleaseConnections();
    }
    sender->IsDisconnected();
    sender->ReleaseConnections();
    app.ReleaseConnections();
    return 0;
}
