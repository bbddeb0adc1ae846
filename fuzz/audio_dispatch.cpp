// Audio datagrams into a local MCU that has a channel, a sink, a sender and two receivers. Audio writes no log lines,
// so what was reached shows by what it does.
#include "audio/audio_receiver.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"
#include "support/datagram_judge.h"
#include "support/reach.h"
#include "support/records.h"
#include "support/session_wire.h"
#include "support/stand_ins.h"
#include "support/test_manager.h"

using session_wire::U32;

namespace {

CReach& Reach() {
    static CReach reach(
        "audio_dispatch",
        {"sink made", "sink acknowledged again", "sink started", "sink stopped", "sink gone", "frame to a sink",
         "receiver connected", "receiver told start", "receiver's start answered", "receiver's stop answered",
         "frame arrived", "sender connected", "sender started", "sender stopped", "frame to a server", "ignored"});
    return reach;
}

class CApplication final : public IAudioSenderNotify, public IAudioReceiverNotify {
public:
    explicit CApplication(const char* connected) : m_pszConnected(connected) {}
    void OnConnected(unsigned long) override { Reach().Hit(m_pszConnected); }
    void OnAudioData(const char* data, int length) override { Reach().HitReading("frame arrived", data, length); }

private:
    const char* const m_pszConnected;
};

/// No datagram is longer than the room that audio has.
const auto& Judge() {
    static const CDatagramJudge<CAudioReceiverDatagrams> judge(Reach(), ProfileOf(media::kAudio, 1076));
    return judge;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CTestHost host;
    CApplication publisher("sender connected"), listener("receiver connected");
    CAudioChannel channel(77);
    CLiveIDs live{{"#src", U32(500)}, {"#chn", U32(77)}};
    IAudioSender* sender = CreateAudioSenderUDP(publisher, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
    live["#snd"] = host.TakeSent().at(0).bytes.substr(6, 4);
    IAudioReceiver* receiver =
        CreateAudioReceiverUDP(listener, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, 1);
    live["#rcv"] = host.TakeSent().at(0).bytes.substr(2, 4);
    IAudioReceiver* waiting = CreateAudioReceiverP2P(listener, 77, 8);
    live["#p2p"] = OtherReceiverID(GetLocalMCUAudio()->Tables(), live["#rcv"]);
    host.Deliver(Hex("0000") + U32(9) + U32(77) + U32(1));
    live["#sin"] = host.TakeSent().at(0).bytes.substr(6, 4);

    for (const std::string& record : Records(data, size)) {
        host.Run(100, 100);
        // A record that is no datagram is a frame of the publisher.
        if (record.size() > 1 && record[0] == 0) {
            Judge().Deliver(host, GetLocalMCUAudio()->Tables(), WithLiveIDs(record, live));
        } else {
            channel.OnAudioChannelData(record.data(), static_cast<int>(record.size()));
            Judge().OnSent(host.TakeSent(), false);
        }
    }
    for (IAudioReceiver* one : {receiver, waiting}) {
        one->IsDisconnected();
        one->ReleaseConnections();
    }
    sender->IsDisconnected();
    sender->ReleaseConnections();
    channel.ReleaseConnections();
    return 0;
}
