// The desktop part of the local MCU: datagrams of kind 5, accepted sessions of service type 11, the pump.
#pragma once

#include "desktop/desktop_channel_state.h"
#include "link/share/share_mcu.h"

class CDesktopSink;

/// One per local MCU manager. Sinks are its own, and so are the channels that are still there when it is released;
/// receivers and senders enter and leave by themselves.
class CLocalMCUDesktop : public CShareMcu {
public:
    CLocalMCUDesktop();
    virtual ~CLocalMCUDesktop();

    void AddDesktopChannel(CDesktopChannel* channel) { PutChannel(CDesktopChannelState::Of(*channel)); }
    /// Unregisters the channel. Its sinks stay.
    void RemoveDesktopChannel(uint32_t channelID) { Tables().TakeChannel(channelID); }
    void AddDesktopSink(uint32_t sinkID, CDesktopSink* sink);
    void RemoveDesktopSink(uint32_t sinkID) { Tables().sinks.Take(sinkID); }
    void RemoveDisconnectedDesktopSinks() { Tables().EndDisconnectedSinks(); }
    /// Those of every channel.
    void RemoveAllDesktopSinks() { Tables().EndAllSinks(); }
    void AddDesktopReceiver(CShareReceiver* receiver) { PutReceiver(*receiver); }
    void RemoveDesktopReceiver(uint32_t receiverID) { Tables().receivers.Take(receiverID); }
    /// Ends the sinks, and releases and deletes the channels.
    void ReleaseConnections();
    /// Once a second.
    void OnTimer() { Tables().OnSecond(); }
    /// Each turn of the worker; true when a session sent something.
    bool ProcessSend() { return Tables().Pump(true); }

    /// A T for the factories, in its channel and in the table when datagrams reach it; null without a local MCU or for
    /// an unknown channel.
    template <class T>
    static T* CreateSender(IDesktopSenderNotify& notify, uint32_t channelID) {
        return MakeSender<T>(GetLocalMCUDesktop(), notify, channelID);
    }
    template <class T>
    static T* CreateReceiver(IDesktopReceiverNotify& notify, ChannelKey key) {
        return Entered(MakeShareReceiver<T>(GetLocalMCUDesktop(), notify, key), [](T& made) {
            if (made.AsUDP()) GetLocalMCUDesktop()->AddDesktopReceiver(&made);
        });
    }
    void RemoveDesktopSenderUDP(uint32_t senderKey) { Tables().senders.Take(senderKey); }

    /// Returns when none of a channel's sinks is being ended on another thread.
    void AwaitDesktopSinks(uint32_t channelID) { Tables().sinks.SweepChannel(channelID, CTables::EndSink); }
};
