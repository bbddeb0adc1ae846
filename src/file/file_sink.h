// A subscriber of a file channel: the peers' sinks, and the senders of this host.
#pragma once

#include "link/mcu_sink.h"
#include "link/object_id.h"
#include "lumomedia/file.h"

#include <cstdint>

class CFileSinkUDP;

/// Enters its channel by Join once it is wholly made, and has left it before its destructor begins.
class CFileSink : public CMcuSink {
public:
    explicit CFileSink(CFileChannel& channel) : m_pFileChannel(&channel) {}

    void ReleaseConnections() override;
    virtual uint32_t GetFileSinkID() { return m_id.Get(); }
    virtual uint32_t GetFileChannelID() { return static_cast<uint32_t>(m_pFileChannel->GetFileChannelID()); }
    /// One frame from the channel towards the subscriber. Any thread, under the channel's sink lock.
    virtual void OnFileChannelData(const void* data, int length) = 0;
    /// Frames still waiting to go to the subscriber.
    virtual uint32_t GetBufferingFrameCount() = 0;

    /// This object as a peer's UDP sink, or null.
    virtual CFileSinkUDP* AsUDP() { return nullptr; }
    CSinkInfo Info() override {
        return {wire::Kind::File, GetFileSinkID(), GetFileChannelID(), 0, 0, false, GetFrameLink()};
    }
    void Join() override { m_pFileChannel->AddFileSink(GetFileSinkID(), this); }

protected:
    /// Upstream bytes of the subscriber to the channel's owner.
    void DeliverUpstream(const void* data, int length);

    CFileChannel* const m_pFileChannel;  // not owned; outlives the sink

private:
    CObjectID m_id;
};
