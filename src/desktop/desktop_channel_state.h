// The inside of a desktop channel, for the desktop classes and the relay server.
#pragma once

#include "link/share/share_channel.h"
#include "lumomedia/desktop.h"

struct CDesktopChannelState final : CShareChannelOf<CDesktopChannel, &CDesktopChannel::OnDesktopSinkData> {
    using CShareChannelOf::CShareChannelOf;

    static CDesktopChannelState& Of(CDesktopChannel& channel) { return *channel.m_pState; }
};
