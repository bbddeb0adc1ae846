// The audio medium's rows of the scenario list.
#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"
#include "lumomedia/audio.h"
#include "lumomedia/p2p.h"
#include "sim/endpoint_sides.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"

#include <climits>

using session_wire::ReadU32;
using session_wire::U32;

namespace {

constexpr uint32_t kChannelID = 77;
constexpr uint32_t kPeerID = 0x01020304;
constexpr uint32_t kUser = 9;
constexpr uint32_t kPeerUser = 8;
constexpr int kNever = INT_MAX;

class CAudioEndpoint : public IEndpoint, public IAudioSenderNotify, public IAudioReceiverNotify {
public:
    explicit CAudioEndpoint(CTestHost& host) : m_host(host) {}
    void OnConnected(unsigned long ip) override { m_nConnected += ip != 0; }
    void OnAudioData(const char* data, int length) override {
        delivered.emplace_back(data, static_cast<size_t>(length));
    }
    void Write(const std::string& frame) override {
        m_pChannel->OnAudioChannelData(frame.data(), static_cast<int>(frame.size()));
    }
    uint32_t Buffering() override { return static_cast<uint32_t>(m_pChannel->GetBufferingFrameCount()); }
    int NotifiedConnected() override { return m_nConnected; }

protected:
    CTestHost& m_host;
    std::unique_ptr<CAudioChannel> m_pChannel = std::make_unique<CAudioChannel>(kChannelID);
    int m_nConnected = 0;
};

class CAudioUdpEndpoint : public CAudioEndpoint, protected CUdpSide {
public:
    explicit CAudioUdpEndpoint(CTestHost& host) : CAudioEndpoint(host), CUdpSide(host) {}
    std::vector<std::string> TakeLeft() override {
        std::vector<std::string> frames;
        Collect();
        for (const std::string& datagram : m_out)
            if (datagram.compare(0, FrameOut().size(), FrameOut()) == 0)
                frames.push_back(datagram.substr(FrameOut().size()));
        m_out.clear();
        return frames;
    }
    int TakeKeepAlives() override { return Count(KeepAliveOut()); }
    int TakeGoodbyes() override { return Count(GoodbyeOut()); }

protected:
    virtual std::string FrameOut() const { return "none"; }  // all before the frame
    virtual std::string KeepAliveOut() const { return "none"; }
    virtual std::string GoodbyeOut() const { return "none"; }
};

class CSinkUdp : public CAudioUdpEndpoint {
public:
    explicit CSinkUdp(CTestHost& host) : CAudioUdpEndpoint(host) {
        m_host.Deliver(ConnectRequest());
        m_ulSinkID = ReadU32(m_host.TakeSent().at(0).bytes, 6);
    }
    void Accept() override { m_host.Deliver(Start()); }
    bool IsDisconnected() override {
        bool gone = true;
        GetLocalMCUAudio()->Tables().sinks.With(m_ulSinkID, [&](CAudioSink& sink) { gone = sink.IsDisconnected(); });
        return gone;
    }
    void Arrive(const std::string&) override { m_host.Deliver(Start()); }
    void Release() override { m_host.Deliver(Hex("0008") + U32(m_ulSinkID)); }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectRequest(), Start(), Hex("0006") + U32(m_ulSinkID), Hex("0008") + U32(m_ulSinkID)};
    }

protected:
    static std::string ConnectRequest() { return Hex("0000") + U32(kPeerID) + U32(kChannelID) + U32(kUser); }
    std::string Start() const { return Hex("0004") + U32(m_ulSinkID); }
    std::string FrameOut() const override { return Hex("0002") + U32(kPeerID) + U32(m_ulSinkID); }

private:
    uint32_t m_ulSinkID;
};

class CSenderUdp : public CAudioUdpEndpoint {
public:
    explicit CSenderUdp(CTestHost& host) : CAudioUdpEndpoint(host) {
        m_pSender = CreateAudioSenderUDP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
        m_ulKey = ReadU32(m_host.TakeSent().at(0).bytes, 6);
    }
    ~CSenderUdp() override {
        if (m_pSender) m_pSender->ReleaseConnections();
    }
    void Accept() override {
        m_host.Deliver(ConnectAck());
        m_host.Deliver(Start());
    }
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    void Arrive(const std::string&) override { m_host.Deliver(Start()); }
    void Release() override {
        m_pSender->ReleaseConnections();
        m_pSender = nullptr;
    }
    std::vector<std::string> InboundDatagrams() override { return {ConnectAck(), Start(), Hex("0016") + U32(m_ulKey)}; }

protected:
    std::string ConnectAck() const { return Hex("0013") + U32(m_ulKey) + U32(500) + U32(0); }
    std::string Start() const { return Hex("0014") + U32(m_ulKey) + U32(3); }
    std::string FrameOut() const override { return Hex("0019") + U32(500); }
    std::string GoodbyeOut() const override { return Hex("0018") + U32(500); }

private:
    IAudioSender* m_pSender;
    uint32_t m_ulKey;
};

/// The subscriber over datagrams; who derives makes the receiver.
class CDatagramReceiver : public CAudioUdpEndpoint {
public:
    using CAudioUdpEndpoint::CAudioUdpEndpoint;
    ~CDatagramReceiver() override {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
    }
    void Accept() override { m_host.Deliver(ConnectAck()); }
    bool IsDisconnected() override { return m_pReceiver->IsDisconnected(); }
    void Arrive(const std::string& frame) override { m_host.Deliver(FrameIn() + frame); }
    void Release() override {
        m_pReceiver->ReleaseConnections();
        m_pReceiver = nullptr;
    }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectAck(), Hex("0005") + U32(m_ulID) + U32(600), Hex("0007") + U32(m_ulID) + U32(600),
                FrameIn() + "a frame"};
    }

protected:
    /// Made by now.
    void FindID() {
        GetLocalMCUAudio()->Tables().receivers.ForEach(
            [&](CAudioReceiver& receiver) { m_ulID = receiver.GetAudioReceiverID(); });
        m_host.TakeSent();
    }
    std::string ConnectAck() const { return Hex("0001") + U32(m_ulID) + U32(600); }
    std::string FrameIn() const { return Hex("0002") + U32(m_ulID) + U32(600); }
    std::string KeepAliveOut() const override { return Hex("0004") + U32(600); }
    std::string GoodbyeOut() const override { return Hex("0008") + U32(600); }

    IAudioReceiver* m_pReceiver = nullptr;
    uint32_t m_ulID = 0;
};

class CReceiverUdp : public CDatagramReceiver {
public:
    explicit CReceiverUdp(CTestHost& host) : CDatagramReceiver(host) {
        m_pReceiver = CreateAudioReceiverUDP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0,
                                             0, kUser);
        FindID();
    }
};

class CReceiverWaiting : public CDatagramReceiver {
public:
    explicit CReceiverWaiting(CTestHost& host) : CDatagramReceiver(host) {
        m_pReceiver = CreateAudioReceiverP2P(*this, kChannelID, kPeerUser);
        FindID();
    }
};

class CReceiverAsking : public CDatagramReceiver {
public:
    explicit CReceiverAsking(CTestHost& host) : CDatagramReceiver(host) {
        SetP2PSubscribe(true);
        m_pReceiver = CreateAudioReceiverP2P(*this, kChannelID, kPeerUser);
        SetP2PSubscribe(false);
        m_peer.Announce("P2P_START_ACK", kPeerUser);
        m_host.Deliver(Hex("03 08000000"));
        m_pReceiver->IsDisconnected();  // knows the way and asks
        FindID();
    }

private:
    CAnsweringPeer m_peer;
};

class CAudioTcpEndpoint : public CAudioEndpoint, protected CTcpSide {
public:
    using CAudioEndpoint::CAudioEndpoint;
    std::vector<std::string> TakeLeft() override { return TakeFrames(); }
    int TakeKeepAlives() override { return CountKeepAlives(); }
    int TakeGoodbyes() override { return m_pTcp->released ? 1 : 0; }
    void SetQueued(unsigned long frames) override { m_pTcp->queued = frames; }
    void Lose() override { m_pTcp->lost = true; }
    void Arrive(const std::string& frame) override {
        m_pTcp->clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
};

class CSenderTcp : public CAudioTcpEndpoint {
public:
    explicit CSenderTcp(CTestHost& host) : CAudioTcpEndpoint(host) {
        m_pSender =
            CreateAudioSenderTCP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, "", 0, "", "");
        m_pTcp = &m_host.net.LastClient();
        m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }
    ~CSenderTcp() override {
        if (m_pSender) m_pSender->ReleaseConnections();
    }
    void Accept() override {
        m_pTcp->clientNotify->OnTcpClientNotifyValidate(2, U32(kChannelID).data(), 4);
        CAudioTcpEndpoint::Arrive(std::string(1, '\0'));
    }
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    void Release() override {
        m_pSender->ReleaseConnections();
        m_pSender = nullptr;
    }

private:
    IAudioSender* m_pSender;
};

class CReceiverTcp : public CAudioTcpEndpoint {
public:
    explicit CReceiverTcp(CTestHost& host) : CAudioTcpEndpoint(host) {
        m_pReceiver = CreateAudioReceiverTCP(*this, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0,
                                             0, kUser, 0, "", 0, "", "");
        m_pTcp = &m_host.net.LastClient();
        m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }
    ~CReceiverTcp() override {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
    }
    void Accept() override {
        m_pTcp->clientNotify->OnTcpClientNotifyValidate(3, (U32(kChannelID) + U32(600)).data(), 8);
    }
    bool IsDisconnected() override { return m_pReceiver->IsDisconnected(); }
    uint32_t Buffering() override { return static_cast<uint32_t>(m_pTcp->queued); }  // it has no report of its own
    void Release() override {
        m_pReceiver->ReleaseConnections();
        m_pReceiver = nullptr;
    }

private:
    IAudioReceiver* m_pReceiver;
};

}  // namespace

std::vector<EndpointRow> AudioEndpoints() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"AudioSinkUDP", MakeEndpoint<CSinkUdp>, true, false, 3, kNever, 0, false, 0, 0, false, 0},
        {"AudioSenderUDP", MakeEndpoint<CSenderUdp>, true, false, 3, kNever, 30000, true, 0, 0, false, 3},
        {"AudioReceiverUDP", MakeEndpoint<CReceiverUdp>, true, false, kNever, 1, 30000, true, 12, 2, false, 3},
        {"AudioReceiverP2P", MakeEndpoint<CReceiverWaiting>, true, false, kNever, 1, 4000, false, 12, 2, false, 3},
        {"AudioReceiverP2PAsking", MakeEndpoint<CReceiverAsking>, true, false, kNever, 1, 4000, true, 12, 2, false, 3},
        {"AudioSenderTCP", MakeEndpoint<CSenderTcp>, false, false, 1, kNever, 0, false, 11, 0, true, 1},
        {"AudioReceiverTCP", MakeEndpoint<CReceiverTcp>, false, false, kNever, 2, 0, false, 12, 1, false, 1},
    };
}
