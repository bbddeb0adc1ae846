// The subscribers of a stream that starts and stops: what the sinks of every such medium have in common.
#pragma once

#include "link/tables/mcu_sink.h"
#include "link/tables/object_id.h"
#include "link/udp/udp_sink.h"

#include <atomic>
#include <cstdint>

/// The subscriber wants no frames at first.
class CStreamSink : public CMcuSink {
public:
    /// The counter is the channel's: how many subscribers among its sinks want frames.
    CStreamSink(std::atomic<uint32_t>& started, uint32_t userID) : m_nStarted(started), m_ulUserID(userID) {}

    /// Whether the far side wants frames. Any thread.
    bool IsStarted() override { return IsWanted(); }
    virtual uint32_t GetUserID() { return m_ulUserID; }

protected:
    /// The subscriber begins or ceases to want frames. True when that is a change.
    bool SetStarted(bool started) {
        if (IsWanted() == started) return false;
        // Counted before the flag is set, so that another thread that ends the sink never subtracts first.
        if (started) m_nStarted.fetch_add(1, std::memory_order_acq_rel);
        const bool news = m_bStarted.exchange(started, std::memory_order_acq_rel) != started;
        if (news != started) m_nStarted.fetch_sub(1, std::memory_order_acq_rel);
        if (news && started) OnStarted();
        return news;
    }
    /// Called when the subscriber begins to want frames.
    virtual void OnStarted() {}
    uint32_t ID() const { return m_id.Get(); }

private:
    bool IsWanted() const { return m_bStarted.load(std::memory_order_relaxed); }

    std::atomic<uint32_t>& m_nStarted;
    std::atomic<bool> m_bStarted{false};
    CObjectID m_id;
    const uint32_t m_ulUserID;  // of the remote receiver; 0 for senders
};

/// A peer's receiver attached to a channel of this host over UDP. TSink is the medium's sink.
template <class TSink>
class CStreamSinkUDP : public TSink {
public:
    template <class TChannel>
    CStreamSinkUDP(const CMediumRow& medium, TChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID,
                   uint32_t userID)
        : TSink(channel, userID), m_udp(medium, ip, port, receiverID, TSink::ID()) {}

    bool IsDisconnected() override { return m_udp.IsSilent(); }
    CSinkInfo Info() override {
        CSinkInfo info = TSink::Info();
        info.ip = GetRemoteIP();
        info.port = GetRemotePort();
        return info;
    }
    bool IsAt(uint32_t ip, uint16_t port) const override { return m_udp.Remote().Is(ip, port); }

    /// Each is a sign of life. UDP thread, under the sink table lock. OnReceivedStart and OnReceivedStop answer whether
    /// the state has changed.
    void OnReceivedConnect() override { m_udp.AcknowledgeConnect(); }
    bool OnReceivedStart() {
        const bool news = this->SetStarted(true);
        m_udp.AcknowledgeKeepAlive();
        return news;
    }
    bool OnReceivedStop() {
        const bool news = this->SetStarted(false);
        m_udp.AcknowledgeStop();
        return news;
    }

    uint32_t GetRemoteIP() const { return m_udp.Remote().IP(); }
    uint16_t GetRemotePort() const { return m_udp.Remote().Port(); }
    uint32_t GetReceiverID() const { return m_udp.ReceiverID(); }

protected:
    CUdpSink m_udp;
};
