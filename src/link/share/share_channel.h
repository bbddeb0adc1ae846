// The inside of a share's channel, for its medium's own classes and the relay server.
#pragma once

#include "link/callback.h"
#include "link/tables/channel_hub.h"

#include <cstdint>

class CShareSink;
class CShareReceiver;

/// A medium derives from it and adds the way to the application's own channel.
class CShareChannel {
public:
    explicit CShareChannel(uint32_t channelID) : hub(channelID) {}
    virtual ~CShareChannel() = default;
    CShareChannel(const CShareChannel&) = delete;
    CShareChannel& operator=(const CShareChannel&) = delete;

    /// One frame down to every subscriber.
    void SendToSinks(const void* data, int length);
    /// One frame up to the channel that the attached receiver subscribes to.
    void SendToReceiver(const void* data, int length);
    /// The smallest number of frames waiting at a subscriber, with or without the attached receiver.
    uint32_t LeastBuffered(bool withReceiver);
    /// Upstream bytes of a subscriber to the channel's owner. Any thread.
    virtual void DeliverUpstream(const void* data, int length) = 0;

    CChannelHub<CShareSink, CShareReceiver> hub;
};

/// That of the application's channel class `TChannel`, which hears its subscribers by `Hear`.
template <class TChannel, void (TChannel::*Hear)(const void*, int)>
class CShareChannelOf : public CShareChannel {
public:
    CShareChannelOf(uint32_t channelID, TChannel& channel) : CShareChannel(channelID), owner(channel) {}

    void DeliverUpstream(const void* data, int length) override {
        CallApplication([&] { (owner.*Hear)(data, length); });
    }

    TChannel& owner;
};
