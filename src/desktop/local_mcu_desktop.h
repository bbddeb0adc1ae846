// The desktop part of the local MCU: the datagrams of kind 5, the TCP service for peers, the pump.
#pragma once

#include "desktop/desktop_channel_state.h"
#include "link/share_mcu.h"

class CDesktopReceiver;
class CDesktopSink;

/// One per local MCU manager. Sinks are its own, and so are the channels that are still there when it is released;
/// receivers and senders enter and leave by themselves.
class CLocalMCUDesktop : public CShareMcu {
public:
    CLocalMCUDesktop();
    virtual ~CLocalMCUDesktop();

    void AddDesktopChannel(CDesktopChannel* channel);
    /// Unregisters the channel. Its sinks stay.
    void RemoveDesktopChannel(uint32_t channelID) { Tables().TakeChannel(channelID); }
    void AddDesktopSink(uint32_t sinkID, CDesktopSink* sink);
    void RemoveDesktopSink(uint32_t sinkID) { Tables().sinks.Take(sinkID); }
    void RemoveDisconnectedDesktopSinks() { Tables().EndDisconnectedSinks(); }
    /// Those of every channel.
    void RemoveAllDesktopSinks() { Tables().EndAllSinks(); }
    void AddDesktopReceiver(CDesktopReceiver* receiver);
    void RemoveDesktopReceiver(uint32_t receiverID) { Tables().receivers.Take(receiverID); }
    /// Ends the sinks, and releases and deletes the channels.
    void ReleaseConnections();
    /// Once a second.
    void OnTimer() { Tables().OnSecond(); }
    /// Each turn of the worker; true when a session sent something.
    bool ProcessSend() { return Tables().Pump(true); }

    /// One datagram of kind 5 without its kind byte. UDP thread.
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port);
    /// An accepted session of service type 11. TCP thread.
    bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) {
        return Validate(session, type, data, length);
    }

    /// A T for the factories, in its channel and in the table when datagrams reach it; null without a local MCU or for
    /// an unknown channel.
    template <class T>
    static T* CreateSender(IDesktopSenderNotify& notify, uint32_t channelID) {
        return MakeShareSender<T>(GetLocalMCUDesktop(), notify, channelID);
    }
    template <class T>
    static T* CreateReceiver(IDesktopReceiverNotify& notify, uint32_t channelID) {
        T* made = MakeShareReceiver<T>(GetLocalMCUDesktop(), notify, channelID);
        if (made && made->AsUDP()) GetLocalMCUDesktop()->AddDesktopReceiver(made);
        return made;
    }
    void RemoveDesktopSenderUDP(uint32_t senderKey) { Tables().senders.Take(senderKey); }

    /// Takes this very channel out, if it is the one registered under its ID, and ends its sinks alone.
    void ForgetDesktopChannel(CDesktopChannel* channel);
    /// Returns when none of a channel's sinks is being ended on another thread.
    void AwaitDesktopSinks(uint32_t channelID) { Tables().sinks.SweepChannel(channelID, CTables::EndSink); }
};
