// A receiver of a share: attached to a local channel, subscribed to one elsewhere.
#pragma once

#include "link/callback.h"
#include "link/share/share_channel.h"
#include "link/tables/object_id.h"

#include <cstdint>

class CFrameLink;

/// The datagrams that a server sends to a receiver. UDP thread, under the receiver table lock.
class IShareReceiverUDP {
public:
    virtual void OnReceivedKeepAliveACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedFrame(uint32_t sinkID, const char* packet, int length, uint32_t ip, uint16_t port) = 0;

protected:
    ~IShareReceiverUDP() = default;
};

/// Attaches to its channel by Attach once it is wholly made, and has left it before its destructor begins.
class CShareReceiver {
public:
    explicit CShareReceiver(CShareChannel& channel) : m_channel(channel) {}
    virtual ~CShareReceiver() = default;
    CShareReceiver(const CShareReceiver&) = delete;
    CShareReceiver& operator=(const CShareReceiver&) = delete;

    uint32_t ChannelID() const { return m_channel.hub.ID(); }
    uint32_t ReceiverID() const { return m_id.Get(); }
    /// A frame of the local channel, to go upstream. Any thread, under the channel's receiver lock.
    virtual void OnChannelData(const void* data, int length) = 0;
    virtual uint32_t GetBufferingFrameCount() = 0;
    /// Bytes of the frames still waiting to go upstream.
    virtual uint64_t GetBufferedBytes() = 0;

    /// This object as one that datagrams reach, or null.
    virtual IShareReceiverUDP* AsUDP() { return nullptr; }
    /// The reliable link that the worker pumps, or null.
    virtual CFrameLink* GetFrameLink() { return nullptr; }

    void Attach() { m_channel.hub.AttachReceiver(this); }

protected:
    void Detach() { m_channel.hub.DetachReceiver(this); }
    /// The application's callbacks; the first is false when it threw.
    virtual bool NotifyConnected(uint32_t ip) = 0;
    virtual void NotifyData(const char* data, int length) = 0;

private:
    CShareChannel& m_channel;  // not owned; outlives the receiver
    CObjectID m_id;
};

/// That with the application's side: the interface it holds and the callbacks it is told by.
template <class TInterface, class TNotify, void (TNotify::*Connected)(unsigned long),
          void (TNotify::*Data)(const char*, int)>
class CShareReceiverOf : public CShareReceiver, public TInterface {
public:
    CShareReceiverOf(TNotify& notify, CShareChannel& channel) : CShareReceiver(channel), m_pNotify(&notify) {}

protected:
    bool NotifyConnected(uint32_t ip) override {
        return CallApplication([&] { (m_pNotify->*Connected)(ip); });
    }
    void NotifyData(const char* data, int length) override {
        CallApplication([&] { (m_pNotify->*Data)(data, length); });
    }

    TNotify* const m_pNotify;  // the application's; outlives the receiver
};
