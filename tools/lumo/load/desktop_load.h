// One who shares a screen and many who watch, for `lumo load desktop`.
#pragma once

#include "tools/lumo/load/load_link.h"
#include "tools/lumo/media/desktop_links.h"
#include "tools/lumo/net/loop.h"

#include <utility>

namespace lumo {

/// The library finds a channel of this host by its number, which publisher and viewers share here: each registers its
/// own just before the library looks for it.
class CDesktopLoadPublisher final : public ILoadPublisher {
public:
    CDesktopLoadPublisher(const RelayRoute& route, CInbox& inbox)
        : m_channel(new CDesktopToolChannel(route.channel, nullptr)), m_link(route, inbox, *m_channel) {}
    void Send(std::string& frame, bool) override { m_channel->Write(frame); }
    CLink& Link() override { return m_link; }

private:
    class CPublishLink final : public CStreamPublishLink<DesktopLibrary> {
    public:
        CPublishLink(const RelayRoute& route, CInbox& inbox, CDesktopChannel& channel)
            : CStreamPublishLink(route, inbox), m_channel(channel) {}
        ~CPublishLink() override { Close(); }

    private:
        bool Create() override {
            m_channel.Connect();
            return CStreamPublishLink::Create();
        }

        CDesktopChannel& m_channel;
    };

    DesktopChannelPtr m_channel;  // ends after its link
    CPublishLink m_link;
};

class CDesktopLoadLink final : public CLoadLink<DesktopLibrary> {
public:
    CDesktopLoadLink(const RelayRoute& route, CInbox& inbox, LoadSink sink)
        : CLoadLink(route, inbox, std::move(sink)), m_channel(new CDesktopToolChannel(route.channel, nullptr)) {}
    ~CDesktopLoadLink() override { Close(); }

private:
    static constexpr uint64_t kAskAgainMs = 5000;

    bool Create() override {
        m_channel->Connect();
        m_ullAskedMs = CToolLoop::Now();
        return CLoadLink::Create();
    }
    // Over UDP the library asks once, and calls every receiver lost.
    bool IsDisconnected() override {
        if (Route().tcp) return CLoadLink::IsDisconnected();
        return !IsTaken() && CToolLoop::Now() - m_ullAskedMs > kAskAgainMs;
    }
    void OnDesktopReceiverNotifyData(const char* data, int length) override { m_sink(data, length); }

    DesktopChannelPtr m_channel;
    uint64_t m_ullAskedMs = 0;
};

}  // namespace lumo
