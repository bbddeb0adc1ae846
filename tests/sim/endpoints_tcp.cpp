// Every role over TCP; services and control bytes come from the medium's row.
#include "sim/endpoint_base.h"

#include <gtest/gtest.h>

using namespace endpoints;

namespace {

class CTcpEndpoint : public CEndpoint {
public:
    using CEndpoint::CEndpoint;

    std::vector<std::string> TakeLeft() override {
        std::vector<std::string> frames;
        for (CSentMessage& message : m_pTcp->TakeSent())
            if (message.mode == 0) frames.push_back(std::move(message.bytes));
        return frames;
    }
    int TakeKeepAlives() override {
        const auto frames = CTcpEndpoint::TakeLeft();
        return static_cast<int>(std::count(frames.begin(), frames.end(), std::string(1, m_cKeepAlive)));
    }
    int TakeGoodbyes() override { return m_pTcp->released ? 1 : 0; }
    void SetQueued(unsigned long frames) override { m_pTcp->queued = frames; }
    void Lose() override { m_pTcp->lost = true; }
    /// Boards have no report of what waits, and of receivers files have one alone.
    uint32_t Buffering() override {
        return m_bReported ? CEndpoint::Buffering() : static_cast<uint32_t>(m_pTcp->queued);
    }

protected:
    CFakeTcp* m_pTcp = nullptr;
    char m_cKeepAlive = 0;
    bool m_bReported = false;
};

class CSinkTcp : public CTcpEndpoint {
public:
    CSinkTcp(CTestHost& host, const CTestMedium& medium) : CTcpEndpoint(host, medium) {
        m_pTcp = &m_host.net.NewSession();
        m_host.net.TcpServer().Validate(m_pTcp, static_cast<uint32_t>(m_row.tcp.receiver), U32(kChannelID));
        m_bReported = !m_row.board;
        m_ulID = m_pApp->SinkIDs().at(0);
    }
    void Accept() override {}
    bool IsDisconnected() override { return m_pApp->IsSinkDisconnected(m_ulID); }
    void Arrive(const std::string& frame) override {
        m_pTcp->sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    void Release() override { m_pApp->EndAllSinks(); }

private:
    uint32_t m_ulID;
};

/// One that dials and is answered.
class CTcpDialler : public CTcpEndpoint {
public:
    using CTcpEndpoint::CTcpEndpoint;
    void Arrive(const std::string& frame) override {
        m_pTcp->clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }

protected:
    void Dialled() {
        m_pTcp = &m_host.net.LastClient();
        m_pTcp->clientNotify->OnTcpClientNotifyConnected();
        m_pTcp->TakeSent();
    }
    void Answer(wire::TcpType type, const std::string& payload) {
        m_pTcp->clientNotify->OnTcpClientNotifyValidate(static_cast<unsigned long>(type), payload.data(),
                                                        static_cast<int>(payload.size()));
    }
};

class CSenderTcp : public CTcpDialler {
public:
    CSenderTcp(CTestHost& host, const CTestMedium& medium) : CTcpDialler(host, medium) {
        m_bReported = true;
        m_made = m_pApp->Sender(true, kServer);
        Dialled();
    }
    void Accept() override {
        Answer(m_row.tcp.sender, U32(kChannelID));
        if (m_row.Stops()) Arrive(std::string(1, m_row.tcp.start));
    }
};

/// Video's numbers its frames in bytes 1 and 2.
class CNumberingSenderTcp : public CSenderTcp {
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

class CReceiverTcp : public CTcpDialler {
public:
    CReceiverTcp(CTestHost& host, const CTestMedium& medium, Way way, bool reported = false)
        : CTcpDialler(host, medium) {
        m_bReported = reported;
        m_cKeepAlive = m_row.tcp.start;
        if (way == Way::Server) {
            m_made = m_pApp->Receiver(true, kServer);
        } else {
            m_peer.emplace();
            m_made = m_pApp->PeerReceiver(true);
            m_peer->Announce("P2P_FETCH_ACK", CMediumApp::kPeerUser);
            m_made.IsDisconnected();  // knows the way and dials
        }
        Dialled();
    }
    ~CReceiverTcp() override { m_made.Release(); }
    void Accept() override { Answer(m_row.tcp.receiver, U32(kChannelID) + (m_row.Stops() ? U32(kSinkID) : "")); }

private:
    std::optional<CAnsweringPeer> m_peer;
};

}  // namespace

std::vector<EndpointRow> EndpointsOverTcp() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"FileSinkTCP", Make<CSinkTcp>(kFile), false, false, 2, 2, 0, false, 11, 0, true, 1},
        {"FileSenderTCP", Make<CSenderTcp>(kFile), false, false, 1, 2, 0, false, 12, 0, false, 1},
        {"FileReceiverTCP", Make<CReceiverTcp>(kFile, Way::Server, true), false, false, 2, 2, 0, false, 12, 0, true, 1},
        {"FileReceiverP2PTCP", Make<CReceiverTcp>(kFile, Way::Asking, true), false, false, 2, 2, 0, false, 12, 0, true,
         1},
        {"DesktopSinkTCP", Make<CSinkTcp>(kDesktop), false, false, 2, 2, 0, false, 11, 0, true, 1},
        {"DesktopSenderTCP", Make<CSenderTcp>(kDesktop), false, false, 1, 2, 0, false, 11, 0, false, 1},
        {"DesktopReceiverTCP", Make<CReceiverTcp>(kDesktop, Way::Server), false, false, 2, 2, 0, false, 12, 0, true, 1},
        {"DesktopReceiverP2PTCP", Make<CReceiverTcp>(kDesktop, Way::Asking), false, false, 2, 2, 0, false, 12, 0, true,
         1},
        {"AudioSenderTCP", Make<CSenderTcp>(kAudio), false, false, 1, kNever, 0, false, 11, 0, true, 1},
        {"AudioReceiverTCP", Make<CReceiverTcp>(kAudio, Way::Server), false, false, kNever, 2, 0, false, 12, 1, false,
         1},
        {"VideoSenderTCP", Make<CNumberingSenderTcp>(kVideo), false, false, 4, kNever, 0, false, 11, 0, true, 1},
        {"VideoReceiverTCP", Make<CReceiverTcp>(kVideo, Way::Server), false, false, kNever, 2, 0, false, 12, 1, false,
         1},
        {"WBSinkTCP", Make<CSinkTcp>(kWhiteboard), false, false, 2, 2, 0, false, 11, 0, true, 1},
        {"WBClientTCP", Make<CReceiverTcp>(kWhiteboard, Way::Server), false, false, 2, 2, 0, false, 12, 0, true, 1},
        {"WBClientP2PTCP", Make<CReceiverTcp>(kWhiteboard, Way::Asking), false, false, 2, 2, 0, false, 12, 0, true, 1},
    };
}
