// One role of one medium over one transport, as the scenario list sees it: the application on one side, the wire on the
// other. What the far side says and hears comes from the medium's row, so that each role serves all media.
#pragma once

#include "lumomedia/p2p.h"
#include "support/medium_app.h"
#include "support/medium_wire.h"
#include "support/p2p_peer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace endpoints {

using session_wire::ReadU32;
using session_wire::U32;

inline constexpr uint32_t kChannelID = CMediumApp::kChannelID;
inline constexpr uint32_t kSinkID = 600, kSourceID = 500;  // as the server numbers them
inline constexpr uint32_t kReceiverID = 0x01020304;        // of a receiver elsewhere
inline const CMcuAddress kServer{{CTestHost::kPeerIP, 0, 0}, CTestHost::kPeerPort};

enum class Role { Sink, Sender, Receiver };
/// How a receiver comes to its channel: at a server, at the publisher's alone, or at a peer, which it waits for or
/// asks.
enum class Way { Server, PublishersOnly, Waiting, Asking };

inline constexpr int kNever = INT_MAX;
/// A connectTimeout: asked at any time, the endpoint calls itself gone, and does nothing else.
inline constexpr uint32_t kNeverThere = UINT32_MAX;

/// What differs between endpoints is a number or a name here, never an `if` in a scenario.
struct EndpointRow {
    const char* name;
    const CTestMedium& medium;
    Role role;
    Way way;
    bool session;             ///< frames wait in a queue and travel in the reliable session
    int minWrite;             ///< shortest frame that goes out
    int minArrive;            ///< shortest frame that the application gets
    uint32_t connectTimeout;  ///< ms until an unaccepted endpoint reports itself gone; 0: it is made accepted
    bool resendsConnect;      ///< each poll before acceptance asks again
    int keepAliveEvery;       ///< polls of an idle endpoint; 0: sends none
    int keepAlivesAtAccept;
    bool dataRestartsKeepAlive;
    int goodbyes;
    bool tcp = false;
    bool reportsQueue = true;  ///< the channel reports what waits here
};
inline std::ostream& operator<<(std::ostream& out, const EndpointRow& row) { return out << row.name; }

class CEndpoint {
public:
    CEndpoint(CTestHost& host, const EndpointRow& row)
        : m_host(host), m_row(row), m_medium(row.medium.row), m_pApp(row.medium.make(kChannelID)) {}
    virtual ~CEndpoint() = default;
    CEndpoint(const CEndpoint&) = delete;
    CEndpoint& operator=(const CEndpoint&) = delete;

    CMediumApp& App() { return *m_pApp; }
    bool IsDisconnected() { return m_ulSinkID ? m_pApp->IsSinkDisconnected(m_ulSinkID) : m_made.IsDisconnected(); }
    /// The application releases what it holds, which may be refused. False when that is nothing: a sink.
    bool TryRelease() {
        if (m_made) m_made.AskForRelease();
        return static_cast<bool>(m_made);
    }
    /// Ends the endpoint as its owner would.
    void Release() {
        m_made.Release();
        if (m_ulSinkID) m_pApp->EndAllSinks();
    }
    /// The far side takes the endpoint (a sink: is taken).
    virtual void Accept() = 0;
    /// Frames that have left towards the far side since the last call, acknowledged as they come.
    virtual std::vector<std::string> TakeLeft() = 0;
    /// The far side sends a frame.
    virtual void Arrive(const std::string& frame) = 0;
    /// Keep-alives, and goodbyes, that have left since the last call.
    virtual int TakeKeepAlives() = 0;
    virtual int TakeGoodbyes() = 0;

    /// Every datagram that the far side may send to this endpoint, in an order in which each does something.
    std::vector<std::string> inbound;
    CFakeTcp* tcp = nullptr;  // null: over UDP

protected:
    /// The peer's way is told to a receiver that looks for it, which asks there.
    void FindPeer(bool overTcp) {
        m_peer.emplace();
        SetP2PSubscribe(m_row.way == Way::Asking);
        m_made = m_pApp->PeerReceiver(overTcp);
        SetP2PSubscribe(false);
        m_peer->Announce(overTcp ? "P2P_FETCH_ACK" : "P2P_START_ACK", CMediumApp::kPeerUser);
        if (!overTcp) m_host.Deliver(Hex("03 08000000"));
        m_made.IsDisconnected();
    }
    bool AtPeer() const { return m_row.way == Way::Waiting || m_row.way == Way::Asking; }

    CTestHost& m_host;
    const EndpointRow& m_row;
    const CMediumRow& m_medium;
    const std::unique_ptr<CMediumApp> m_pApp;
    std::optional<CAnsweringPeer> m_peer;
    CMade m_made;             // nothing: a sink
    uint32_t m_ulSinkID = 0;  // 0: no sink
};

class CUdpEndpoint final : public CEndpoint {
public:
    CUdpEndpoint(CTestHost& host, const EndpointRow& row) : CEndpoint(host, row) {
        if (row.role == Role::Sink) MakeSink(m_medium.sink);
        if (row.role == Role::Sender) MakeSender(m_medium.source);
        if (row.role == Role::Receiver) MakeReceiver(m_medium.sink);
    }
    void Accept() override {
        for (const std::string& datagram : m_accepting) m_host.Deliver(datagram);
    }
    std::vector<std::string> TakeLeft() override {
        std::vector<std::string> frames;
        Collect();
        for (size_t i = 0; i < m_out.size(); ++i) {  // grows while acknowledgements let more out
            if (!m_out[i].starts_with(m_frameOut)) continue;
            std::string frame = m_out[i].substr(m_frameOut.size());
            if (m_medium.session) {
                if (!session_wire::IsData(frame)) continue;
                m_host.Deliver(m_frameIn + session_wire::Ack(session_wire::Sequence(frame)));
                frame = session_wire::Payload(frame);
                Collect();
            }
            frames.push_back(frame);
        }
        m_out.clear();
        return frames;
    }
    void Arrive(const std::string& frame) override {
        if (m_medium.session)
            m_host.Deliver(m_frameIn + session_wire::Data(m_usNext++, frame));
        else
            m_host.Deliver(m_row.role == Role::Receiver ? m_frameIn + frame : m_accepting.back());
    }
    int TakeKeepAlives() override { return Count(m_keepAliveOut); }
    int TakeGoodbyes() override { return Count(m_goodbyeOut); }

private:
    std::string Say(uint8_t command, std::initializer_list<uint32_t> fields) const {
        return Datagram(m_medium, command, fields);
    }
    void MakeSink(const CSinkRow& sink) {
        const std::string user = sink.namesUser ? U32(CMediumApp::kUserID) : "";
        const std::string request = Say(sink.connect, {kReceiverID, kChannelID}) + user;
        m_host.Deliver(request);
        m_ulSinkID = ReadU32(m_host.TakeSent().at(0).bytes, 6);
        m_accepting = {Say(sink.keepAlive, {m_ulSinkID})};
        m_frameOut = Say(sink.frame, {kReceiverID, m_ulSinkID});
        m_frameIn = Say(sink.frameAck, {m_ulSinkID});
        inbound = {request, m_accepting[0]};
        if (m_medium.Stops()) inbound.push_back(Say(sink.stop, {m_ulSinkID}));
        if (m_medium.session) inbound.push_back(m_frameIn + session_wire::Data(0, std::string(1, '\0')));
        inbound.push_back(Say(sink.disconnect, {m_ulSinkID}));
    }
    void MakeSender(const CSourceRow& source) {
        m_made = m_pApp->Sender(false, kServer);
        const uint32_t key = ReadU32(m_host.TakeSent().at(0).bytes, 6);
        const std::string keepAlive = Say(source.keepAlive, {key}) + (m_medium.Stops() ? U32(3) : "");
        m_accepting = {Say(source.connectAck, {key, kSourceID, 0})};
        inbound = {m_accepting[0], keepAlive};
        if (m_medium.Stops()) m_accepting.push_back(keepAlive);
        m_frameOut = Say(source.frame, {kSourceID});
        m_frameIn = Say(source.frameAck, {key});
        m_goodbyeOut = Say(source.disconnect, {kSourceID});
        if (m_medium.Stops()) inbound.push_back(Say(source.stop, {key}));
        if (m_medium.session) inbound.push_back(m_frameIn + session_wire::Data(0, "up"));
    }
    void MakeReceiver(const CSinkRow& sink) {
        const std::vector<uint32_t> known = m_pApp->ReceiverIDs();
        if (AtPeer())
            FindPeer(false);
        else
            m_made = m_pApp->Receiver(false, kServer, {}, m_row.way == Way::PublishersOnly);
        m_host.TakeSent();
        uint32_t own = 0;
        for (const uint32_t id : m_pApp->ReceiverIDs())
            if (std::find(known.begin(), known.end(), id) == known.end()) own = id;
        m_accepting = {Say(sink.connectAck, {own, kSinkID})};
        if (m_medium.session) m_frameOut = Say(sink.frameAck, {kSinkID});
        m_frameIn = Say(sink.frame, {own, kSinkID});
        m_keepAliveOut = Say(sink.keepAlive, {kSinkID});
        m_goodbyeOut = Say(sink.disconnect, {kSinkID});
        inbound = {m_accepting[0], Say(sink.keepAliveAck, {own, kSinkID})};
        if (m_medium.Stops()) inbound.push_back(Say(sink.stopAck, {own, kSinkID}));
        inbound.push_back(m_frameIn + (m_medium.session ? session_wire::Data(0, "a frame") : "a frame"));
    }
    void Collect() {
        for (CSentDatagram& datagram : m_host.TakeSent()) m_out.push_back(std::move(datagram.bytes));
    }
    int Count(const std::string& start) {
        Collect();
        const auto count = std::count_if(m_out.begin(), m_out.end(), [&](auto& one) { return one.starts_with(start); });
        m_out.clear();
        return static_cast<int>(count);
    }

    std::vector<std::string> m_out, m_accepting;
    /// How datagrams begin; what an endpoint does not send begins as nothing does.
    std::string m_frameOut = "none", m_frameIn = "none", m_keepAliveOut = "none", m_goodbyeOut = "none";
    uint16_t m_usNext = 0;
};

class CTcpEndpoint final : public CEndpoint {
public:
    CTcpEndpoint(CTestHost& host, const EndpointRow& row) : CEndpoint(host, row) {
        if (row.role == Role::Sink) {
            tcp = &m_host.net.NewSession();
            m_host.net.TcpServer().Validate(tcp, static_cast<uint32_t>(m_medium.tcp.receiver), U32(kChannelID));
            m_ulSinkID = m_pApp->SinkIDs().at(0);
            return;
        }
        if (row.role == Role::Sender)
            m_made = m_pApp->Sender(true, kServer);
        else if (AtPeer())
            FindPeer(true);
        else
            m_made = m_pApp->Receiver(true, kServer);
        tcp = &m_host.net.LastClient();
        tcp->clientNotify->OnTcpClientNotifyConnected();
        tcp->TakeSent();
    }
    void Accept() override {
        if (m_row.role == Role::Sender) {
            Answer(m_medium.tcp.sender, U32(kChannelID));
            if (m_medium.Stops()) Arrive(std::string(1, m_medium.tcp.start));
        } else if (m_row.role == Role::Receiver) {
            Answer(m_medium.tcp.receiver, U32(kChannelID) + (m_medium.Stops() ? U32(kSinkID) : ""));
        }
    }
    std::vector<std::string> TakeLeft() override {
        const bool numbers = m_row.role == Role::Sender && m_medium.tcp.keyFrame != 0;  // its frames, in bytes 1 and 2
        std::vector<std::string> frames;
        for (CSentMessage& message : tcp->TakeSent()) {
            if (message.mode != 0) continue;
            std::string& frame = frames.emplace_back(std::move(message.bytes));
            if (!numbers || frame.size() < 4) continue;
            EXPECT_EQ(frame.substr(1, 2), U32(m_ulNumber++).substr(2));
            frame[1] = frame[2] = frame[0];
        }
        return frames;
    }
    void Arrive(const std::string& frame) override {
        if (m_ulSinkID)
            tcp->sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
        else
            tcp->clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    int TakeKeepAlives() override {
        const char byte = m_row.role == Role::Receiver ? m_medium.tcp.start : '\0';
        const auto frames = TakeLeft();
        return static_cast<int>(std::count(frames.begin(), frames.end(), std::string(1, byte)));
    }
    int TakeGoodbyes() override { return tcp->released ? 1 : 0; }

private:
    void Answer(wire::TcpType type, const std::string& payload) {
        tcp->clientNotify->OnTcpClientNotifyValidate(static_cast<unsigned long>(type), payload.data(),
                                                     static_cast<int>(payload.size()));
    }

    uint32_t m_ulNumber = 0;
};

inline std::unique_ptr<CEndpoint> MakeEndpoint(CTestHost& host, const EndpointRow& row) {
    if (row.tcp) return std::make_unique<CTcpEndpoint>(host, row);
    return std::make_unique<CUdpEndpoint>(host, row);
}

}  // namespace endpoints
