// Datagrams into a local MCU that has a channel, a sink, a sender and a receiver of the file medium.
#include "core/wire/commands.h"
#include "lumomedia/base.h"
#include "lumomedia/file.h"
#include "support/fake_net.h"
#include "support/reach.h"
#include "support/records.h"
#include "support/session_wire.h"
#include "support/stand_ins.h"
#include "support/test_manager.h"

using session_wire::U32;

namespace {

CReach& Reach() {
    static CReach reach("udp_datagram", {"UDP_AUDIO",
                                         "UDP_VIDEO",
                                         "UDP_P2P",
                                         "UDP_P2P_ACK",
                                         "UDP_WB",
                                         "UDP_DESKTOP",
                                         "UDP_FILE",
                                         "UDP_STUN",
                                         "UDP_FILE_SINK_CONNECT",
                                         "UDP_FILE_SINK_CONNECT_ACK",
                                         "UDP_FILE_SINK_KEEP_ALIVE",
                                         "UDP_FILE_SINK_KEEP_ALIVE_ACK",
                                         "UDP_FILE_SINK_FRAME",
                                         "UDP_FILE_SINK_FRAME_ACK",
                                         "UDP_FILE_SINK_DISCONNECT",
                                         "UDP_FILE_SOURCE_CONNECT_ACK",
                                         "UDP_FILE_SOURCE_FRAME_ACK",
                                         "UDP_FILE_SOURCE_KEEP_ALIVE",
                                         "upstream frame",
                                         "downstream frame"});
    return reach;
}

class CApplication : public CFileChannel, public IFileSenderNotify, public IFileReceiverNotify {
public:
    CApplication() : CFileChannel(77) { Connect(); }
    void OnFileSinkData(const void* data, int length) override { Reach().HitReading("upstream frame", data, length); }
    void OnFileReceiverNotifyData(const char* data, int length) override {
        Reach().HitReading("downstream frame", data, length);
    }
    void OnFileSenderNotifyConnected(unsigned long, bool) override {}
    void OnFileReceiverNotifyConnected(unsigned long) override {}
};

void TakeLine(void*, const char* line) { Reach().Hit(line); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    SetLogHook(&TakeLine, nullptr);
    CTestHost host;
    CApplication app;
    CLiveIDs live{{"#src", U32(500)}, {"#chn", U32(77)}};
    IFileSender* sender = CreateFileSenderUDP(app, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
    live["#snd"] = host.TakeSent().at(0).bytes.substr(6, 4);
    IFileReceiver* receiver =
        CreateFileReceiverUDP(app, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, true);
    live["#rcv"] = host.TakeSent().at(0).bytes.substr(2, 4);
    host.Deliver(Hex("0639") + U32(9) + U32(77));
    live["#sin"] = host.TakeSent().at(0).bytes.substr(6, 4);

    for (const std::string& datagram : Records(data, size)) {
        if (!datagram.empty()) host.Deliver(WithLiveIDs(datagram, live));
        app.OnFileChannelData("frame", 5);
        host.Run(100, 100);
    }
    sender->IsDisconnected();
    receiver->IsDisconnected();
    sender->ReleaseConnections();
    receiver->ReleaseConnections();
    app.ReleaseConnections();
    return 0;
}
