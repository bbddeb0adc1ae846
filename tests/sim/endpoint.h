// One role of one medium over one transport, as the scenario list sees it: the application on one side, the wire on
// the other. What differs between rows is a number or a name in EndpointRow, never an `if` in a scenario.
#pragma once

#include "support/test_manager.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// How often an application heard that its endpoint was taken, and what it does then.
struct CConnects {
    void operator+=(bool real) {
        count += real ? 1 : 0;
        if (then) then();
    }
    int count = 0;
    static inline std::function<void()> then;  // of all endpoints
};

class IEndpoint {
public:
    virtual ~IEndpoint() = default;
    /// The far side takes the endpoint (a sink: is taken).
    virtual void Accept() = 0;
    virtual bool IsDisconnected() = 0;
    /// The application writes a frame into the channel.
    virtual void Write(const std::string& frame) = 0;
    virtual uint32_t Buffering() = 0;
    /// Frames that have left towards the far side since the last call, acknowledged as they come.
    virtual std::vector<std::string> TakeLeft() = 0;
    /// The far side sends a frame.
    virtual void Arrive(const std::string& frame) = 0;
    /// Ends the endpoint as its owner would.
    virtual void Release() = 0;
    /// The application releases what it holds, which may be refused. False when that is nothing: a sink.
    virtual bool TryRelease() { return false; }
    /// Keep-alives that have left since the last call.
    virtual int TakeKeepAlives() = 0;
    /// Goodbyes that have left since the last call.
    virtual int TakeGoodbyes() = 0;
    /// TCP: the far side stops reading, or the connection is lost. UDP: nothing.
    virtual void SetQueued(unsigned long) {}
    virtual void Lose() {}
    /// Every datagram that the far side may send to this endpoint; none for TCP.
    virtual std::vector<std::string> InboundDatagrams() { return {}; }
    /// UDP: what tells a repeated connect apart from a first one.
    virtual int NotifiedConnected() { return 0; }

    std::vector<std::string> delivered;  // what the application got
};

/// A connectTimeout: asked at any time, the endpoint calls itself gone, and does nothing else.
inline constexpr uint32_t kNeverThere = UINT32_MAX;

struct EndpointRow {
    const char* name;
    std::function<std::unique_ptr<IEndpoint>(CTestHost&)> make;
    bool udp;
    bool session;             ///< frames wait in a queue and travel in the reliable session
    int minWrite;             ///< shortest frame that goes out
    int minArrive;            ///< shortest frame that the application gets
    uint32_t connectTimeout;  ///< ms until an unaccepted endpoint reports itself gone; 0: it is made accepted
    bool resendsConnect;      ///< each poll before acceptance asks again
    int keepAliveEvery;       ///< polls of an idle endpoint; 0: sends none
    int keepAlivesAtAccept;
    bool dataRestartsKeepAlive;
    int goodbyes;
};

std::vector<EndpointRow> ShareEndpoints();
std::vector<EndpointRow> SharePeerEndpoints();
std::vector<EndpointRow> StreamEndpoints();
std::vector<EndpointRow> WhiteboardEndpoints();
