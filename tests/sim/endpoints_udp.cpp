// Every role over UDP: what the far side says and hears comes from the medium's row, so that each serves all media.
#include "sim/endpoint_base.h"

using namespace endpoints;

namespace {

constexpr uint32_t kPeerID = 0x01020304;  // of a receiver elsewhere
constexpr uint32_t kSourceID = 500;       // as the server numbers it

/// How datagrams begin; what an endpoint does not send or take begins as nothing does.
class CDatagramEndpoint : public CEndpoint {
public:
    using CEndpoint::CEndpoint;

    std::vector<std::string> TakeLeft() override {
        std::vector<std::string> frames;
        Collect();
        for (size_t i = 0; i < m_out.size(); ++i) {  // grows while acknowledgements let more out
            if (!m_out[i].starts_with(FrameOut())) continue;
            std::string frame = m_out[i].substr(FrameOut().size());
            if (m_row.session) {
                if (!session_wire::IsData(frame)) continue;
                m_host.Deliver(FrameIn() + session_wire::Ack(session_wire::Sequence(frame)));
                frame = session_wire::Payload(frame);
                Collect();
            }
            frames.push_back(frame);
        }
        m_out.clear();
        return frames;
    }
    void Arrive(const std::string& frame) override {
        m_host.Deliver(FrameIn() + (m_row.session ? session_wire::Data(m_usNext++, frame) : frame));
    }
    int TakeKeepAlives() override { return Count(KeepAliveOut()); }
    int TakeGoodbyes() override { return Count(GoodbyeOut()); }

protected:
    virtual std::string FrameOut() const { return "none"; }
    virtual std::string FrameIn() const { return "none"; }
    virtual std::string KeepAliveOut() const { return "none"; }
    virtual std::string GoodbyeOut() const { return "none"; }
    std::string Say(uint8_t command, std::initializer_list<uint32_t> fields) const {
        return Datagram(m_row, command, fields);
    }
    /// The datagram of a frame, where frames arrive.
    void AddFrame(std::vector<std::string>& datagrams, const std::string& frame) const {
        if (m_row.session) datagrams.push_back(FrameIn() + session_wire::Data(0, frame));
    }

private:
    void Collect() {
        for (CSentDatagram& datagram : m_host.TakeSent()) m_out.push_back(std::move(datagram.bytes));
    }
    int Count(const std::string& start) {
        Collect();
        const auto count = std::count_if(m_out.begin(), m_out.end(), [&](auto& one) { return one.starts_with(start); });
        m_out.clear();
        return static_cast<int>(count);
    }

    std::vector<std::string> m_out;
    uint16_t m_usNext = 0;
};

class CSinkUdp : public CDatagramEndpoint {
public:
    CSinkUdp(CTestHost& host, const CTestMedium& medium) : CDatagramEndpoint(host, medium) {
        m_host.Deliver(Request());
        m_ulID = ReadU32(m_host.TakeSent().at(0).bytes, 6);
    }
    void Accept() override { m_host.Deliver(KeepAlive()); }
    bool IsDisconnected() override { return m_pApp->IsSinkDisconnected(m_ulID); }
    void Arrive(const std::string& frame) override {
        if (m_row.session)
            CDatagramEndpoint::Arrive(frame);
        else
            m_host.Deliver(KeepAlive());
    }
    void Release() override { m_host.Deliver(Say(m_row.sink.disconnect, {m_ulID})); }
    std::vector<std::string> InboundDatagrams() override {
        std::vector<std::string> all = {Request(), KeepAlive()};
        if (m_row.Stops()) all.push_back(Say(m_row.sink.stop, {m_ulID}));
        AddFrame(all, std::string(1, '\0'));
        all.push_back(Say(m_row.sink.disconnect, {m_ulID}));
        return all;
    }

protected:
    std::string Request() const {
        const std::string user = m_row.sink.namesUser ? U32(CMediumApp::kUserID) : "";
        return Say(m_row.sink.connect, {kPeerID, kChannelID}) + user;
    }
    std::string KeepAlive() const { return Say(m_row.sink.keepAlive, {m_ulID}); }
    std::string FrameOut() const override { return Say(m_row.sink.frame, {kPeerID, m_ulID}); }
    std::string FrameIn() const override { return Say(m_row.sink.frameAck, {m_ulID}); }

private:
    uint32_t m_ulID;
};

class CSenderUdp : public CDatagramEndpoint {
public:
    CSenderUdp(CTestHost& host, const CTestMedium& medium) : CDatagramEndpoint(host, medium) {
        m_made = m_pApp->Sender(false, kServer);
        m_ulKey = ReadU32(m_host.TakeSent().at(0).bytes, 6);
    }
    void Accept() override {
        m_host.Deliver(ConnectAck());
        if (m_row.Stops()) m_host.Deliver(KeepAlive());
    }
    void Arrive(const std::string& frame) override {
        if (m_row.session)
            CDatagramEndpoint::Arrive(frame);
        else
            m_host.Deliver(KeepAlive());
    }
    std::vector<std::string> InboundDatagrams() override {
        std::vector<std::string> all = {ConnectAck(), KeepAlive()};
        if (m_row.Stops()) all.push_back(Say(m_row.source.stop, {m_ulKey}));
        AddFrame(all, "up");
        return all;
    }

protected:
    std::string ConnectAck() const { return Say(m_row.source.connectAck, {m_ulKey, kSourceID, 0}); }
    std::string KeepAlive() const { return Say(m_row.source.keepAlive, {m_ulKey}) + (m_row.Stops() ? U32(3) : ""); }
    std::string FrameOut() const override { return Say(m_row.source.frame, {kSourceID}); }
    std::string FrameIn() const override { return Say(m_row.source.frameAck, {m_ulKey}); }
    std::string GoodbyeOut() const override { return Say(m_row.source.disconnect, {kSourceID}); }

private:
    uint32_t m_ulKey;
};

class CReceiverUdp : public CDatagramEndpoint {
public:
    CReceiverUdp(CTestHost& host, const CTestMedium& medium, Way way) : CDatagramEndpoint(host, medium) {
        const std::vector<uint32_t> known = m_pApp->ReceiverIDs();
        if (way == Way::Waiting || way == Way::Asking) {
            m_peer.emplace();
            SetP2PSubscribe(way == Way::Asking);
            m_made = m_pApp->PeerReceiver(false);
            SetP2PSubscribe(false);
            m_peer->Announce("P2P_START_ACK", CMediumApp::kPeerUser);
            m_host.Deliver(Hex("03 08000000"));
            m_made.IsDisconnected();  // knows the way, and asks where it is to
        } else {
            m_made = m_pApp->Receiver(false, kServer, {}, way == Way::PublishersOnly);
        }
        for (const uint32_t id : m_pApp->ReceiverIDs())
            if (std::find(known.begin(), known.end(), id) == known.end()) m_ulID = id;
        m_host.TakeSent();
    }
    ~CReceiverUdp() override { m_made.Release(); }
    void Accept() override { m_host.Deliver(ToReceiver(m_row.sink.connectAck)); }
    std::vector<std::string> InboundDatagrams() override {
        std::vector<std::string> all = {ToReceiver(m_row.sink.connectAck), ToReceiver(m_row.sink.keepAliveAck)};
        if (m_row.Stops()) all.push_back(ToReceiver(m_row.sink.stopAck));
        all.push_back(FrameIn() + (m_row.session ? session_wire::Data(0, "a frame") : "a frame"));
        return all;
    }

protected:
    std::string ToReceiver(uint8_t command) const { return Say(command, {m_ulID, kSinkID}); }
    std::string FrameOut() const override { return m_row.session ? Say(m_row.sink.frameAck, {kSinkID}) : "none"; }
    std::string FrameIn() const override { return ToReceiver(m_row.sink.frame); }
    std::string KeepAliveOut() const override { return Say(m_row.sink.keepAlive, {kSinkID}); }
    std::string GoodbyeOut() const override { return Say(m_row.sink.disconnect, {kSinkID}); }

private:
    std::optional<CAnsweringPeer> m_peer;
    uint32_t m_ulID = 0;
};

}  // namespace

std::vector<EndpointRow> EndpointsOverUdp() {
    return {
        // name, make, udp, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept, restarts,
        // goodbyes
        {"FileSinkUDP", Make<CSinkUdp>(kFile), true, true, 2, 1, 0, false, 0, 0, false, 0},
        {"FileSenderUDP", Make<CSenderUdp>(kFile), true, true, 2, 2, 2000, true, 0, 0, false, 3},
        {"FileReceiverUDP", Make<CReceiverUdp>(kFile, Way::Server), true, true, 2, 2, 30000, true, 12, 1, false, 3},
        {"FileReceiverUDPPublishersOnly", Make<CReceiverUdp>(kFile, Way::PublishersOnly), true, true, 2, 2, 4000, true,
         12, 1, false, 3},
        {"FileReceiverP2P", Make<CReceiverUdp>(kFile, Way::Waiting), true, true, 2, 2, 2000, true, 12, 1, false, 3},
        {"DesktopSinkUDP", Make<CSinkUdp>(kDesktop), true, true, 2, 1, 0, false, 0, 0, false, 0},
        {"DesktopSenderUDP", Make<CSenderUdp>(kDesktop), true, true, 2, 2, 30000, true, 0, 0, false, 3},
        {"DesktopReceiverUDP", Make<CReceiverUdp>(kDesktop, Way::Server), true, false, 2, 1, kNeverThere, false, 0, 0,
         false, 3},
        {"DesktopReceiverP2P", Make<CReceiverUdp>(kDesktop, Way::Waiting), true, false, 2, 1, kNeverThere, false, 0, 0,
         false, 2},
        {"DesktopReceiverP2PAsking", Make<CReceiverUdp>(kDesktop, Way::Asking), true, false, 2, 1, 2000, true, 12, 1,
         false, 2},
        {"AudioSinkUDP", Make<CSinkUdp>(kAudio), true, false, 3, kNever, 0, false, 0, 0, false, 0},
        {"AudioSenderUDP", Make<CSenderUdp>(kAudio), true, false, 3, kNever, 30000, true, 0, 0, false, 3},
        {"AudioReceiverUDP", Make<CReceiverUdp>(kAudio, Way::Server), true, false, kNever, 1, 30000, true, 12, 2, false,
         3},
        {"AudioReceiverP2P", Make<CReceiverUdp>(kAudio, Way::Waiting), true, false, kNever, 1, 4000, false, 12, 2,
         false, 3},
        {"AudioReceiverP2PAsking", Make<CReceiverUdp>(kAudio, Way::Asking), true, false, kNever, 1, 4000, true, 12, 2,
         false, 3},
        {"VideoSinkUDP", Make<CSinkUdp>(kVideo), true, true, 4, kNever, 0, false, 0, 0, false, 0},
        {"VideoSenderUDP", Make<CSenderUdp>(kVideo), true, true, 4, kNever, 30000, true, 0, 0, false, 3},
        {"VideoReceiverUDP", Make<CReceiverUdp>(kVideo, Way::Server), true, false, kNever, 1, 30000, true, 12, 2, false,
         3},
        {"VideoReceiverP2P", Make<CReceiverUdp>(kVideo, Way::Waiting), true, false, kNever, 1, 4000, false, 12, 2,
         false, 3},
        {"VideoReceiverP2PAsking", Make<CReceiverUdp>(kVideo, Way::Asking), true, false, kNever, 1, 4000, true, 12, 2,
         false, 3},
        {"WBSinkUDP", Make<CSinkUdp>(kWhiteboard), true, true, 1, 1, 0, false, 0, 0, false, 0},
        {"WBClientUDP", Make<CReceiverUdp>(kWhiteboard, Way::Server), true, true, 1, 1, 30000, true, 22, 0, true, 3},
        {"WBClientUDPPublishersOnly", Make<CReceiverUdp>(kWhiteboard, Way::PublishersOnly), true, true, 1, 1, 4000,
         true, 22, 0, true, 3},
        {"WBClientP2P", Make<CReceiverUdp>(kWhiteboard, Way::Waiting), true, true, 1, 1, 30000, true, 12, 0, true, 3},
    };
}
