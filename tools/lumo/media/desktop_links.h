// What the library gives a publisher and a viewer of a desktop channel.
#pragma once

#include "tools/lumo/media/stream_links.h"

#include <lumomedia/desktop.h>

#include <string>

namespace lumo {

/// Calls the callbacks what the links of all streams call them.
class CDesktopSenderNotify : public IDesktopSenderNotify {
    void OnDesktopSenderNotifyConnected(unsigned long ip) final { OnConnected(ip); }
    virtual void OnConnected(unsigned long ip) = 0;

protected:
    ~CDesktopSenderNotify() = default;
};
class CDesktopReceiverNotify : public IDesktopReceiverNotify {
    void OnDesktopReceiverNotifyConnected(unsigned long ip) final { OnConnected(ip); }
    virtual void OnConnected(unsigned long ip) = 0;

protected:
    ~CDesktopReceiverNotify() = default;
};

/// Desktop receivers take no argument about their start.
IDesktopReceiver* MakeDesktopReceiverTCP(IDesktopReceiverNotify& notify, unsigned long channel, unsigned long far0,
                                         unsigned long far1, unsigned long far2, unsigned short farPort,
                                         unsigned long near0, unsigned long near1, unsigned long near2,
                                         unsigned short nearPort, int start, int proxyType, const char* proxyHost,
                                         unsigned short proxyPort, const char* proxyUser, const char* proxyPassword);

struct DesktopLibrary {
    static constexpr unsigned char kKind = kDesktopKind;
    using Sender = IDesktopSender;
    using SenderNotify = CDesktopSenderNotify;
    using Receiver = IDesktopReceiver;
    using ReceiverNotify = CDesktopReceiverNotify;
    static constexpr auto kSenderUDP = &CreateDesktopSenderUDP;
    static constexpr auto kSenderTCP = &CreateDesktopSenderTCP;
    static constexpr auto kReceiverUDP = &CreateDesktopReceiverUDP;
    static constexpr auto kReceiverTCP = &MakeDesktopReceiverTCP;
    static constexpr auto kReceiverP2P = &CreateDesktopReceiverP2P;
};

/// To peers over TCP.
struct DesktopLibraryP2PTCP : DesktopLibrary {
    static constexpr auto kReceiverP2P = &CreateDesktopReceiverP2PTCP;
};

/// A local channel; what comes from upstream goes to the inbox, if there is one.
class CDesktopToolChannel final : public CDesktopChannel {
public:
    CDesktopToolChannel(uint32_t id, CInbox* inbox) : CDesktopChannel(id), m_pInbox(inbox) { Connect(); }
    void OnDesktopSinkData(const void* data, int length) override {
        if (m_pInbox) m_pInbox->Push(data, length);
    }
    void Write(const std::string& frame) { Write(frame.data(), static_cast<int>(frame.size())); }
    void Write(const char* data, int length) { OnDesktopChannelData(data, length); }

private:
    CInbox* const m_pInbox;
};
using DesktopChannelPtr = StreamChannelPtr<CDesktopToolChannel>;

using CDesktopPublishLink = CStreamPublishLink<DesktopLibrary>;

/// What a viewer says, on whichever link.
class IDesktopUpstream {
public:
    virtual CLink& Link() = 0;
    virtual void Say(const char* report, int length) = 0;

protected:
    ~IDesktopUpstream() = default;
};

/// Subscribes, and says what a viewer says through a local channel of the same number. Peers come to a channel of their
/// own, so that both ways can be up at once.
template <class Library>
class CDesktopSubscribeLink final : public CStreamSubscribeLink<Library>, public IDesktopUpstream {
    using Base = CStreamSubscribeLink<Library>;

public:
    CDesktopSubscribeLink(bool peer, const RelayRoute& route, CInbox& inbox, const LinkTimes& times)
        : Base(peer, route, Number(peer, route), inbox, times),
          m_channel(new CDesktopToolChannel(Number(peer, route), nullptr)) {}
    ~CDesktopSubscribeLink() override { this->Close(); }

    CLink& Link() override { return *this; }
    void Say(const char* report, int length) override { m_channel->Write(report, length); }

private:
    static uint32_t Number(bool peer, const RelayRoute& route) {
        return peer ? DirectChannel(route.channel) : route.channel;
    }
    /// Over UDP the library calls every receiver of a server lost; what comes tells.
    bool IsDisconnected() override {
        if (this->IsPeer()) return Library::kReceiverP2P == &CreateDesktopReceiverP2P ? Base::IsDisconnected() : Lost();
        return this->Route().tcp && Lost();
    }
    LinkSigns Signs() const override {
        return this->IsPeer() ? Base::Signs() : SignsThrough(kDesktopKind, this->Route(), this->Answered());
    }
    bool Lost() const { return this->Receiver()->IsDisconnected(); }
    void OnDesktopReceiverNotifyData(const char* data, int length) override { this->Inbox().Push(data, length); }

    DesktopChannelPtr m_channel;
};

}  // namespace lumo
