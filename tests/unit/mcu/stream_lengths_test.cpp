// Audio and video datagrams cut short or too long, to every role that takes them: only the right length does anything.
#include "audio/audio_receiver.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"
#include "lumomedia/video.h"
#include "support/session_wire.h"
#include "support/test_manager.h"
#include "video/local_mcu_video.h"
#include "video/video_receiver.h"

#include <gtest/gtest.h>

#include <memory>

using session_wire::Data;
using session_wire::U32;

namespace {

class CNotify final : public IAudioSenderNotify,
                      public IAudioReceiverNotify,
                      public IVideoSenderNotify,
                      public IVideoReceiverNotify {
public:
    void OnConnected(unsigned long) override { told += " connected"; }
    void OnKeyFrameRequest() override { told += " key frame"; }
    void OnAudioData(const char* data, int length) override { OnVideoData(data, length); }
    void OnVideoData(const char* data, int length) override {
        told += " " + std::string(data, static_cast<size_t>(length));
    }
    std::string told;
};

/// The codes of a medium.
struct Codes {
    const char *connect, *connectAck, *start, *startAck, *stop, *stopAck, *frame, *disconnect;
    const char *sourceConnectAck, *sourceStart, *sourceStop;
};
constexpr Codes kAudio{"0000", "0001", "0004", "0005", "0006", "0007", "0002", "0008", "0013", "0014", "0016"};
constexpr Codes kVideo{"0109", "010a", "010b", "010c", "010d", "010e", "010f", "0111", "011c", "011d", "011f"};

/// A datagram that does something, and which lengths of it do: from `least` on, or that alone.
struct Row {
    const char* name;
    std::string datagram;
    size_t least;
    bool exact;
};

/// A local MCU with a channel.
template <class TMcu, class TChannel, class TDatagramReceiver>
class CScene {
public:
    CScene(const Codes& codes, TMcu& (*mcu)()) : m_codes(codes), m_mcu(mcu), m_channel(new TChannel(77)) {}

    std::string SinkID() {
        host.Deliver(Hex(m_codes.connect) + U32(9) + U32(77) + U32(1));
        return host.TakeSent().at(0).bytes.substr(6, 4);
    }
    /// Takes the first request that has left: the ID in it.
    std::string Asked(size_t at) { return host.TakeSent().at(0).bytes.substr(at, 4); }
    void Answer(const char* code, const std::string& first, uint32_t second, const std::string& rest = "") {
        host.Deliver(Hex(code) + first + U32(second) + rest);
        host.TakeSent();
    }
    /// Everything that a datagram can change, but the time at which a session packet was heard.
    std::string State(bool times) {
        std::string state = notify.told + " " + std::to_string(m_mcu().Tables().sinks.Size());
        for (const CSentDatagram& one : host.TakeSent()) state += " " + ToHex(one.bytes);
        if (!times) return state;
        for (auto& receiver : m_mcu().Tables().receivers.Each())
            state += " " + std::to_string(dynamic_cast<TDatagramReceiver&>(receiver).LastHeard());
        return state;
    }
    void Try(const Row& row, bool session) {
        SCOPED_TRACE(row.name);
        const std::string longest = row.datagram + std::string(20, 'x');
        const std::string before = State(!session);
        for (size_t length = 1; length <= longest.size(); ++length) {
            if (row.exact ? length == row.least : length >= row.least) continue;
            host.clock.Advance(1);
            host.Deliver(longest.substr(0, length));
            ASSERT_EQ(State(!session), before) << length << " bytes";
        }
        host.clock.Advance(1);
        host.Deliver(row.datagram);
        EXPECT_NE(State(!session), before) << "its own length";
    }

    CTestHost host;
    CNotify notify;

private:
    const Codes& m_codes;
    TMcu& (*const m_mcu)();
    std::unique_ptr<TChannel> m_channel;
};

/// The rows of the commands that carry no session packet, in an order in which each still does something.
std::vector<Row> PlainRows(const Codes& codes, const std::string& sink, const std::string& receiver,
                           const std::string& key) {
    return {{"connect", Hex(codes.connect) + U32(10) + U32(77) + U32(1), 14, true},
            {"start", Hex(codes.start) + sink, 6, true},
            {"stop", Hex(codes.stop) + sink, 6, true},
            {"acknowledgement", Hex(codes.connectAck) + receiver + U32(600), 10, true},
            {"answer to start", Hex(codes.startAck) + receiver + U32(600), 10, true},
            {"answer to stop", Hex(codes.stopAck) + receiver + U32(600), 10, true},
            {"source's acknowledgement", Hex(codes.sourceConnectAck) + key + U32(500) + U32(0), 14, true},
            {"source's start", Hex(codes.sourceStart) + key + U32(3), 10, true},
            {"source's stop", Hex(codes.sourceStop) + key, 6, true}};
}

TEST(StreamLengths, OfEveryAudioDatagram) {
    CScene<CLocalMCUAudio, CAudioChannel, CAudioReceiverDatagrams> scene(
        kAudio, []() -> CLocalMCUAudio& { return *GetLocalMCUAudio(); });
    IAudioSender* sender = CreateAudioSenderUDP(scene.notify, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
    const std::string key = scene.Asked(6);
    IAudioReceiver* receiver =
        CreateAudioReceiverUDP(scene.notify, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, 1);
    const std::string id = scene.Asked(2), sink = scene.SinkID();
    for (const Row& row : PlainRows(kAudio, sink, id, key)) scene.Try(row, false);
    scene.Try({"frame", Hex(kAudio.frame) + id + U32(600) + "frame", 10, false}, false);
    EXPECT_NE(scene.notify.told.find(" frame"), std::string::npos);
    scene.Try({"disconnect", Hex(kAudio.disconnect) + sink, 6, true}, false);
    sender->ReleaseConnections();
    receiver->ReleaseConnections();
}

TEST(StreamLengths, OfEveryVideoDatagramAndTheSessionPacketInIt) {
    CScene<CLocalMCUVideo, CVideoChannel, CVideoReceiverDatagrams> scene(
        kVideo, []() -> CLocalMCUVideo& { return *GetLocalMCUVideo(); });
    IVideoSender* sender = CreateVideoSenderUDP(scene.notify, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
    const std::string key = scene.Asked(6);
    IVideoReceiver* receiver =
        CreateVideoReceiverUDP(scene.notify, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, 1);
    const std::string id = scene.Asked(2), sink = scene.SinkID();
    for (const Row& row : PlainRows(kVideo, sink, id, key)) scene.Try(row, false);
    IVideoReceiver* peer = CreateVideoReceiverP2P(scene.notify, 77, 8);
    std::string peerID;
    for (CVideoReceiver& one : GetLocalMCUVideo()->Tables().receivers.Each())
        if (U32(one.GetVideoReceiverID()) != id) peerID = U32(one.GetVideoReceiverID());
    scene.Answer(kVideo.connectAck, peerID, 601);
    // A packet has no length of its own: what is cut behind its twelve bytes is a shorter one.
    for (const auto& [envelope, name] : {std::pair(Hex(kVideo.frame) + id + U32(600), "receiver"),
                                         std::pair(Hex(kVideo.frame) + peerID + U32(601), "peer"),
                                         std::pair(Hex("0110") + sink, "sink"), std::pair(Hex("0122") + key, "sender")})
        scene.Try({name, envelope + Data(0, std::string(1, '\0')), envelope.size() + 12, false}, true);
    EXPECT_NE(scene.notify.told.find(" key frame"), std::string::npos);
    scene.Try({"disconnect", Hex(kVideo.disconnect) + sink, 6, true}, false);
    sender->ReleaseConnections();
    receiver->ReleaseConnections();
    peer->ReleaseConnections();
}

}  // namespace
