// Subscribers to a desktop channel elsewhere: the common base, and those over TCP.
#pragma once

#include "desktop/desktop_profile.h"
#include "desktop/local_mcu_desktop.h"
#include "link/callback.h"
#include "p2p/share_receiver_p2p_tcp.h"

class CDesktopReceiver : public CShareReceiver, public IDesktopReceiver {
public:
    CDesktopReceiver(IDesktopReceiverNotify& notify, CShareChannel& channel)
        : CShareReceiver(channel), m_pNotify(&notify) {}

    uint32_t GetDesktopChannelID() const { return ChannelID(); }
    uint32_t GetDesktopReceiverID() const { return ReceiverID(); }
    static const CShareProfile& Profile() { return desktop::kProfile; }

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
    bool NotifyConnected(uint32_t ip) override {
        return CallApplication([&] { m_pNotify->OnDesktopReceiverNotifyConnected(ip); });
    }
    void NotifyData(const char* data, int length) override {
        CallApplication([&] { m_pNotify->OnDesktopReceiverNotifyData(data, length); });
    }

private:
    IDesktopReceiverNotify* const m_pNotify;  // the application's; outlives the receiver
};

using CDesktopReceiverTCP = CShareReceiverTCP<CDesktopReceiver>;
using CDesktopReceiverP2PTCP = CShareReceiverP2PTCP<CDesktopReceiver>;
