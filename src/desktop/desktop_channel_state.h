// The inside of a desktop channel, for the desktop classes and the relay server.
#pragma once

#include "link/callback.h"
#include "link/share_channel.h"
#include "lumomedia/desktop.h"

struct CDesktopChannelState final : CShareChannel {
    CDesktopChannelState(uint32_t channelID, CDesktopChannel& channel) : CShareChannel(channelID), owner(channel) {}

    static CDesktopChannelState& Of(CDesktopChannel& channel) { return *channel.m_pState; }

    void DeliverUpstream(const void* data, int length) override {
        CallApplication([&] { owner.OnDesktopSinkData(data, length); });
    }

    CDesktopChannel& owner;
};
