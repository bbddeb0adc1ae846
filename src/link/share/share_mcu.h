// The local MCU object of files or desktops, the shares: its tables, what each datagram does, TCP for peers.
#pragma once

#include "link/media.h"
#include "link/share/share_channel.h"
#include "link/share/share_receiver.h"
#include "link/share/share_sender_udp.h"
#include "link/share/share_sink.h"
#include "link/tables/mcu_create.h"
#include "link/tables/mcu_dispatch.h"
#include "link/tables/mcu_tables.h"

#include <array>
#include <memory>

class ITcpSession;

/// How a medium's sinks are made: wholly, but not yet in their channel.
struct CShareSinkMakers {
    std::unique_ptr<CShareSink> (*udp)(CShareChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID);
    std::unique_ptr<CShareSink> (*tcp)(CShareChannel& channel, ITcpSession* session);
};

/// A sink whose session cannot be opened answers and times out. A TCP sink has answered the validation already.
template <class TSinkUDP, class TSinkTCP>
constexpr CShareSinkMakers ShareSinkMakers() {
    return {[](CShareChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID) {
                auto sink = std::make_unique<TSinkUDP>(channel, ip, port, receiverID);
                sink->StartSession();
                return std::unique_ptr<CShareSink>(std::move(sink));
            },
            [](CShareChannel& channel, ITcpSession* session) {
                auto sink = std::make_unique<TSinkTCP>(channel, session);
                sink->AnswerValidation();
                return std::unique_ptr<CShareSink>(std::move(sink));
            }};
}

/// Sinks are its own; receivers and senders enter and leave by themselves. Objects named by a datagram are used under
/// the lock of their table.
class CShareMcu {
public:
    using CTables = CMcuTables<CShareChannel, CShareSink, CShareReceiver, IShareSenderUDP>;

    CShareMcu(const CShareMcu&) = delete;
    CShareMcu& operator=(const CShareMcu&) = delete;

    CTables& Tables() { return m_tables; }
    /// A sink made elsewhere.
    void PutSink(uint32_t sinkID, CShareSink* sink);
    /// Makes the sink of a subscriber, or acknowledges again the one it has. False for an unknown channel or a full
    /// table. UDP thread.
    bool ConnectSink(uint32_t receiverID, ChannelKey key, uint32_t ip, uint16_t port);
    /// Makes the TCP sink of an accepted session and gives its ID, 0 when there is none. TCP thread, inside the
    /// validate callback.
    uint32_t AcceptSink(ITcpSession* session, ChannelKey key);

    /// One datagram without its kind byte. UDP thread.
    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port) {
        DispatchDatagram(*this, m_rows, m_medium.kind, data, length, static_cast<uint32_t>(ip), port);
    }
    void OnSinkNamed(const CServerDatagram& datagram) {
        m_tables.OnSinkNamed(Fields(datagram).U32(), datagram.ip, datagram.port);
    }
    /// An accepted session. TCP thread.
    bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length);

    /// Takes this very channel out, if it is the one registered under its key, and ends its sinks alone.
    void ForgetChannel(CShareChannel& channel) { m_tables.ForgetChannel(channel.hub.Key(), &channel); }

protected:
    CShareMcu(const CMediumRow& medium, const CShareSinkMakers& makers);
    ~CShareMcu() = default;

    const CMediumRow& m_medium;
    const CDispatchRow<CShareMcu> m_rows[10];

    void PutChannel(CShareChannel& channel) { m_tables.channels.Put(channel.hub.Key(), &channel); }
    void PutReceiver(CShareReceiver& receiver) { m_tables.receivers.Put(receiver.ReceiverID(), &receiver); }

private:
    void OnSinkConnect(const CServerDatagram& datagram);
    void OnSinkConnectAck(const CServerDatagram& datagram);
    void OnSinkKeepAlive(const CServerDatagram& datagram);
    void OnSinkKeepAliveAck(const CServerDatagram& datagram);
    void OnSinkFrame(const CServerDatagram& datagram);
    void OnSinkFrameAck(const CServerDatagram& datagram);
    void OnSinkDisconnect(const CServerDatagram& datagram);
    void OnSourceConnectAck(const CServerDatagram& datagram);
    void OnSourceFrameAck(const CServerDatagram& datagram);
    void OnSourceKeepAlive(const CServerDatagram& datagram);

    const CShareSinkMakers m_makers;
    CTables m_tables;
};

/// A receiver T on the channel of this key, in its channel and in no table. Null without a local MCU or for an unknown
/// channel.
template <class T, class TNotify>
T* MakeShareReceiver(CShareMcu* mcu, TNotify& notify, ChannelKey key) {
    if (!mcu) return nullptr;
    return MakeOnChannel<T>(mcu->Tables(), notify, key, [](CShareReceiver& receiver) { receiver.Attach(); });
}
