// The publishers over UDP; those whose frames travel in sessions are in source_session.h.
#pragma once

#include "link/activity.h"
#include "link/mcu_address.h"
#include "server/server_options.h"
#include "server/sources/claims.h"
#include "server/sources/source.h"

#include <atomic>
#include <memory>

class CServerChannel;

/// A publisher over UDP.
/// Made of a validated claim. Datagrams come on the UDP thread, under the table lock or the gate. How its frames travel
/// is the derived class's.
class CSourceUDP : public CSource {
public:
    CSourceUDP(const CMediumRow& row, CServerChannel& channel, std::unique_ptr<CClaim> claim);

    /// One whose frames travel as the row says.
    static std::unique_ptr<CSourceUDP> Make(const CMediumRow& row, CServerChannel& channel,
                                            std::unique_ptr<CClaim> claim, const CServerLimits& limits);
    /// False when there is no memory for it.
    virtual bool Open() { return true; }
    /// What follows the source ID in a frame's datagram.
    virtual void OnFrame(const char* data, int length) = 0;
    /// The worker's turn; true when something was sent.
    virtual bool PumpFrames() { return false; }

    uint32_t SourceID() const { return m_pClaim->sourceID.Get(); }
    uint32_t ChannelID() const { return m_pClaim->channelID; }
    bool Is(const CEndpointAddress& address) const { return m_address == address; }

    /// Sends the acknowledgements that are still owed. Under the gate, after the source has entered its channel.
    void Welcome();
    /// A connect request is acknowledged anew. Under the gate.
    void OnConnect();
    /// A sign of life.
    void Touch() { m_activity.Touch(); }
    uint64_t Signs() const { return m_activity.Signs(); }
    /// Repeats the last keep-alive, which the publisher answers. Under the channel's source lock or the gate.
    void Ask() { SendKeepAlive(Wanted()); }

    void OnChange() override;
    bool IsGone() override;
    void OnSecond() override;
    void TellToStop() override;
    CSourceStatus Status() override { return {m_address, false, {}, 0, 0, {}}; }
    CSourceUDP* AsUDP() override { return this; }

protected:
    const CMediumRow& m_row;
    CServerChannel& m_channel;
    const std::unique_ptr<CClaim> m_pClaim;  // not null
    const CEndpointAddress m_address;
    CRemoteAddress m_remote;
    const uint32_t m_ulSenderKey;

private:
    void Acknowledge();
    void SendKeepAlive(uint32_t wanted);
    uint32_t Wanted() const;

    CActivity m_activity;
    std::atomic<uint32_t> m_ulLastKeepAlive;
    std::atomic<uint32_t> m_ulTold;  // how many listen, as it was last told
};

/// A publisher over UDP whose frames each travel in a datagram, and to whom nothing goes upstream.
class CSourcePlain : public CSourceUDP {
public:
    using CSourceUDP::CSourceUDP;

    void OnFrame(const char* data, int length) override;
    bool SendUpstream(const void*, int) override { return false; }
    void End() override {}
};
