// This server's own subscription at the publisher's server.
#pragma once

#include <atomic>
#include <cstdint>

/// Opened, polled once a second and closed under the gate. Its frames go to its channel by themselves.
class CRelayLeg {
public:
    CRelayLeg() = default;
    virtual ~CRelayLeg() = default;
    CRelayLeg(const CRelayLeg&) = delete;
    CRelayLeg& operator=(const CRelayLeg&) = delete;

    /// Asks the far server. False when it could not even be asked.
    virtual bool Open() = 0;
    /// Takes leave. No frame and no callback of it comes after this.
    virtual void Close() = 0;
    /// The poll of every second: sends what is due. True when the leg is lost or not open.
    virtual bool Poll() = 0;
    /// Whether anybody wants the frames at the moment; where the far server can be told.
    virtual void Follow(bool /*wanted*/) {}
    /// Where a broken connection does not show by itself: when the far server last gave a sign of life, and a way to
    /// make it give one. 0 otherwise.
    virtual uint32_t LastHeard() { return 0; }
    virtual void AskForSign() {}

    /// Whether the far server has accepted it.
    bool IsUp() const { return m_bUp.load(std::memory_order_acquire); }

protected:
    void SetUp(bool up) { m_bUp.store(up, std::memory_order_release); }

private:
    std::atomic<bool> m_bUp{false};
};
