// The receivers of desktops: what they have in common, and one for each way to a channel elsewhere.
#pragma once

#include "desktop/local_mcu_desktop.h"
#include "link/share/share_receiver_udp.h"
#include "p2p/share_receiver_p2p.h"

/// Subscribers to a desktop channel elsewhere: the common base, and those over TCP.
class CDesktopReceiver : public CShareReceiverOf<IDesktopReceiver, IDesktopReceiverNotify,
                                                 &IDesktopReceiverNotify::OnDesktopReceiverNotifyConnected,
                                                 &IDesktopReceiverNotify::OnDesktopReceiverNotifyData> {
public:
    using CShareReceiverOf::CShareReceiverOf;

    uint32_t GetDesktopChannelID() const { return ChannelID(); }
    uint32_t GetDesktopReceiverID() const { return ReceiverID(); }
    static constexpr const CMediumRow& kMedium = media::kDesktop;

protected:
    static constexpr bool kDetachesFirst = true;  // nothing goes upstream after the goodbye
    /// Upstream frames are small and not paced.
    static void SendUpstream(CFrameLink& link, const void* data, int length) { link.SendAtOnce(data, length); }
    static void LeaveMcu(uint32_t receiverID) {
        if (CLocalMCUDesktop* mcu = GetLocalMCUDesktop()) mcu->RemoveDesktopReceiver(receiverID);
    }
};

using CDesktopReceiverTCP = CShareReceiverTCP<CDesktopReceiver>;
using CDesktopReceiverP2PTCP = CShareReceiverP2PTCP<CDesktopReceiver>;

/// Subscribes to a desktop channel at a server over UDP.
/// Asks once and keeps nothing alive; the relay server, which must know, polls the link itself (PollLink).
class CDesktopReceiverUDP : public CShareReceiverUDP<CDesktopReceiver> {
public:
    using CShareReceiverUDP::CShareReceiverUDP;

    /// Judged by the arrival of frames.
    bool IsDisconnected() override { return true; }
};

/// Subscribes to a desktop channel at a peer's local MCU over UDP.
/// Looks for a path, but asks for nothing and keeps nothing alive, unless this process was told to (SetP2PSubscribe).
class CDesktopReceiverP2P : public CShareReceiverP2P<CDesktopReceiver> {
public:
    using CShareReceiverP2P::CShareReceiverP2P;

    bool IsDisconnected() override { return !m_bAsking || PollLink(); }

private:
    const bool m_bAsking = ArePeersAsked();
};
