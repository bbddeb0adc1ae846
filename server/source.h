// The publisher of a stream, as the server holds it.
#pragma once

#include "link/media.h"
#include "server/server_constants.h"
#include "server/status.h"

#include <cstdint>

class CSourceUDP;

/// Owned by its stream. Ended, and then deleted, after it has left the stream.
class CSource {
public:
    CSource() = default;
    virtual ~CSource() = default;
    CSource(const CSource&) = delete;
    CSource& operator=(const CSource&) = delete;

    /// One frame of a subscriber; false when it was dropped. Any thread, under the stream's source lock.
    virtual bool SendUpstream(const void* data, int length) = 0;
    /// A subscriber needs a key frame, where there are such. Under the stream's source lock.
    virtual void RequestKeyFrame() {}
    /// The subscribers have changed. Any thread, under the stream's source lock.
    virtual void OnChange() {}
    /// Whether it is to be ended, and another publisher may take its place.
    virtual bool IsGone() = 0;
    /// The work of every second.
    virtual void OnSecond() = 0;
    /// No frame of it arrives after this.
    virtual void End() = 0;
    /// The server ends: it is to send nothing more.
    virtual void TellToStop() {}
    /// As End, once what is queued has left; true when there is something to wait for.
    virtual bool CloseWhenSent() { return false; }
    virtual CSourceStatus Status() = 0;

    virtual CSourceUDP* AsUDP() { return nullptr; }
};
