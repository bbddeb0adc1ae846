// Subscribers to a desktop channel elsewhere: the common base, and those over TCP.
#pragma once

#include "desktop/local_mcu_desktop.h"
#include "p2p/share_receiver_p2p_tcp.h"

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
    template <class TLink>
    static void SendUpstream(TLink& link, const void* data, int length) {
        link.SendAtOnce(data, length);
    }
    static void LeaveMcu(uint32_t receiverID) {
        if (CLocalMCUDesktop* mcu = GetLocalMCUDesktop()) mcu->RemoveDesktopReceiver(receiverID);
    }
};

using CDesktopReceiverTCP = CShareReceiverTCP<CDesktopReceiver>;
using CDesktopReceiverP2PTCP = CShareReceiverP2PTCP<CDesktopReceiver>;
