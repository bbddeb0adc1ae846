// The publisher of a stream as the server holds it, and what one over UDP is told.
#pragma once

#include "core/wire/wire_io.h"
#include "link/media.h"
#include "server/server_constants.h"
#include "server/status.h"

#include <cstdint>

class CSourceUDP;

/// The publisher of a channel, as the server holds it.
/// Owned by its channel. Ended, and then deleted, after it has left the channel.
class CSource {
public:
    CSource() = default;
    virtual ~CSource() = default;
    CSource(const CSource&) = delete;
    CSource& operator=(const CSource&) = delete;

    /// One frame of a subscriber; false when it was dropped. Any thread, under the channel's source lock.
    virtual bool SendUpstream(const void* data, int length) = 0;
    /// A subscriber needs a key frame, where there are such. Under the channel's source lock.
    virtual void RequestKeyFrame() {}
    /// The subscribers have changed. Any thread, under the channel's source lock.
    virtual void OnChange() {}
    /// Whether it is to be ended, and another publisher may take its place.
    virtual bool IsGone() = 0;
    /// The work of every second.
    virtual void OnSecond() = 0;
    /// No frame of it arrives after this.
    virtual void End() = 0;
    /// The server ends: tells the publisher to stop sending.
    virtual void TellToStop() {}
    /// As End, once what is queued has left; true when there is something to wait for.
    virtual bool CloseWhenSent() { return false; }
    virtual CSourceStatus Status() = 0;

    virtual CSourceUDP* AsUDP() { return nullptr; }
};

/// What a publisher over UDP is told.
inline wire::CWireWriter SourceConnectAck(const CMediumRow& row, uint32_t senderKey, uint32_t sourceID) {
    return wire::CWireWriter(row.kind, row.source.connectAck).U32(senderKey).U32(sourceID).U32(0);
}

/// START with how many listen, or STOP, where publishers are started and stopped; elsewhere KEEP_ALIVE.
inline wire::CWireWriter SourceKeepAlive(const CMediumRow& row, uint32_t senderKey, uint32_t wanted) {
    if (row.Stops() && wanted == 0) return wire::CWireWriter(row.kind, row.source.stop).U32(senderKey);
    wire::CWireWriter datagram(row.kind, row.source.keepAlive);
    datagram.U32(senderKey);
    return row.Stops() ? datagram.U32(wanted) : datagram;
}
