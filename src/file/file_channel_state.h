// The inside of a file channel, for the file classes and the relay server.
#pragma once

#include "link/channel_hub.h"
#include "lumomedia/file.h"

#include <cstdint>

class CFileSink;
class CFileReceiver;

struct CFileChannelState {
    explicit CFileChannelState(uint32_t channelID) : hub(channelID) {}

    static CFileChannelState& Of(CFileChannel& channel) { return *channel.m_pState; }

    /// One frame down to every subscriber.
    void SendToSinks(const void* data, int length);
    /// One frame up to the channel that the attached receiver subscribes to; false when there is no receiver.
    bool SendToReceiver(const void* data, int length);

    CChannelHub<CFileSink, CFileReceiver> hub;
};
