// Video datagrams into a local MCU that has a channel, a sink, a sender and two receivers. Video writes no log lines,
// so what was reached shows by what it does.
#include "lumomedia/video.h"
#include "support/datagram_judge.h"
#include "support/reach.h"
#include "support/records.h"
#include "support/session_wire.h"
#include "support/stand_ins.h"
#include "support/test_manager.h"
#include "video/local_mcu_video.h"
#include "video/video_receiver.h"

using session_wire::U32;

namespace {

CReach& Reach() {
    static CReach reach(
        "video_dispatch",
        {"sink made", "sink acknowledged again", "sink started", "sink stopped", "sink gone", "packet to a sink",
         "sink asks for a key frame", "receiver connected", "receiver told start", "receiver's start answered",
         "receiver's stop answered", "packet answered", "frame arrived", "sender connected", "sender started",
         "sender stopped", "packet to a server", "server asks for a key frame", "ignored"});
    return reach;
}

class CApplication final : public IVideoSenderNotify, public IVideoReceiverNotify {
public:
    explicit CApplication(const char* connected) : m_pszConnected(connected) {}
    void OnConnected(unsigned long) override { Reach().Hit(m_pszConnected); }
    void OnKeyFrameRequest() override { Reach().Hit("server asks for a key frame"); }
    void OnVideoData(const char* data, int length) override { Reach().HitReading("frame arrived", data, length); }

private:
    const char* const m_pszConnected;
};

const auto& Judge() {
    static const CDatagramJudge<CVideoReceiverDatagrams> judge(Reach(),
                                                               ProfileOf(media::kVideo, kLongestSessionDatagram));
    return judge;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CTestHost host;
    CApplication publisher("sender connected"), watcher("receiver connected");
    CVideoChannel channel(77);
    CLiveIDs live{{"#src", U32(500)}, {"#chn", U32(77)}};
    IVideoSender* sender = CreateVideoSenderUDP(publisher, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
    live["#snd"] = host.TakeSent().at(0).bytes.substr(6, 4);
    IVideoReceiver* receiver =
        CreateVideoReceiverUDP(watcher, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, 1);
    live["#rcv"] = host.TakeSent().at(0).bytes.substr(2, 4);
    IVideoReceiver* waiting = CreateVideoReceiverP2P(watcher, 77, 8);
    live["#p2p"] = OtherReceiverID(GetLocalMCUVideo()->Tables(), live["#rcv"]);
    host.Deliver(Hex("0109") + U32(9) + U32(77) + U32(1));
    live["#sin"] = host.TakeSent().at(0).bytes.substr(6, 4);

    for (std::string& record : Records(data, size)) {
        host.Run(100, 100);
        receiver->RequestKeyFrame();
        host.TakeSent();
        // A record that is no datagram is a frame of the publisher.
        if (record.size() > 1 && record[0] == 1) {
            const std::string datagram = WithLiveIDs(record, live);
            Judge().Deliver(host, GetLocalMCUVideo()->Tables(), datagram);
            if (channel.HasKeyFrameRequest() && datagram[1] == 0x10) Reach().Hit("sink asks for a key frame");
        } else {
            channel.OnVideoChannelData(record.data(), static_cast<int>(record.size()));
            Judge().OnSent(host.TakeSent(), false);
        }
    }
    for (IVideoReceiver* one : {receiver, waiting}) {
        one->AdjustWindowSize(size % 2 != 0);
        one->IsDisconnected();
        one->ReleaseConnections();
    }
    sender->IsDisconnected();
    sender->ReleaseConnections();
    channel.ReleaseConnections();
    return 0;
}
