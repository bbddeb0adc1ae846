// A publication at the relay server and a subscription, as an application holds them; the media add their names.
#pragma once

#include "bench/harness/side.h"
#include "bench/harness/sockets.h"
#include "bench/transports/lumo_node.h"
#include "platform/lumobase/event.h"

#include <functional>
#include <stdexcept>

namespace bench {

inline constexpr int kPollMs = 1000;

/// What both have: polled as applications shall, and released at the end. TLink is one of the library's interfaces.
template <class TLink>
class CLumoLink {
public:
    CLumoLink() = default;
    virtual ~CLumoLink() { Release(); }
    CLumoLink(const CLumoLink&) = delete;
    CLumoLink& operator=(const CLumoLink&) = delete;

    void PollUntilStopped(CSide& side) {
        while (!side.Stopped(kPollMs)) m_pLink->IsDisconnected();
    }

protected:
    /// Takes it over and waits until the far side has taken it.
    void Hold(TLink* link) {
        m_pLink = link;
        if (!m_pLink) throw std::runtime_error("no link");
        for (int waited = 0; waited < kConnectMs; waited += kAskAgainMs) {
            m_pLink->IsDisconnected();
            if (!m_connected.WaitFor(kAskAgainMs)) continue;
            m_pLink->IsDisconnected();  // says at once what the link wants
            return;
        }
        throw std::runtime_error("the far side did not answer");
    }
    /// In the destructor of whoever takes its callbacks.
    void Release() {
        if (m_pLink) m_pLink->ReleaseConnections();
        m_pLink = nullptr;
    }
    void OnTaken() { m_connected.Signal(); }

private:
    static constexpr int kAskAgainMs = 100;

    TLink* m_pLink = nullptr;
    CEvent m_connected;
};

/// A channel of a stream at the relay server. TNotify has OnConnected.
template <class TSender, class TNotify>
class CStreamPublication : public CLumoLink<TSender>, protected TNotify {
public:
    using Make = TSender* (*)(TNotify&, unsigned long, unsigned long, unsigned long, unsigned long, unsigned short);
    CStreamPublication(Make make, uint16_t port) { this->Hold(make(*this, kChannelID, RunHosts().far, 0, 0, port)); }
    ~CStreamPublication() override { this->Release(); }

protected:
    void OnConnected(unsigned long) override { this->OnTaken(); }
};

/// Ends a channel of the library that its maker owns.
template <class TChannel>
class CLumoChannel {
public:
    CLumoChannel() : m_pChannel(new TChannel(kChannelID)) {}
    ~CLumoChannel() {
        m_pChannel->ReleaseConnections();
        delete m_pChannel;
    }
    CLumoChannel(const CLumoChannel&) = delete;
    CLumoChannel& operator=(const CLumoChannel&) = delete;
    TChannel* operator->() { return m_pChannel; }

private:
    TChannel* const m_pChannel;
};

/// With wide sessions, which both ends have to want.
template <void (*Work)(CSide&)>
void Wide(CSide& side) {
    SetWideSessions(true);
    Work(side);
}

}  // namespace bench
