// Subscribes to a desktop channel at a server over UDP.
#pragma once

#include "desktop/desktop_receiver.h"
#include "link/share_receiver_udp.h"

/// Asks once and keeps nothing alive; the relay server, which must know, polls the link itself (PollLink).
class CDesktopReceiverUDP : public CShareReceiverUDP<CDesktopReceiver> {
public:
    using CShareReceiverUDP::CShareReceiverUDP;

    /// Judged by the arrival of frames.
    bool IsDisconnected() override { return true; }
};
