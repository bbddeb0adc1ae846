// What the library gives an audio publisher and an audio subscriber.
#pragma once

#include "tools/lumo/net/link.h"
#include "tools/lumo/net/relay_route.h"

#include <lumomedia/audio.h>

#include <memory>

namespace lumo {

struct EndAudioChannel {
    void operator()(CAudioChannel* channel) const {
        channel->ReleaseConnections();
        delete channel;
    }
};
using AudioChannelPtr = std::unique_ptr<CAudioChannel, EndAudioChannel>;

/// Publishes a channel of this host at the relay server.
class CAudioPublishLink final : public CLink, private IAudioSenderNotify {
public:
    CAudioPublishLink(const RelayRoute& route, CInbox& inbox);
    ~CAudioPublishLink() override { Close(); }

private:
    bool Create() override;
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    void Release() override;
    void OnConnected(unsigned long) override { Inbox().Accept(); }

    const RelayRoute m_route;
    IAudioSender* m_pSender = nullptr;
};

/// Subscribes at the relay server or at the publisher's own host; the inbox gets the frames.
class CAudioSubscribeLink final : public CLink, private IAudioReceiverNotify {
public:
    /// `peer`: at the host of the user that the channel's number names.
    CAudioSubscribeLink(bool peer, const RelayRoute& route, CInbox& inbox, const LinkTimes& times)
        : CLink(inbox, times), m_bPeer(peer), m_route(route) {}
    ~CAudioSubscribeLink() override { Close(); }

private:
    bool Create() override;
    bool IsDisconnected() override;
    void Release() override;
    void OnAudioData(const char* data, int length) override { Inbox().Push(data, length); }
    void OnConnected(unsigned long) override { Inbox().Accept(); }

    const bool m_bPeer;
    const RelayRoute m_route;
    IAudioReceiver* m_pReceiver = nullptr;
};

}  // namespace lumo
