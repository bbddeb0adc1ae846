// Audio datagrams into a local MCU that has a channel, a sink, a sender and two receivers. Audio writes no log lines,
// so what was reached shows by what it does.
#include "audio/audio_receiver_datagrams.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"
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
    static CReach reach(
        "audio_dispatch",
        {"sink made", "sink acknowledged again", "sink started", "sink stopped", "sink gone", "frame to a sink",
         "receiver connected", "receiver told start", "receiver's start answered", "receiver's stop answered",
         "frame arrived", "sender connected", "sender started", "sender stopped", "frame to a server", "ignored"});
    return reach;
}

class CApplication : public IAudioSenderNotify, public IAudioReceiverNotify {
public:
    explicit CApplication(const char* connected) : m_pszConnected(connected) {}
    void OnConnected(unsigned long) override { Reach().Hit(m_pszConnected); }
    // Reads every byte, so that a wrong length does not go unseen.
    void OnAudioData(const char* data, int length) override {
        const std::string copy(data, static_cast<size_t>(length));
        if (!copy.empty()) Reach().Hit("frame arrived");
    }

private:
    const char* const m_pszConnected;
};

/// What leaves says what was done. No datagram is longer than the room that audio has.
void Judge(const std::vector<CSentDatagram>& sent, bool newSink) {
    for (const CSentDatagram& one : sent) {
        if (one.bytes.size() > 1076 || one.bytes.size() < 6 || one.bytes[0] != 0) std::abort();
        switch (one.bytes[1]) {
            case 0x01:
                Reach().Hit(newSink ? "sink made" : "sink acknowledged again");
                break;
            case 0x02:
                Reach().Hit("frame to a sink");
                break;
            case 0x04:
                Reach().Hit("receiver told start");
                break;
            case 0x05:
                Reach().Hit("sink started");
                break;
            case 0x07:
                Reach().Hit("sink stopped");
                break;
            case 0x15:
                Reach().Hit("sender started");
                break;
            case 0x17:
                Reach().Hit("sender stopped");
                break;
            case 0x19:
                Reach().Hit("frame to a server");
                break;
            default:
                break;
        }
    }
}

/// The last sign of life of every receiver, added up: an answer to a start or a stop changes nothing else.
uint64_t Heard() {
    uint64_t heard = 0;
    GetLocalMCUAudio()->Tables().receivers.ForEach([&](CAudioReceiver& receiver) {
        if (auto* udp = dynamic_cast<CAudioReceiverDatagrams*>(&receiver)) heard += udp->LastHeard();
    });
    return heard;
}

void Deliver(CTestHost& host, const std::string& datagram) {
    const uint64_t heard = Heard();
    const size_t sinks = GetLocalMCUAudio()->Tables().sinks.Size();
    host.Deliver(datagram);
    const size_t after = GetLocalMCUAudio()->Tables().sinks.Size();
    if (after < sinks) Reach().Hit("sink gone");
    const auto sent = host.TakeSent();
    Judge(sent, after > sinks);
    if (Heard() == heard) {
        if (sent.empty() && after == sinks) Reach().Hit("ignored");
    } else if (datagram[1] == 0x05 || datagram[1] == 0x07) {
        Reach().Hit(datagram[1] == 0x05 ? "receiver's start answered" : "receiver's stop answered");
    }
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
    GetLocalMCUAudio()->Tables().receivers.ForEach([&](CAudioReceiver& one) {
        if (U32(one.GetAudioReceiverID()) != live["#rcv"]) live["#p2p"] = U32(one.GetAudioReceiverID());
    });
    host.Deliver(Hex("0000") + U32(9) + U32(77) + U32(1));
    live["#sin"] = host.TakeSent().at(0).bytes.substr(6, 4);

    for (const std::string& record : Records(data, size)) {
        host.Run(100, 100);
        // A record that is no datagram is a frame of the publisher.
        if (record.size() > 1 && record[0] == 0) {
            Deliver(host, WithLiveIDs(record, live));
        } else {
            channel.OnAudioChannelData(record.data(), static_cast<int>(record.size()));
            Judge(host.TakeSent(), false);
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
