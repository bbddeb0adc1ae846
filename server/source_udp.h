// A publisher over UDP.
#pragma once

#include "core/wire/datagram.h"
#include "link/activity.h"
#include "link/mcu_address.h"
#include "link/object_id.h"
#include "server/answer_budget.h"
#include "server/server_options.h"
#include "server/source.h"

#include <atomic>
#include <memory>

class CStream;

/// Until it is proved (a datagram with its ID has come from its address) it is told nothing but the answers to its
/// requests and keep-alives, within its budget. Datagrams come on the UDP thread, under the table lock or the gate.
/// How its frames travel is the derived class's.
class CSourceUDP : public CSource {
public:
    CSourceUDP(const CSourceProfile& profile, CStream& stream, const CPeer& peer, uint32_t senderKey);

    /// One whose frames travel as the profile says.
    static std::unique_ptr<CSourceUDP> Make(const CSourceProfile& profile, CStream& stream, const CPeer& peer,
                                            uint32_t senderKey, const CServerLimits& limits);
    /// False when there is no memory for it.
    virtual bool Open() { return true; }
    /// What follows the source ID in a frame's datagram.
    virtual void OnFrame(const char* data, int length) = 0;
    /// The worker's turn; true when something was sent.
    virtual bool PumpFrames() { return false; }

    uint32_t SourceID() const { return m_id.Get(); }
    uint32_t ChannelID() const { return m_ulChannelID; }
    bool Is(const CPeer& peer) const { return m_peer == peer; }
    bool IsProved() const override { return m_bProved.load(std::memory_order_relaxed); }

    /// A connect request of `length` bytes: acknowledges it as far as the budget goes.
    void OnConnect(int length);
    /// The address is real: what was owed leaves.
    void Prove();
    /// A sign of life.
    void Touch() { m_activity.Touch(); }

    void OnChange() override;
    bool GivesWay() override;
    bool IsGone() override;
    void OnSecond() override;
    void TellToStop() override;
    CSourceStatus Status() override { return {m_peer, false, IsProved(), {}, 0, 0}; }
    CSourceUDP* AsUDP() override { return this; }

protected:
    /// It has just proved itself.
    virtual void OnProved() {}

    const CSourceProfile& m_profile;
    CStream& m_stream;
    const CPeer m_peer;
    CRemoteAddress m_remote;
    const uint32_t m_ulSenderKey;

private:
    /// What is owed to one who is there.
    void Acknowledge();
    /// The question that a stranger proves itself by answering, as its budget allows.
    void Ask();
    void SendKeepAlive(uint32_t wanted);
    wire::CDatagram ConnectAck() const;
    wire::CDatagram KeepAlive(uint32_t wanted) const;
    uint32_t Wanted() const;

    const uint32_t m_ulChannelID;
    CObjectID m_id;
    CActivity m_activity;
    std::atomic<bool> m_bProved{false};
    std::atomic<uint32_t> m_ulLastKeepAlive;
    std::atomic<uint32_t> m_ulTold{0};  // how many listen, as it was last told
    CAnswerBudget m_budget;             // these two under the gate
    int m_nOwed = 0;
};
