// A channel of a stream that starts and stops, subscribed to at another server with the library's own receivers.
#pragma once

#include "server/relays/receiver_leg.h"

/// What arrives is the derived class's.
template <class TNotify, class TReceiver, class TReceiverUDP, class TReceiverTCP>
class CStreamLeg : public CReceiverLeg<TReceiver, TReceiverUDP>, public TNotify {
    using CLeg = CReceiverLeg<TReceiver, TReceiverUDP>;

public:
    using CLeg::CLeg;
    ~CStreamLeg() override { CLeg::Release(); }

    bool Poll() override { return !m_pReceiver || m_pReceiver->IsDisconnected(); }
    void Follow(bool wanted) override {
        if (m_pReceiver && m_pReceiver->IsEnable() != wanted) m_pReceiver->SetEnable(wanted);
    }

    void OnConnected(unsigned long) override { CLeg::OnAccepted(); }

protected:
    using CLeg::m_channel;
    using CLeg::m_pReceiver;

private:
    static constexpr uint32_t kNoUser = 0;  // the subscription is the server's own

    bool AskTCP(const CMcuAddress& far) override {
        auto* receiver = new TReceiverTCP(*this, m_channel.ChannelID(), kNoUser);
        m_pReceiver = receiver;
        return receiver->Connect(far, {}, {});
    }
    bool AskUDP(const CMcuAddress& far) override {
        auto* receiver = new TReceiverUDP(*this, m_channel.ChannelID(), kNoUser);
        m_pReceiver = this->m_pReceiverUDP = receiver;
        return receiver->Connect(far, {});
    }
    bool PollReceiver(TReceiverUDP& receiver) override { return receiver.IsDisconnected(); }
};
