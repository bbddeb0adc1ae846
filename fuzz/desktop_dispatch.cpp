// Datagrams of kind 5 into a local MCU that has a channel, a sink, a sender, and receivers of a server and of a peer.
#include "desktop/desktop_receiver.h"
#include "desktop/local_mcu_desktop.h"
#include "lumomedia/p2p.h"
#include "support/datagram_judge.h"
#include "support/reach.h"
#include "support/records.h"
#include "support/session_wire.h"
#include "support/stand_ins.h"
#include "support/test_manager.h"

using session_wire::U32;

namespace {

CReach& Reach() {
    static CReach reach("desktop_dispatch",
                        {"sink made", "sink acknowledged again", "sink kept", "sink gone", "packet to a sink",
                         "upstream frame", "receiver connected", "receiver's keep-alive answered", "packet answered",
                         "frame arrived", "sender connected", "sender kept", "packet to a server", "ignored"});
    return reach;
}

class CApplication : public CDesktopChannel, public IDesktopSenderNotify, public IDesktopReceiverNotify {
public:
    CApplication() : CDesktopChannel(77) { Connect(); }
    void OnDesktopSinkData(const void* data, int length) override {
        Reach().HitReading("upstream frame", data, length);
    }
    void OnDesktopReceiverNotifyData(const char* data, int length) override {
        Reach().HitReading("frame arrived", data, length);
    }
    void OnDesktopSenderNotifyConnected(unsigned long) override { Reach().Hit("sender connected"); }
    void OnDesktopReceiverNotifyConnected(unsigned long) override { Reach().Hit("receiver connected"); }
};

const auto& Judge() {
    static const CDatagramJudge<CDesktopReceiverUDP, CDesktopReceiverP2P> judge(
        Reach(), ProfileOf(media::kDesktop, kLongestSessionDatagram));
    return judge;
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
    live["#p2p"] = OtherReceiverID(GetLocalMCUDesktop()->Tables(), live["#rcv"]);
    host.Deliver(Hex("052b") + U32(9) + U32(77));
    live["#sin"] = host.TakeSent().at(0).bytes.substr(6, 4);

    for (const std::string& record : Records(data, size)) {
        host.Run(100, 100);
        host.TakeSent();
        // A record that is no datagram is a frame of the application.
        if (record.size() > 1 && record[0] == 5) {
            Judge().Deliver(host, GetLocalMCUDesktop()->Tables(), WithLiveIDs(record, live));
        } else {
            app.OnDesktopChannelData(record.data(), static_cast<int>(record.size()));
            Judge().OnSent(host.TakeSent(), false);
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
