// A relay server on the fake network whose worker turns only when a test says so.
#pragma once

#include "server/server_manager.h"
#include "support/fake_net.h"
#include "support/session_wire.h"
#include "support/virtual_clock.h"

#include <algorithm>
#include <string>
#include <vector>

class CTestServer : public CServerManager {
public:
    using CServerManager::CServerManager;
    bool Open() { return OpenEndpoints(0); }
};

/// Clock, network and server of a test. Peers are told apart by their addresses.
struct CServerHost {
    explicit CServerHost(const CServerOptions& options = LoopbackOptions())
        : log([this](const std::string& line) { lines.push_back(line); }), server(new CTestServer(options, log)) {
        server->Open();
    }
    ~CServerHost() { server->ReleaseConnections(); }
    CServerHost(const CServerHost&) = delete;
    CServerHost& operator=(const CServerHost&) = delete;

    /// Another server in its place.
    void Restart(const CServerOptions& options) {
        server->ReleaseConnections();
        server = new CTestServer(options, log);
        server->Open();
    }

    static CServerOptions LoopbackOptions() {
        CServerOptions options;
        options.listenIP = 0x7f000001;
        options.port = kPort;
        return options;
    }

    /// Lets the clock run and gives the worker its turns.
    void Run(uint32_t milliseconds, uint32_t step = 100) {
        for (uint32_t passed = 0; passed < milliseconds; passed += step) {
            clock.Advance(step);
            server->RunTurn();
        }
    }
    void Deliver(const std::string& bytes, const CEndpointAddress& address) {
        net.Udp().Deliver(bytes, address.ip, address.port);
    }
    /// What the server has sent to this peer since it was last asked, as hexadecimal text.
    std::vector<std::string> Take(const CEndpointAddress& address) {
        std::vector<std::string> taken;
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
    /// The same, counting the datagrams that begin with these bytes.
    size_t TakeCount(const CEndpointAddress& address, const std::string& prefix) {
        const auto taken = Take(address);
        return static_cast<size_t>(std::count_if(taken.begin(), taken.end(), [&](const std::string& one) {
            return one.compare(0, prefix.size(), prefix) == 0;
        }));
    }

    static std::string SourceConnect(uint32_t channelID, uint32_t key) {
        return Hex("0640") + session_wire::U32(channelID) + session_wire::U32(key);
    }
    static std::string SinkConnect(uint32_t receiverID, uint32_t channelID) {
        return Hex("0639") + session_wire::U32(receiverID) + session_wire::U32(channelID);
    }
    static std::string LongConnect(uint32_t receiverID, uint32_t channelID, uint32_t relay0, uint32_t relay1 = 0,
                                   uint32_t relay2 = 0) {
        return SinkConnect(receiverID, channelID) + session_wire::U32(relay0) + session_wire::U32(relay1) +
               session_wire::U32(relay2);
    }
    static std::string Command(const char* code, uint32_t id, const std::string& rest = "") {
        return Hex("06") + Hex(code) + session_wire::U32(id) + rest;
    }

    /// A publisher that has connected and answered. Its source ID.
    uint32_t Publish(uint32_t channelID, uint32_t key, const CEndpointAddress& address) {
        Deliver(SourceConnect(channelID, key), address);
        const uint32_t sourceID = LastID(address, "0641", 6);
        Deliver(Command("45", sourceID), address);
        Take(address);
        return sourceID;
    }
    /// A subscriber that has connected and answered. Its sink ID.
    uint32_t Subscribe(uint32_t channelID, uint32_t receiverID, const CEndpointAddress& address) {
        Deliver(SinkConnect(receiverID, channelID), address);
        const uint32_t sinkID = LastID(address, "063a", 6);
        Deliver(Command("3b", sinkID), address);
        Take(address);
        return sinkID;
    }
    /// The u32 at `offset` of the last datagram to the peer that begins with `prefix`; 0 when there is none. What was
    /// sent stays to be taken.
    uint32_t LastID(const CEndpointAddress& address, const std::string& prefix, size_t offset) {
        uint32_t id = 0;
        for (const CSentDatagram& one : net.Udp().sent)
            if (one.ip == address.ip && one.port == address.port && ToHex(one.bytes).compare(0, 4, prefix) == 0)
                id = session_wire::ReadU32(one.bytes, offset);
        return id;
    }
    /// A TCP client that has sent a validation; whether it was kept.
    CFakeTcp* Validate(uint32_t type, const std::string& payload, bool* kept = nullptr) {
        CFakeTcp& session = net.NewSession();
        const bool answer = net.TcpServer().Validate(&session, type, payload);
        if (kept) *kept = answer;
        return answer ? &session : nullptr;
    }
    static void FromPeer(CFakeTcp& session, const std::string& frame) {
        session.sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    /// What has been sent to it since it was last asked, answers to validations aside.
    static std::vector<std::string> Frames(CFakeTcp& session) {
        std::vector<std::string> frames;
        for (CSentMessage& message : session.TakeSent())
            if (message.mode == 0) frames.push_back(std::move(message.bytes));
        return frames;
    }
    std::string LastLine() const { return lines.empty() ? "" : lines.back(); }

    static constexpr uint16_t kPort = 40000;  // as the fake endpoint reports it

    CVirtualClock clock;
    CFakeNet net;
    std::vector<std::string> lines;
    CServerLog log;
    CTestServer* server;
};
