// A desktop channel at the server.
#pragma once

#include "desktop/desktop_channel_state.h"
#include "desktop/local_mcu_desktop.h"
#include "server/share_stream.h"

class CDesktopStream : public CShareStream<CDesktopChannel, CDesktopChannelState> {
public:
    CDesktopStream(const CStreamName& name, const CServerLimits& limits) : CShareStream("desktop", name, limits) {}

    void Open() override { CDesktopChannel::Connect(); }
    /// Not by its release, which would end the subscribers of every desktop.
    void Close() override {
        if (CLocalMCUDesktop* mcu = GetLocalMCUDesktop()) mcu->ForgetChannel(CDesktopChannelState::Of(*this));
    }

    void OnDesktopSinkData(const void* data, int length) override { OnSinkFrame(data, length); }
};
