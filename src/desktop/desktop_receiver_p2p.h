// Subscribes to a desktop channel at a peer's local MCU over UDP.
#pragma once

#include "desktop/desktop_receiver.h"
#include "p2p/share_receiver_p2p.h"

/// Looks for a path, but asks for nothing and keeps nothing alive, unless this process was told to (SetP2PSubscribe).
class CDesktopReceiverP2P : public CShareReceiverP2P<CDesktopReceiver> {
public:
    using CShareReceiverP2P::CShareReceiverP2P;

    bool IsDisconnected() override { return !m_bAsking || PollLink(); }

private:
    const bool m_bAsking = ArePeersAsked();
};
