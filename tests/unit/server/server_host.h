// A relay server on the fake network whose worker turns only when a test says so, and the clients of one of its media.
#pragma once

#include "server/server_manager.h"
#include "support/medium_wire.h"
#include "support/virtual_clock.h"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

class CTestServer : public CServerManager {
public:
    using CServerManager::CServerManager;
    bool Open() { return OpenEndpoints(0); }
};

using Texts = std::vector<std::string>;

inline constexpr uint32_t kChannel = 77;
inline constexpr uint32_t kKey = 5;
inline constexpr CEndpointAddress kAlice{0x0a000001, 1001};
inline constexpr CEndpointAddress kBob{0x0a000002, 1002};
inline constexpr CEndpointAddress kCarol{0x0a000003, 1003};

/// Peers are told apart by their addresses.
struct CServerHost {
    using Change = std::function<void(CServerOptions&)>;

    explicit CServerHost(const CMediumRow& medium = media::kFile, const Change& change = {})
        : row(medium), log([this](const std::string& line) { lines.push_back(line); }) {
        Start(change);
    }
    ~CServerHost() { server->ReleaseConnections(); }
    CServerHost(const CServerHost&) = delete;
    CServerHost& operator=(const CServerHost&) = delete;

    /// Another server in its place, with changed options.
    void Restart(const Change& change) {
        server->ReleaseConnections();
        Start(change);
    }
    /// Lets the clock run and gives the worker its turns.
    void RunFor(uint32_t milliseconds, uint32_t step = 100) {
        for (uint32_t passed = 0; passed < milliseconds; passed += step) {
            clock.Advance(step);
            server->RunTurn();
        }
    }
    void Deliver(const std::string& bytes, const CEndpointAddress& address) {
        net.Udp().Deliver(bytes, address.ip, address.port);
    }
    /// What the server has sent to this peer since it was last asked, as hexadecimal text.
    Texts Take(const CEndpointAddress& address) {
        Texts taken;
        std::vector<CSentDatagram> others;
        for (CSentDatagram& one : net.Udp().TakeSent()) {
            if (one.ip == address.ip && one.port == address.port)
                taken.push_back(ToHex(one.bytes));
            else
                others.push_back(std::move(one));
        }
        net.Udp().sent = std::move(others);
        return taken;
    }
    /// The same, counting those of one command.
    size_t TakeCount(const CEndpointAddress& address, uint8_t command) {
        const Texts taken = Take(address);
        const std::string code = Code(command);
        return static_cast<size_t>(
            std::count_if(taken.begin(), taken.end(), [&](const std::string& one) { return one.starts_with(code); }));
    }
    /// The u32 at `offset` of the last datagram of this command to the peer; 0 when there is none. What was sent stays
    /// to be taken.
    uint32_t LastID(const CEndpointAddress& address, uint8_t command, size_t offset) {
        uint32_t id = 0;
        for (const CSentDatagram& one : net.Udp().sent)
            if (one.ip == address.ip && one.port == address.port && ToHex(one.bytes).starts_with(Code(command)))
                id = session_wire::ReadU32(one.bytes, offset);
        return id;
    }

    /// How a datagram with this command begins, in hexadecimal.
    std::string Code(uint8_t command) const { return ToHex(Datagram(row, command, {})); }
    void Say(uint8_t command, uint32_t id, const CEndpointAddress& address, const std::string& rest = "") {
        Deliver(Datagram(row, command, {id}, rest), address);
    }
    std::string Claim(uint32_t channelID, uint32_t key = kKey) const {
        return Datagram(row, row.source.connect, {channelID, key});
    }
    std::string Request(uint32_t receiverID, uint32_t channelID = kChannel) const {
        const std::string user = row.sink.namesUser ? session_wire::U32(1) : "";
        return Datagram(row, row.sink.connect, {receiverID, channelID}, user);
    }
    /// The long form: of the channel at this server, or at the one that has these addresses.
    std::string LongRequest(uint32_t receiverID, uint32_t channelID, const CMcuAddress& home) const {
        return Datagram(row, row.sink.connect, {receiverID}, LongFields(channelID, home));
    }
    /// What it says behind the receiver's ID, which is all over TCP. A server names no user.
    std::string LongFields(uint32_t channelID, const CMcuAddress& home, uint32_t user = 1) const {
        using session_wire::U32;
        return U32(channelID) + U32(home.ips[0]) + U32(home.ips[1]) + U32(home.ips[2]) +
               (row.sink.namesPort ? U32(home.port).substr(2) : "") + (row.sink.namesUser ? U32(user) : "");
    }
    /// What a frame travels as, behind its envelope.
    std::string Wrapped(uint16_t sequence, const std::string& frame) const {
        return row.session ? session_wire::Data(sequence, frame) : frame;
    }

    /// The source ID of one who has asked and not answered.
    uint32_t Claimed(const CEndpointAddress& address, uint32_t channelID = kChannel, uint32_t key = kKey) {
        Deliver(Claim(channelID, key), address);
        const uint32_t sourceID = LastID(address, row.source.connectAck, 6);
        Take(address);
        return sourceID;
    }
    /// The answers to a publisher's request.
    size_t Acknowledged(const CEndpointAddress& address, uint32_t channelID = kChannel, uint32_t key = kKey) {
        Take(address);
        Deliver(Claim(channelID, key), address);
        return TakeCount(address, row.source.connectAck);
    }
    /// A publisher that has connected and answered. Its source ID.
    uint32_t Publish(const CEndpointAddress& address = kAlice, uint32_t channelID = kChannel, uint32_t key = kKey) {
        const uint32_t sourceID = Claimed(address, channelID, key);
        Say(row.source.keepAliveAck, sourceID, address);
        Take(address);
        return sourceID;
    }
    /// The sink's ID that the peer was told, or 0.
    uint32_t Connected(const CEndpointAddress& address) {
        const uint32_t sinkID = LastID(address, row.sink.connectAck, 6);
        Take(address);
        return sinkID;
    }
    uint32_t Connect(const std::string& request, const CEndpointAddress& address) {
        Deliver(request, address);
        return Connected(address);
    }
    /// A connected one shows that it is there, and starts the stream where there is something to start.
    void Answer(const CEndpointAddress& address, uint32_t sinkID) {
        if (row.asksOnce || row.board) Say(row.sink.frameAck, sinkID, address, session_wire::Ack(0));
        Say(row.sink.keepAlive, sinkID, address);
    }
    /// A subscriber that has connected and answered. Its sink ID.
    uint32_t Subscribe(uint32_t receiverID, const CEndpointAddress& address, uint32_t channelID = kChannel) {
        const uint32_t sinkID = Connect(LongRequest(receiverID, channelID, {}), address);
        Answer(address, sinkID);
        Take(address);
        return sinkID;
    }

    /// A TCP client that has sent a validation; null when it was refused.
    CFakeTcp* Validate(wire::TcpType type, const std::string& payload) {
        CFakeTcp& session = net.NewSession();
        return net.TcpServer().Validate(&session, static_cast<uint32_t>(type), payload) ? &session : nullptr;
    }
    CFakeTcp* PublishTcp(uint32_t channelID = kChannel) {
        return Validate(row.tcp.sender, session_wire::U32(channelID));
    }
    CFakeTcp* SubscribeTcp(uint32_t channelID = kChannel, const CMcuAddress& home = {}) {
        return Validate(row.tcp.receiver, LongFields(channelID, home));
    }

    CMediumStatus Status() {
        for (const CMediumStatus& one : server->Media())
            if (std::string(one.medium) == row.name) return one;
        return {};
    }
    size_t SinkCount() { return Status().sinksUdp + Status().sinksTcp; }
    std::string LastLine() const { return lines.empty() ? "" : lines.back(); }

    static constexpr uint16_t kPort = 40000;  // as the fake endpoint reports it

    const CMediumRow& row;
    CVirtualClock clock;
    CFakeNet net;
    Texts lines;
    CServerLog log;
    CTestServer* server = nullptr;

private:
    void Start(const Change& change) {
        CServerOptions options;
        options.listenIP = 0x7f000001;
        options.port = kPort;
        if (change) change(options);
        server = new CTestServer(options, log);
        server->Open();
    }
};
