// The library's desktop: pictures as fast as one subscriber takes them, over UDP and TCP.
#include "bench/harness/clock.h"
#include "bench/transports/lumo_links.h"
#include "bench/transports/lumo_tcp_receiver.h"
#include "bench/transports/transports.h"

#include <nlohmann/json.hpp>

namespace bench {

namespace {

constexpr uint32_t kPicturesQueued = 2;  // before the one in flight: never idle, and no older than need be

class CDesktop : public CDesktopChannel {
public:
    using CDesktopChannel::CDesktopChannel;
    void OnDesktopSinkData(const void*, int) override {}
};

/// Connected, and ended with this object.
class CBenchDesktop {
public:
    CBenchDesktop() { m_channel->Connect(); }
    CDesktop* operator->() { return m_channel.operator->(); }

private:
    CLumoChannel<CDesktop> m_channel;
};

class CDesktopSubscription : public CLumoLink<IDesktopReceiver>, private IDesktopReceiverNotify {
public:
    explicit CDesktopSubscription(CBulkReceiver& pictures) : m_pictures(pictures) {}
    ~CDesktopSubscription() override { Release(); }

    void ConnectToPublisher(CLumoHost& host, uint16_t port) {
        SetP2PSubscribe(true);
        host.AnnouncePublisher(port);
        Hold(CreateDesktopReceiverP2P(*this, kChannelID, CLumoHost::kUser));
    }

private:
    void OnDesktopReceiverNotifyConnected(unsigned long) override { OnTaken(); }
    void OnDesktopReceiverNotifyData(const char* data, int length) override { m_pictures.OnFrame(data, length); }

    CBulkReceiver& m_pictures;
};

/// As fast as the watcher takes them, or with such a pause.
void PublishPaced(CSide& side, int64_t paceNs) {
    CLumoHost host;
    CBenchDesktop channel;
    side.Listening(host.Port());
    WaitFor("a watcher", [&] { return channel->GetDesktopSinkCount() > 0; });
    side.Connected();
    const int64_t start = NowNs();
    SendFrames(
        side,
        [&](uint32_t made) {
            return channel->GetBufferingFrameCount() < kPicturesQueued && NowNs() - start >= made * paceNs;
        },
        [&](const char* data, int length) { channel->OnDesktopChannelData(data, length); });
    side.WaitForStop();
}

void Publish(CSide& side) { PublishPaced(side, 0); }

/// As `lumo publish desktop` does.
void PublishScreen(CSide& side) { PublishPaced(side, 100 * kNsPerMs); }

void Watch(CSide& side) {
    CLumoHost host;
    CBenchDesktop channel;
    CBulkReceiver pictures(side);
    CDesktopSubscription subscription(pictures);
    subscription.ConnectToPublisher(host, side.Port());
    side.Connected();
    subscription.PollUntilStopped(side);
}

void WatchTcp(CSide& side) {
    CBulkReceiver pictures(side);
    CTcpReceiver receiver(wire::TcpType::DesktopReceiver, side.Port(),
                          [&](const char* data, int length) { pictures.OnFrame(data, length); });
    side.Connected();
    side.WaitForStop();
}

nlohmann::json Settings(const char* path) {
    nlohmann::json settings = LumoSettings(path);
    settings["frames queued by the application"] = kPicturesQueued;
    return settings;
}
nlohmann::json UdpSettings() { return Settings("a channel's UDP sink to a receiver in another process"); }
nlohmann::json TcpSettings() { return Settings("a channel's TCP sink to a client in another process"); }

}  // namespace

std::vector<CDriver> LumoDesktopDrivers() {
    return {{"lumo-desktop", Role::Receiver, Listener::Sender, Publish, Watch, UdpSettings},
            {"lumo-screen", Role::Receiver, Listener::Sender, Wide<PublishScreen>, Wide<Watch>, UdpSettings},
            {"lumo-desktop-tcp", Role::Receiver, Listener::Sender, Publish, WatchTcp, TcpSettings}};
}

}  // namespace bench
