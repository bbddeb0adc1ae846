// The inside of a file channel, for the file classes and the relay server.
#pragma once

#include "link/share/share_channel.h"
#include "lumomedia/file.h"

struct CFileChannelState final : CShareChannelOf<CFileChannel, &CFileChannel::OnFileSinkData> {
    using CShareChannelOf::CShareChannelOf;

    static CFileChannelState& Of(CFileChannel& channel) { return *channel.m_pState; }
};
