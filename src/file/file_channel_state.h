// The inside of a file channel, for the file classes and the relay server.
#pragma once

#include "link/callback.h"
#include "link/share_channel.h"
#include "lumomedia/file.h"

struct CFileChannelState final : CShareChannel {
    CFileChannelState(uint32_t channelID, CFileChannel& channel) : CShareChannel(channelID), owner(channel) {}

    static CFileChannelState& Of(CFileChannel& channel) { return *channel.m_pState; }

    void DeliverUpstream(const void* data, int length) override {
        CallApplication([&] { owner.OnFileSinkData(data, length); });
    }

    CFileChannel& owner;
};
