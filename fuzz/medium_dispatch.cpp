// Datagrams into a local MCU that has an application of one medium: a channel, a sink, a sender, and receivers of a
// server and of a peer. The kind of the first datagram says which medium. A record that begins with 'w' is a frame that
// the application writes. Media write few log lines, so what was reached shows by what they do.
#include "lumomedia/base.h"
#include "lumomedia/p2p.h"
#include "lumomedia/statistics.h"
#include "support/medium_app.h"
#include "support/medium_wire.h"
#include "support/records.h"
#include "support/target.h"
#include "support/test_manager.h"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace fuzz::medium_dispatch {

using session_wire::U32;

const CTestMedium* const kMedia[] = {&kAudio, &kVideo, &kDesktop, &kFile};
constexpr size_t kLongestSessionDatagram = 10 + 12 + 1040, kLongestAudioDatagram = 1076;

/// What it means that a datagram of this command leaves; or that one arrives and is a sign of life, connects an
/// endpoint, or brings a frame.
enum class How { Leaves, IsHeard, Connects, Brings };
struct Meaning {
    How how;
    uint8_t command;
    std::string what;
};

std::vector<Meaning> Meanings(const CMediumRow& row) {
    const CSinkRow& sink = row.sink;
    const CSourceRow& source = row.source;
    std::vector<Meaning> meanings{
        {How::Leaves, sink.frame, "sends to a sink"},       {How::Leaves, sink.keepAliveAck, "sink kept"},
        {How::Leaves, source.frame, "sends to a server"},   {How::Leaves, source.keepAliveAck, "sender kept"},
        {How::Connects, sink.connectAck, "receiver taken"}, {How::Connects, source.connectAck, "sender taken"},
        {How::IsHeard, sink.keepAliveAck, "receiver kept"}, {How::Brings, sink.frame, "frame arrived"},
    };
    if (row.session) {
        meanings.push_back({How::Leaves, sink.frameAck, "packet answered"});
        meanings.push_back({How::Brings, row.Stops() ? source.frameAck : sink.frameAck, "frame from downstream"});
    }
    if (row.Stops()) {
        meanings.push_back({How::Leaves, sink.keepAlive, "receiver wants frames"});
        meanings.push_back({How::Leaves, sink.stopAck, "sink stopped"});
        meanings.push_back({How::Leaves, source.stopAck, "sender stopped"});
        meanings.push_back({How::IsHeard, sink.stopAck, "receiver stopped"});
    }
    return meanings;
}

std::string Name(const CMediumRow& row, const std::string& what) { return std::string(row.name) + ": " + what; }

std::vector<std::string> Names() {
    std::vector<std::string> names{"UDP_P2P", "UDP_P2P_ACK", "UDP_STUN", "UDP_WB"};  // as the log says them
    for (const CTestMedium* medium : kMedia) {
        for (const char* what : {"sink made", "sink acknowledged again", "sink gone", "ignored"})
            names.push_back(Name(medium->row, what));
        for (const Meaning& one : Meanings(medium->row)) names.push_back(Name(medium->row, one.what));
    }
    return names;
}

void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("medium_dispatch", Names(), TakeInput);

class CScene {
public:
    CScene(const CTestMedium& medium, bool asksPeers)
        : m_row(medium.row), m_meanings(Meanings(m_row)), m_app(medium.make(CMediumApp::kChannelID)) {
        const CMcuAddress server{{CTestHost::kPeerIP, 0, 0}, CTestHost::kPeerPort};
        m_made.push_back(m_app->Sender(false, server));
        m_live["#snd"] = SentID(6);
        m_made.push_back(m_app->Receiver(false, server, {}, true));
        m_live["#rcv"] = SentID(2);
        SetP2PSubscribe(asksPeers);
        m_made.push_back(m_app->PeerReceiver(false));
        SetP2PSubscribe(false);
        for (const uint32_t id : m_app->ReceiverIDs())
            if (U32(id) != m_live["#rcv"]) m_live["#p2p"] = U32(id);
        m_host.Deliver(
            Datagram(m_row, m_row.sink.connect, {9, CMediumApp::kChannelID}, m_row.sink.namesUser ? U32(1) : ""));
        m_live["#sin"] = SentID(6);
    }
    ~CScene() {
        for (const CMade& made : m_made) made.IsDisconnected();
        m_made.clear();
        m_app->ReleaseChannel();
    }
    CScene(const CScene&) = delete;
    CScene& operator=(const CScene&) = delete;

    void Take(const std::string& record) {
        m_host.Run(100, 100);
        m_made[1].RequestKeyFrame();
        JudgeSent();
        if (record[0] == 'w') {
            m_app->Write(record.substr(1));
            JudgeSent();
        } else {
            Deliver(WithLiveIDs(record));
        }
    }

private:
    struct Counts {
        size_t sinks, connected, delivered;
        uint64_t signs;
        bool operator==(const Counts&) const = default;
    };

    std::string SentID(size_t at) { return m_host.TakeSent().at(0).bytes.substr(at, 4); }
    /// IDs are random, so the seeds hold stand-ins like "#sin": where one of the first two fields is one, the live ID
    /// takes its place; anything else stays as the fuzzer made it.
    std::string WithLiveIDs(std::string datagram) const {
        for (size_t at = 2; at + 4 <= datagram.size() && at <= 6; at += 4) {
            const auto found = m_live.find(datagram.substr(at, 4));
            if (found != m_live.end()) datagram.replace(at, 4, found->second);
        }
        return datagram;
    }
    Counts Count() const {
        Counts counts{m_app->SinkCount(), m_app->connected.size(), m_app->delivered.size(), 0};
        LumoLinkStatistics link;
        for (unsigned long i = 0; GetLinkStatistics(i, link); ++i) counts.signs += link.ullSignsOfLife;
        return counts;
    }
    void Deliver(const std::string& datagram) {
        const Counts before = Count();
        m_host.Deliver(datagram);
        const Counts after = Count();
        const bool sent = JudgeSent(after.sinks > before.sinks);
        if (datagram.size() < 2) return;
        if (after.sinks < before.sinks) Hit("sink gone");
        if (after.signs != before.signs) Hit(How::IsHeard, datagram[1]);
        if (after.connected != before.connected) Hit(How::Connects, datagram[1]);
        if (after.delivered != before.delivered) Hit(How::Brings, datagram[1]);
        if (!sent && after == before) Hit("ignored");
    }
    /// False when nothing has left.
    bool JudgeSent(bool newSink = false) {
        const size_t longest = m_row.session ? kLongestSessionDatagram : kLongestAudioDatagram;
        const auto sent = m_host.TakeSent();
        for (const CSentDatagram& one : sent) {
            if (one.bytes.size() > longest || one.bytes.size() < 6) std::abort();
            if (one.bytes[0] != static_cast<char>(m_row.kind)) std::abort();
            if (one.bytes[1] == static_cast<char>(m_row.sink.connectAck))
                Hit(newSink ? "sink made" : "sink acknowledged again");
            Hit(How::Leaves, one.bytes[1]);
        }
        return !sent.empty();
    }
    void Hit(How how, char command) const {
        for (const Meaning& one : m_meanings)
            if (one.how == how && static_cast<char>(one.command) == command) Hit(one.what);
    }
    void Hit(const std::string& what) const { g_target.Hit(Name(m_row, what)); }

    const CMediumRow& m_row;
    const std::vector<Meaning> m_meanings;
    CTestHost m_host;
    std::unique_ptr<CMediumApp> m_app;
    std::vector<CMade> m_made;
    std::map<std::string, std::string> m_live{{"#src", U32(500)}, {"#chn", U32(CMediumApp::kChannelID)}};
};

void TakeLine(void*, const char* line) { g_target.Hit(line); }

void TakeInput(const uint8_t* data, size_t size) {
    SetLogHook(&TakeLine, nullptr);
    std::vector<std::string> records = Records(data, size, 128);
    std::erase(records, "");
    const auto first = std::find_if(records.begin(), records.end(), [](const auto& one) { return one[0] != 'w'; });
    const CTestMedium* medium = &kFile;
    for (const CTestMedium* one : kMedia)
        if (first != records.end() && (*first)[0] == static_cast<char>(one->row.kind)) medium = one;
    CScene scene(*medium, size % 2 != 0);
    for (const std::string& record : records) scene.Take(record);
}

}  // namespace fuzz::medium_dispatch
