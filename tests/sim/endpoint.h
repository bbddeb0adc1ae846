// One role of one medium over one transport, as the scenario list sees it: the application on one side, the wire on
// the other. What differs between rows is a number or a name in EndpointRow, never an `if` in a scenario.
#pragma once

#include "support/medium_app.h"
#include "support/test_manager.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

class IEndpoint {
public:
    virtual ~IEndpoint() = default;
    virtual CMediumApp& App() = 0;
    /// The far side takes the endpoint (a sink: is taken).
    virtual void Accept() = 0;
    virtual bool IsDisconnected() = 0;
    virtual uint32_t Buffering() = 0;
    /// Frames that have left towards the far side since the last call, acknowledged as they come.
    virtual std::vector<std::string> TakeLeft() = 0;
    /// The far side sends a frame.
    virtual void Arrive(const std::string& frame) = 0;
    /// Ends the endpoint as its owner would.
    virtual void Release() = 0;
    /// The application releases what it holds, which may be refused. False when that is nothing: a sink.
    virtual bool TryRelease() = 0;
    /// Keep-alives that have left since the last call.
    virtual int TakeKeepAlives() = 0;
    /// Goodbyes that have left since the last call.
    virtual int TakeGoodbyes() = 0;
    /// TCP: the far side stops reading, or the connection is lost. UDP: nothing.
    virtual void SetQueued(unsigned long) {}
    virtual void Lose() {}
    /// Every datagram that the far side may send to this endpoint, in an order in which each does something; none for
    /// TCP.
    virtual std::vector<std::string> InboundDatagrams() { return {}; }
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
inline std::ostream& operator<<(std::ostream& out, const EndpointRow& row) { return out << row.name; }

std::vector<EndpointRow> EndpointsOverUdp();
std::vector<EndpointRow> EndpointsOverTcp();
inline std::vector<EndpointRow> Endpoints() {
    std::vector<EndpointRow> rows = EndpointsOverUdp();
    for (EndpointRow& row : EndpointsOverTcp()) rows.push_back(std::move(row));
    return rows;
}
