// The media that start and stop, audio and video, as the scenario list sees them over datagrams.
#pragma once

#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"
#include "lumomedia/p2p.h"
#include "lumomedia/video.h"
#include "sim/endpoint_sides.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"
#include "video/local_mcu_video.h"
#include "video/video_sink.h"

#include <climits>

namespace stream_endpoints {

using session_wire::ReadU32;
using session_wire::U32;

inline constexpr uint32_t kChannelID = 77;
inline constexpr uint32_t kPeerID = 0x01020304;
inline constexpr uint32_t kUser = 9;
inline constexpr uint32_t kPeerUser = 8;
inline constexpr int kNever = INT_MAX;

/// Kind and command, readable.
struct Codes {
    const char *connect, *connectAck, *frame, *frameAck, *start, *startAck, *stop, *stopAck, *disconnect;
    const char *sourceConnectAck, *sourceStart, *sourceStop, *sourceFrame, *sourceFrameAck, *sourceDisconnect;
};

struct Audio {
    using Channel = CAudioChannel;
    using Sink = CAudioSink;
    using Sender = IAudioSender;
    using Receiver = IAudioReceiver;
    class CNotify final : public IAudioSenderNotify, public IAudioReceiverNotify {
    public:
        void OnAudioData(const char* data, int length) override { frames->emplace_back(data, length); }
        void OnConnected(unsigned long ip) override { connected += ip != 0; }
        std::vector<std::string>* frames = nullptr;
        CConnects connected;
    };
    static constexpr Codes kCodes{"0000", "0001", "0002", "",     "0004", "0005", "0006", "0007",
                                  "0008", "0013", "0014", "0016", "0019", "",     "0018"};
    static constexpr bool kSession = false;
    static constexpr int kSenderType = 2, kReceiverType = 3;
    static constexpr char kStart = 0;
    static auto& Tables() { return GetLocalMCUAudio()->Tables(); }
    static void Write(Channel& channel, std::string frame) {
        channel.OnAudioChannelData(frame.data(), static_cast<int>(frame.size()));
    }
    static constexpr auto kSenderUDP = CreateAudioSenderUDP;
    static constexpr auto kSenderTCP = CreateAudioSenderTCP;
    static constexpr auto kReceiverUDP = CreateAudioReceiverUDP;
    static constexpr auto kReceiverTCP = CreateAudioReceiverTCP;
    static constexpr auto kReceiverP2P = CreateAudioReceiverP2P;
};

struct Video {
    using Channel = CVideoChannel;
    using Sink = CVideoSink;
    using Sender = IVideoSender;
    using Receiver = IVideoReceiver;
    class CNotify final : public IVideoSenderNotify, public IVideoReceiverNotify {
    public:
        void OnVideoData(const char* data, int length) override { frames->emplace_back(data, length); }
        void OnConnected(unsigned long ip) override { connected += ip != 0; }
        void OnKeyFrameRequest() override { frames->push_back("key frame request"); }
        std::vector<std::string>* frames = nullptr;
        CConnects connected;
    };
    static constexpr Codes kCodes{"0109", "010a", "010f", "0110", "010b", "010c", "010d", "010e",
                                  "0111", "011c", "011d", "011f", "0121", "0122", "0123"};
    static constexpr bool kSession = true;
    static constexpr int kSenderType = 7, kReceiverType = 8;
    static constexpr char kStart = 4;
    static auto& Tables() { return GetLocalMCUVideo()->Tables(); }
    static void Write(Channel& channel, std::string frame) {
        channel.OnVideoChannelData(frame.data(), static_cast<int>(frame.size()));
    }
    static constexpr auto kSenderUDP = CreateVideoSenderUDP;
    static constexpr auto kSenderTCP = CreateVideoSenderTCP;
    static constexpr auto kReceiverUDP = CreateVideoReceiverUDP;
    static constexpr auto kReceiverTCP = CreateVideoReceiverTCP;
    static constexpr auto kReceiverP2P = CreateVideoReceiverP2P;
};

template <class M>
class CStreamEndpoint : public IEndpoint {
public:
    explicit CStreamEndpoint(CTestHost& host) : m_host(host) { m_notify.frames = &delivered; }
    void Write(const std::string& frame) override { M::Write(*m_pChannel, frame); }
    uint32_t Buffering() override { return static_cast<uint32_t>(m_pChannel->GetBufferingFrameCount()); }
    int NotifiedConnected() override { return m_notify.connected.count; }

protected:
    CTestHost& m_host;
    typename M::CNotify m_notify;
    std::unique_ptr<typename M::Channel> m_pChannel = std::make_unique<typename M::Channel>(kChannelID);
};

template <class M>
class CUdpStream : public CStreamEndpoint<M>, protected CUdpSide {
public:
    explicit CUdpStream(CTestHost& host) : CStreamEndpoint<M>(host), CUdpSide(host) {}
    std::vector<std::string> TakeLeft() override {
        return M::kSession ? TakeSessionFrames(FrameOut(), FrameOut().size(), FrameIn()) : TakePlainFrames(FrameOut());
    }
    int TakeKeepAlives() override { return Count(KeepAliveOut()); }
    int TakeGoodbyes() override { return Count(GoodbyeOut()); }

protected:
    static constexpr const Codes& kCodes = M::kCodes;
    /// A command and its ID.
    static std::string Say(const char* code, uint32_t id) { return Hex(code) + U32(id); }
    virtual std::string FrameOut() const { return "none"; }  // the envelope
    virtual std::string FrameIn() const { return "none"; }
    virtual std::string KeepAliveOut() const { return "none"; }
    virtual std::string GoodbyeOut() const { return "none"; }
};

template <class M>
class CSinkUdp : public CUdpStream<M> {
public:
    explicit CSinkUdp(CTestHost& host) : CUdpStream<M>(host) {
        host.Deliver(ConnectRequest());
        m_ulSinkID = ReadU32(host.TakeSent().at(0).bytes, 6);
    }
    void Accept() override { this->m_host.Deliver(ToSink(M::kCodes.start)); }
    bool IsDisconnected() override {
        bool gone = true;
        M::Tables().sinks.With(m_ulSinkID, [&](typename M::Sink& sink) { gone = sink.IsDisconnected(); });
        return gone;
    }
    void Arrive(const std::string& frame) override {
        this->m_host.Deliver(M::kSession ? FrameIn() + session_wire::Data(m_usNext++, frame) : ToSink(M::kCodes.start));
    }
    void Release() override { this->m_host.Deliver(ToSink(M::kCodes.disconnect)); }
    std::vector<std::string> InboundDatagrams() override {
        std::vector<std::string> all = {ConnectRequest(), ToSink(M::kCodes.start), ToSink(M::kCodes.stop)};
        if (M::kSession) all.push_back(FrameIn() + session_wire::Data(0, std::string(1, '\0')));
        all.push_back(ToSink(M::kCodes.disconnect));
        return all;
    }

protected:
    static std::string ConnectRequest() { return Hex(M::kCodes.connect) + U32(kPeerID) + U32(kChannelID) + U32(kUser); }
    std::string ToSink(const char* code) const { return this->Say(code, m_ulSinkID); }
    std::string FrameOut() const override { return Hex(M::kCodes.frame) + U32(kPeerID) + U32(m_ulSinkID); }
    std::string FrameIn() const override { return ToSink(M::kCodes.frameAck); }

private:
    uint32_t m_ulSinkID;
    uint16_t m_usNext = 0;
};

template <class M>
class CSenderUdp : public CUdpStream<M> {
public:
    explicit CSenderUdp(CTestHost& host) : CUdpStream<M>(host) {
        m_pSender = M::kSenderUDP(this->m_notify, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
        m_ulKey = ReadU32(host.TakeSent().at(0).bytes, 6);
    }
    ~CSenderUdp() override {
        if (m_pSender) m_pSender->ReleaseConnections();
    }
    void Accept() override {
        this->m_host.Deliver(ConnectAck());
        this->m_host.Deliver(Start());
    }
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    void Arrive(const std::string& frame) override {
        this->m_host.Deliver(M::kSession ? FrameIn() + session_wire::Data(m_usNext++, frame) : Start());
    }
    bool TryRelease() override {
        m_pSender->ReleaseConnections();
        return true;
    }
    void Release() override {
        TryRelease();
        m_pSender = nullptr;
    }
    std::vector<std::string> InboundDatagrams() override {
        std::vector<std::string> all = {ConnectAck(), Start(), this->Say(M::kCodes.sourceStop, m_ulKey)};
        if (M::kSession) all.push_back(FrameIn() + session_wire::Data(0, "up"));
        return all;
    }

protected:
    std::string ConnectAck() const { return this->Say(M::kCodes.sourceConnectAck, m_ulKey) + U32(500) + U32(0); }
    std::string Start() const { return this->Say(M::kCodes.sourceStart, m_ulKey) + U32(3); }
    std::string FrameOut() const override { return this->Say(M::kCodes.sourceFrame, 500); }
    std::string FrameIn() const override { return this->Say(M::kCodes.sourceFrameAck, m_ulKey); }
    std::string GoodbyeOut() const override { return this->Say(M::kCodes.sourceDisconnect, 500); }

private:
    typename M::Sender* m_pSender;
    uint32_t m_ulKey;
    uint16_t m_usNext = 0;
};

/// The subscriber over datagrams; who derives makes the receiver.
template <class M>
class CDatagramReceiver : public CUdpStream<M> {
public:
    using CUdpStream<M>::CUdpStream;
    ~CDatagramReceiver() override {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
    }
    void Accept() override { this->m_host.Deliver(ToReceiver(M::kCodes.connectAck)); }
    bool IsDisconnected() override { return m_pReceiver->IsDisconnected(); }
    void Arrive(const std::string& frame) override {
        this->m_host.Deliver(FrameIn() + (M::kSession ? session_wire::Data(m_usNext++, frame) : frame));
    }
    bool TryRelease() override {
        m_pReceiver->ReleaseConnections();
        return true;
    }
    void Release() override {
        TryRelease();
        m_pReceiver = nullptr;
    }
    std::vector<std::string> InboundDatagrams() override {
        return {ToReceiver(M::kCodes.connectAck), ToReceiver(M::kCodes.startAck), ToReceiver(M::kCodes.stopAck),
                FrameIn() + (M::kSession ? session_wire::Data(0, "a frame") : "a frame")};
    }

protected:
    /// Made by now.
    void FindID() {
        for (auto& receiver : M::Tables().receivers.Each()) m_ulID = receiver.ReceiverID();
        this->m_host.TakeSent();
    }
    std::string ToReceiver(const char* code) const { return this->Say(code, m_ulID) + U32(600); }
    std::string FrameIn() const override { return ToReceiver(M::kCodes.frame); }
    std::string KeepAliveOut() const override { return this->Say(M::kCodes.start, 600); }
    std::string GoodbyeOut() const override { return this->Say(M::kCodes.disconnect, 600); }

    typename M::Receiver* m_pReceiver = nullptr;

private:
    uint32_t m_ulID = 0;
    uint16_t m_usNext = 0;
};

template <class M>
class CReceiverUdp : public CDatagramReceiver<M> {
public:
    explicit CReceiverUdp(CTestHost& host) : CDatagramReceiver<M>(host) {
        this->m_pReceiver = M::kReceiverUDP(this->m_notify, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort,
                                            0, 0, 0, 0, kUser);
        this->FindID();
    }
};

template <class M>
class CReceiverWaiting : public CDatagramReceiver<M> {
public:
    explicit CReceiverWaiting(CTestHost& host) : CDatagramReceiver<M>(host) {
        this->m_pReceiver = M::kReceiverP2P(this->m_notify, kChannelID, kPeerUser);
        this->FindID();
    }
};

template <class M>
class CReceiverAsking : public CDatagramReceiver<M> {
public:
    explicit CReceiverAsking(CTestHost& host) : CDatagramReceiver<M>(host) {
        SetP2PSubscribe(true);
        this->m_pReceiver = M::kReceiverP2P(this->m_notify, kChannelID, kPeerUser);
        SetP2PSubscribe(false);
        m_peer.Announce("P2P_START_ACK", kPeerUser);
        host.Deliver(Hex("03 08000000"));
        this->m_pReceiver->IsDisconnected();  // knows the way and asks
        this->FindID();
    }

private:
    CAnsweringPeer m_peer;
};

}  // namespace stream_endpoints
