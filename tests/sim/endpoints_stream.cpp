// The rows of the media that start and stop, audio and video, of the scenario list; and their TCP side.
#include "sim/endpoints_stream.h"

#include <gtest/gtest.h>

using namespace stream_endpoints;

namespace {

template <class M>
class CTcpStream : public CStreamEndpoint<M>, protected CTcpSide {
public:
    using CStreamEndpoint<M>::CStreamEndpoint;
    std::vector<std::string> TakeLeft() override { return TakeFrames(); }
    int TakeGoodbyes() override { return m_pTcp->released ? 1 : 0; }
    void SetQueued(unsigned long frames) override { m_pTcp->queued = frames; }
    void Lose() override { m_pTcp->lost = true; }
    void Arrive(const std::string& frame) override {
        m_pTcp->clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
};

template <class M>
class CSenderTcp : public CTcpStream<M> {
public:
    explicit CSenderTcp(CTestHost& host) : CTcpStream<M>(host) {
        m_pSender =
            M::kSenderTCP(this->m_notify, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, "", 0, "", "");
        this->m_pTcp = &host.net.LastClient();
        this->m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }
    ~CSenderTcp() override {
        if (m_pSender) m_pSender->ReleaseConnections();
    }
    int TakeKeepAlives() override { return this->CountKeepAlives(0); }
    void Accept() override {
        this->m_pTcp->clientNotify->OnTcpClientNotifyValidate(M::kSenderType, U32(kChannelID).data(), 4);
        CTcpStream<M>::Arrive(std::string(1, M::kStart));
    }
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    bool TryRelease() override {
        m_pSender->ReleaseConnections();
        return true;
    }
    void Release() override {
        TryRelease();
        m_pSender = nullptr;
    }

private:
    typename M::Sender* m_pSender;
};

/// Video's numbers its frames in bytes 1 and 2.
class CNumberingSenderTcp : public CSenderTcp<Video> {
public:
    using CSenderTcp::CSenderTcp;
    std::vector<std::string> TakeLeft() override {
        std::vector<std::string> frames = CSenderTcp::TakeLeft();
        for (std::string& frame : frames) {
            if (frame.size() < 4) continue;
            EXPECT_EQ(frame.substr(1, 2), U32(m_ulNext++).substr(2));
            frame[1] = frame[2] = frame[0];
        }
        return frames;
    }

private:
    uint32_t m_ulNext = 0;
};

template <class M>
class CReceiverTcp : public CTcpStream<M> {
public:
    explicit CReceiverTcp(CTestHost& host) : CTcpStream<M>(host) {
        m_pReceiver = M::kReceiverTCP(this->m_notify, kChannelID, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0,
                                      0, 0, kUser, 0, "", 0, "", "");
        this->m_pTcp = &host.net.LastClient();
        this->m_pTcp->clientNotify->OnTcpClientNotifyConnected();
    }
    ~CReceiverTcp() override {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
    }
    int TakeKeepAlives() override { return this->CountKeepAlives(M::kStart); }
    void Accept() override {
        const std::string answer = U32(kChannelID) + U32(600);
        this->m_pTcp->clientNotify->OnTcpClientNotifyValidate(M::kReceiverType, answer.data(), 8);
    }
    bool IsDisconnected() override { return m_pReceiver->IsDisconnected(); }
    // It has no report of its own.
    uint32_t Buffering() override { return static_cast<uint32_t>(this->m_pTcp->queued); }
    bool TryRelease() override {
        m_pReceiver->ReleaseConnections();
        return true;
    }
    void Release() override {
        TryRelease();
        m_pReceiver = nullptr;
    }

private:
    typename M::Receiver* m_pReceiver;
};

}  // namespace

std::vector<EndpointRow> StreamEndpoints() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"AudioSinkUDP", MakeEndpoint<CSinkUdp<Audio>>, true, false, 3, kNever, 0, false, 0, 0, false, 0},
        {"AudioSenderUDP", MakeEndpoint<CSenderUdp<Audio>>, true, false, 3, kNever, 30000, true, 0, 0, false, 3},
        {"AudioReceiverUDP", MakeEndpoint<CReceiverUdp<Audio>>, true, false, kNever, 1, 30000, true, 12, 2, false, 3},
        {"AudioReceiverP2P", MakeEndpoint<CReceiverWaiting<Audio>>, true, false, kNever, 1, 4000, false, 12, 2, false,
         3},
        {"AudioReceiverP2PAsking", MakeEndpoint<CReceiverAsking<Audio>>, true, false, kNever, 1, 4000, true, 12, 2,
         false, 3},
        {"AudioSenderTCP", MakeEndpoint<CSenderTcp<Audio>>, false, false, 1, kNever, 0, false, 11, 0, true, 1},
        {"AudioReceiverTCP", MakeEndpoint<CReceiverTcp<Audio>>, false, false, kNever, 2, 0, false, 12, 1, false, 1},
        {"VideoSinkUDP", MakeEndpoint<CSinkUdp<Video>>, true, true, 4, kNever, 0, false, 0, 0, false, 0},
        {"VideoSenderUDP", MakeEndpoint<CSenderUdp<Video>>, true, true, 4, kNever, 30000, true, 0, 0, false, 3},
        {"VideoReceiverUDP", MakeEndpoint<CReceiverUdp<Video>>, true, false, kNever, 1, 30000, true, 12, 2, false, 3},
        {"VideoReceiverP2P", MakeEndpoint<CReceiverWaiting<Video>>, true, false, kNever, 1, 4000, false, 12, 2, false,
         3},
        {"VideoReceiverP2PAsking", MakeEndpoint<CReceiverAsking<Video>>, true, false, kNever, 1, 4000, true, 12, 2,
         false, 3},
        {"VideoSenderTCP", MakeEndpoint<CNumberingSenderTcp>, false, false, 4, kNever, 0, false, 11, 0, true, 1},
        {"VideoReceiverTCP", MakeEndpoint<CReceiverTcp<Video>>, false, false, kNever, 2, 0, false, 12, 1, false, 1},
    };
}
