// A subscriber of a share's channel: the peers' sinks, and the senders of this host.
#pragma once

#include "link/bounds/limits.h"
#include "link/media.h"
#include "link/share/share_channel.h"
#include "link/tables/mcu_sink.h"
#include "link/tables/object_id.h"

#include <cstdint>

/// The datagrams of a subscriber. Each is a sign of life. UDP thread, under the sink table lock.
class IShareSinkUDP {
public:
    virtual void OnReceivedKeepAlive() = 0;
    virtual void OnReceivedFrameAck(const char* data, int length) = 0;
    virtual uint32_t GetReceiverID() const = 0;

protected:
    ~IShareSinkUDP() = default;
};

/// Enters its channel by Join once it is wholly made, and has left it before its destructor begins.
class CShareSink : public CMcuSink {
public:
    CShareSink(CShareChannel& channel, wire::Kind kind) : m_channel(channel), m_kind(kind) {}

    void ReleaseConnections() override { m_channel.hub.RemoveSink(SinkID()); }
    void Join() override { m_channel.hub.AddSink(SinkID(), this); }
    CSinkInfo Info() override { return {m_kind, SinkID(), m_channel.hub.Key(), 0, 0, false, GetFrameLink()}; }

    uint32_t SinkID() const { return m_id.Get(); }
    uint32_t ChannelID() const { return m_channel.hub.ID(); }
    /// One frame from the channel towards the subscriber. Any thread, under the channel's sink lock.
    virtual void OnChannelData(const void* data, int length) = 0;
    /// Frames still waiting to go to the subscriber.
    virtual uint32_t GetBufferingFrameCount() = 0;
    /// This object as a peer's UDP sink, or null.
    virtual IShareSinkUDP* AsUDP() { return nullptr; }

protected:
    /// Upstream bytes of the subscriber to the channel's owner.
    void DeliverUpstream(const void* data, int length) { m_channel.DeliverUpstream(data, length); }
    /// The same for frames of 2 bytes or more; shorter ones are keep-alives.
    void OnUpstreamFrame(const void* data, int length) {
        if (data && length >= limits::kMinFrameLen) DeliverUpstream(data, length);
    }

private:
    CShareChannel& m_channel;  // not owned; outlives the sink
    const wire::Kind m_kind;
    CObjectID m_id;
};

/// A sender of this host with the application's side: `TSink` is the medium's CShareSink, and the operations of the
/// interface are the sink's of the same names.
template <class TSink, class TInterface, class TNotify>
class CShareSenderOf : public TSink, public TInterface {
public:
    CShareSenderOf(TNotify& notify, CShareChannel& channel) : TSink(channel), m_pNotify(&notify) {}

    void ReleaseConnections() override { TSink::ReleaseConnections(); }
    bool IsDisconnected() override = 0;

protected:
    TNotify* const m_pNotify;  // the application's; outlives the sender
};
