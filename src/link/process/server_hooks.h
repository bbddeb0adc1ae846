// Where a relay server joins the local MCU. Clients have no hooks.
#pragma once

#include "core/wire/commands.h"
#include "link/bounds/limits.h"
#include "link/channel_key.h"

#include <cstdint>

class CFrameLink;
class ITcpSession;

/// One sink as the hooks see it.
struct CSinkInfo {
    wire::Kind kind;
    uint32_t sinkID;
    ChannelKey channel;
    uint32_t ip;
    uint16_t port;
    bool tcp;
    CFrameLink* link;                    ///< null for TCP, and for media without sessions
    uint64_t queuedBytes = 0;            ///< over TCP, when asked; framesDropped too
    uint64_t framesDropped = 0;          ///< for want of room
    const char* congestionControl = "";  // of TCP
};

/// One datagram: its row, its body (the bytes after the kind byte) and where it came from.
struct CServerDatagram {
    const wire::CommandRow& row;
    const char* body;
    int length;
    uint32_t ip;
    uint16_t port;
};

/// All calls come on the UDP or TCP thread unless said otherwise, with no table lock held unless said otherwise.
class IServerHooks {
public:
    virtual ~IServerHooks() = default;

    /// A well-formed command that a local MCU ignores: those addressed to sources, and long-form connect requests.
    virtual void OnCommand(const CServerDatagram& datagram) = 0;
    /// Called before a local MCU acts on a command from a subscriber, which it may validate or make room for; false
    /// drops the datagram.
    virtual bool AdmitCommand(const CServerDatagram& datagram) = 0;
    /// A TCP validation that a local MCU refuses; the answer is the callback's.
    virtual bool OnTcpValidate(ITcpSession* session, uint32_t type, const char* data, int length) = 0;
    /// Called before a local MCU serves a TCP validation, for which it may make room; false refuses it.
    virtual bool AdmitTcp(ITcpSession* session, uint32_t type, const char* data, int length) = 0;
    /// A sink is made and not yet in its channel: the place to hold it and to set its limits.
    virtual void OnSinkMade(const CSinkInfo& sink) = 0;
    /// A sink began or ceased to want frames, in a medium where they say so.
    virtual void OnSinkChanged(const CSinkInfo& /*sink*/) {}
    /// A subscriber of this channel needs a key frame; possibly under the sink table's lock.
    virtual void OnKeyFrameWanted(wire::Kind /*kind*/, ChannelKey /*channel*/) {}
    /// A sink has left every table and is about to be deleted. Any thread.
    virtual void OnSinkGone(const CSinkInfo& sink) = 0;
    /// Bytes that may wait at one TCP sink; UDP sinks are told by OnSinkMade.
    virtual uint64_t SinkQueueLimit() const { return limits::kMaxQueueBytes; }
};
