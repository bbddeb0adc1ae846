// Senders of a stream that starts and stops: sinks of the channel that forward to a server while that wants frames.
#pragma once

#include "link/callback.h"
#include "link/channel_key.h"
#include "link/mcu_address.h"
#include "link/media.h"
#include "link/tcp/tcp_link.h"
#include "link/udp/udp_source.h"

#include <atomic>
#include <cstdint>

/// Its ISender operations are the sink's of the same names. A frame that meets a stop may still be sent.
template <class TSink, class ISender, class INotify>
class CStreamSender : public TSink, public ISender {
public:
    template <class TChannel>
    CStreamSender(INotify& notify, TChannel& channel) : TSink(channel, 0), m_pNotify(&notify) {}

    void ReleaseConnections() override { TSink::ReleaseConnections(); }
    bool IsStarted() override = 0;
    bool IsDisconnected() override = 0;
    void SetEnable(bool bEnable) override { m_bEnable.store(bEnable, std::memory_order_relaxed); }
    bool IsEnable() override { return m_bEnable.load(std::memory_order_relaxed); }
    unsigned long GetStartParam() override { return m_ulStartParam.load(std::memory_order_relaxed); }

    virtual void OnReceivedStart() { m_bSendStarted.store(true, std::memory_order_relaxed); }
    virtual void OnReceivedStop() { m_bSendStarted.store(false, std::memory_order_relaxed); }

protected:
    void NotifyConnected(uint32_t ip) {
        CallApplication([&] { m_pNotify->OnConnected(ip); });
    }
    bool IsWanted() const {
        return m_bEnable.load(std::memory_order_relaxed) && m_bSendStarted.load(std::memory_order_relaxed);
    }

    INotify* const m_pNotify;  // the application's; outlives the sender
    std::atomic<uint32_t> m_ulStartParam{0};

private:
    std::atomic<bool> m_bEnable{true};
    std::atomic<bool> m_bSendStarted{false};  // set by the server's START and STOP
};

/// Over TCP. TSender is the medium's sender.
template <class TSender>
class CStreamSenderTCP : public TSender, public ITcpClientNotify {
public:
    void ReleaseConnections() override {
        if (RefusesRelease("A sender of channel", ChannelID())) return;
        TSender::ReleaseConnections();
        m_link.Release();
        delete this;
    }
    bool IsStarted() override { return this->IsWanted() && m_link.Client() != nullptr; }
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    unsigned long GetBufferingFrameCount() override { return m_link.QueuedFrames(); }
    /// Dials address 0 and only that; the others serve the test for any address at all.
    bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port, const CProxyServer& proxy) {
        if (CMcuAddress{{ip0, ip1, ip2}, port}.IsEmpty() || port == 0) return false;
        return m_link.Dial(this, ip0, port, proxy);
    }

    void OnTcpClientNotifyConnected() override {
        m_link.Settle();
        m_link.SendValidation(ValidationMessage(m_medium.tcp.sender, wire::CWireWriter().U32(ChannelID())));
    }
    bool OnTcpClientNotifyValidate(unsigned long /*type*/, const char* data, int length) override {
        m_link.Settle();
        uint32_t channelID = 0;
        if (!ReadChannelAnswer(data, length, channelID) || channelID != ChannelID()) return false;
        this->NotifyConnected(m_link.RemoteIP());
        return true;
    }
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override {
        if (data && length == 1) OnControl(data[0]);
        return true;
    }

protected:
    template <class INotify, class TChannel>
    CStreamSenderTCP(INotify& notify, TChannel& channel, const CMediumRow& medium)
        : TSender(notify, channel), m_medium(medium), m_link(medium.kind, medium.tcp.senderKeepAliveEvery) {}

    /// A control byte of the server.
    virtual void OnControl(char control) {
        if (control == m_medium.tcp.start) this->OnReceivedStart();
        if (control == m_medium.tcp.stop) this->OnReceivedStop();
    }

private:
    uint32_t ChannelID() { return ChannelNumber(TSender::Info().channel); }

protected:
    const CMediumRow& m_medium;
    CTcpLink m_link;
};

/// Over UDP. TSender is the medium's sender.
template <class TSender>
class CStreamSenderUDP : public TSender {
public:
    bool IsStarted() override { return this->IsWanted() && m_source.SourceID() != 0; }
    bool IsDisconnected() override { return m_source.Poll(ChannelID()); }
    /// Sends the connect request; false without an address or a port.
    virtual bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) {
        if (!m_source.SetMcu({{ip0, ip1, ip2}, port})) return false;
        m_source.SendConnect(ChannelID());
        return true;
    }
    uint32_t GetSenderKey() { return TSender::ID(); }

    /// UDP thread, under the sender table lock.
    void OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port) {
        if (m_source.OnConnectAck(sourceID, ip, port) == ConnectAck::First) this->NotifyConnected(ip);
    }
    using TSender::OnReceivedStart;
    void OnReceivedStart(uint32_t startParam) {
        TSender::OnReceivedStart();
        m_source.Touch();
        this->m_ulStartParam.store(startParam, std::memory_order_relaxed);
        m_source.AnswerKeepAlive();
    }
    void OnReceivedStop() override {
        TSender::OnReceivedStop();
        m_source.Touch();
        m_source.AnswerStop();
    }

protected:
    template <class INotify, class TChannel>
    CStreamSenderUDP(INotify& notify, TChannel& channel, const CMediumRow& medium)
        : TSender(notify, channel), m_source(medium, TSender::ID()) {}

private:
    uint32_t ChannelID() { return ChannelNumber(TSender::Info().channel); }

protected:
    CUdpSource m_source;
};
