// Video datagrams into a local MCU that has a channel, a sink, a sender and two receivers. Video writes no log lines,
// so what was reached shows by what it does.
#include "lumomedia/video.h"
#include "support/fake_net.h"
#include "support/reach.h"
#include "support/records.h"
#include "support/session_wire.h"
#include "support/stand_ins.h"
#include "support/test_manager.h"
#include "video/local_mcu_video.h"
#include "video/video_receiver_datagrams.h"

#include <cstdlib>

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

class CApplication : public IVideoSenderNotify, public IVideoReceiverNotify {
public:
    explicit CApplication(const char* connected) : m_pszConnected(connected) {}
    void OnConnected(unsigned long) override { Reach().Hit(m_pszConnected); }
    void OnKeyFrameRequest() override { Reach().Hit("server asks for a key frame"); }
    // Reads every byte, so that a wrong length does not go unseen.
    void OnVideoData(const char* data, int length) override {
        const std::string copy(data, static_cast<size_t>(length));
        if (!copy.empty()) Reach().Hit("frame arrived");
    }

private:
    const char* const m_pszConnected;
};

/// What leaves says what was done. No datagram is longer than a session packet behind the longest envelope.
void Judge(const std::vector<CSentDatagram>& sent, bool newSink) {
    static const std::pair<char, const char*> kSaid[] = {{0x0b, "receiver told start"}, {0x0c, "sink started"},
                                                         {0x0e, "sink stopped"},        {0x0f, "packet to a sink"},
                                                         {0x10, "packet answered"},     {0x1e, "sender started"},
                                                         {0x20, "sender stopped"},      {0x21, "packet to a server"}};
    for (const CSentDatagram& one : sent) {
        if (one.bytes.size() > 10 + 12 + 1040 || one.bytes.size() < 6 || one.bytes[0] != 1) std::abort();
        if (one.bytes[1] == 0x0a) Reach().Hit(newSink ? "sink made" : "sink acknowledged again");
        for (const auto& [command, reached] : kSaid)
            if (one.bytes[1] == command) Reach().Hit(reached);
    }
}

/// The last sign of life of every receiver, added up: an answer to a start or a stop changes nothing else.
uint64_t Heard() {
    uint64_t heard = 0;
    GetLocalMCUVideo()->Tables().receivers.ForEach([&](CVideoReceiver& receiver) {
        if (auto* udp = dynamic_cast<CVideoReceiverDatagrams*>(&receiver)) heard += udp->LastHeard();
    });
    return heard;
}

void Deliver(CTestHost& host, CVideoChannel& channel, const std::string& datagram) {
    const uint64_t heard = Heard();
    const size_t sinks = GetLocalMCUVideo()->Tables().sinks.Size();
    host.Deliver(datagram);
    const size_t after = GetLocalMCUVideo()->Tables().sinks.Size();
    if (after < sinks) Reach().Hit("sink gone");
    const auto sent = host.TakeSent();
    Judge(sent, after > sinks);
    if (channel.HasKeyFrameRequest() && datagram[1] == 0x10) Reach().Hit("sink asks for a key frame");
    if (Heard() == heard) {
        if (sent.empty() && after == sinks) Reach().Hit("ignored");
    } else if (datagram[1] == 0x0c || datagram[1] == 0x0e) {
        Reach().Hit(datagram[1] == 0x0c ? "receiver's start answered" : "receiver's stop answered");
    }
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
    GetLocalMCUVideo()->Tables().receivers.ForEach([&](CVideoReceiver& one) {
        if (U32(one.GetVideoReceiverID()) != live["#rcv"]) live["#p2p"] = U32(one.GetVideoReceiverID());
    });
    host.Deliver(Hex("0109") + U32(9) + U32(77) + U32(1));
    live["#sin"] = host.TakeSent().at(0).bytes.substr(6, 4);

    for (std::string& record : Records(data, size)) {
        host.Run(100, 100);
        receiver->RequestKeyFrame();
        host.TakeSent();
        // A record that is no datagram is a frame of the publisher.
        if (record.size() > 1 && record[0] == 1) {
            Deliver(host, channel, WithLiveIDs(record, live));
        } else {
            channel.OnVideoChannelData(record.data(), static_cast<int>(record.size()));
            Judge(host.TakeSent(), false);
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
