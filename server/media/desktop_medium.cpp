#include "server/media/make_servers.h"

#include "desktop/desktop_channel_state.h"
#include "desktop/desktop_receiver.h"
#include "desktop/local_mcu_desktop.h"
#include "server/channels/share_server_channel.h"
#include "server/media/table_adapter.h"
#include "server/relays/share_leg.h"

namespace {

/// A desktop channel at the server.
class CDesktopServerChannel : public CShareServerChannel<CDesktopChannel, CDesktopChannelState> {
public:
    CDesktopServerChannel(const CServerChannelName& name, const CLiveOptions& options)
        : CShareServerChannel("desktop", name, options) {}

    void Open() override { CDesktopChannel::Connect(); }
    /// Not by its release, which would end the subscribers of every desktop.
    void Close() override {
        if (CLocalMCUDesktop* mcu = GetLocalMCUDesktop()) mcu->ForgetChannel(CDesktopChannelState::Of(*this));
    }

    void OnDesktopSinkData(const void* data, int length) override { OnSinkFrame(data, length); }
};

/// A desktop channel subscribed to at another server.
class CDesktopLeg
    : public CShareLeg<IDesktopReceiverNotify, IDesktopReceiver, CLocalMCUDesktop::CreateReceiver<CDesktopReceiverUDP>,
                       CLocalMCUDesktop::CreateReceiver<CDesktopReceiverTCP>, true> {
public:
    using CShareLeg::CShareLeg;
    ~CDesktopLeg() override { Close(); }

    void OnDesktopReceiverNotifyData(const char* data, int length) override { OnFrame(data, length); }
    void OnDesktopReceiverNotifyConnected(unsigned long) override { OnAccepted(); }
};

}  // namespace

std::unique_ptr<CMediumServer> MakeDesktopServer(CServerContext& context) {
    using CAdapter = CShareAdapter<CDesktopServerChannel, CDesktopLeg>;
    return std::make_unique<CMediumServer>(media::kDesktop,
                                           std::make_unique<CAdapter>(*GetLocalMCUDesktop(), context.live), context);
}
