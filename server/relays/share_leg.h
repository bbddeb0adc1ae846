// A share's channel subscribed to at another server, with the library's own receivers.
#pragma once

#include "server/relays/receiver_leg.h"

#include <type_traits>

/// What the factory `kMake` of the library makes.
template <auto kMake, class TNotify>
using ShareReceiverMadeBy = std::remove_pointer_t<std::invoke_result_t<decltype(kMake), TNotify&, ChannelKey>>;

/// `kMakeUDP` and `kMakeTCP` are the library's factories of the medium's receivers. `kAsksOnce`: a request over UDP is
/// not repeated. The derived class hears the callbacks.
template <class TNotify, class TReceiver, auto kMakeUDP, auto kMakeTCP, bool kAsksOnce = false>
class CShareLeg : public CReceiverLeg<TReceiver, ShareReceiverMadeBy<kMakeUDP, TNotify>>, public TNotify {
    using CReceiverUDP = ShareReceiverMadeBy<kMakeUDP, TNotify>;
    using CLeg = CReceiverLeg<TReceiver, CReceiverUDP>;

public:
    using CLeg::CLeg;

    bool Poll() override {
        if (!m_pReceiverUDP) return !m_pReceiver || m_pReceiver->IsDisconnected();
        if (kAsksOnce && !this->IsUp()) return true;  // to be made anew
        return PollReceiver(*m_pReceiverUDP);
    }

protected:
    void OnFrame(const char* data, int length) { this->m_channel.OnSourceFrame(data, length); }

private:
    using CLeg::m_pReceiver;
    using CLeg::m_pReceiverUDP;

    bool AskTCP(const CMcuAddress& far) override {
        auto* receiver = kMakeTCP(*this, this->m_channel.Key());
        m_pReceiver = receiver;
        return receiver && receiver->Connect(far, {}, {});
    }
    bool AskUDP(const CMcuAddress& far) override {
        m_pReceiverUDP = kMakeUDP(*this, this->m_channel.Key());
        m_pReceiver = m_pReceiverUDP;
        return m_pReceiverUDP && m_pReceiverUDP->Connect(far, {}, false);
    }
    bool PollReceiver(CReceiverUDP& receiver) override { return receiver.PollLink(); }
};
