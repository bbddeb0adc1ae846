// What is made of the library on a path: polled, given up and made anew.
#pragma once

#include "tools/lumo/net/inbox.h"
#include "tools/lumo/net/link_signs.h"
#include "tools/lumo/transfer/link_policy.h"

#include <atomic>
#include <cstdint>
#include <optional>

namespace lumo {

/// One thread: the loop's.
class CLink {
public:
    CLink(CInbox& inbox, const LinkTimes& times);
    virtual ~CLink();
    CLink(const CLink&) = delete;
    CLink& operator=(const CLink&) = delete;

    /// Makes, polls and gives up the connection as it is time. True when the far side has just taken us.
    bool Poll(uint64_t now);
    /// A frame has come.
    void OnSignOfLife(uint64_t now) { m_policy.OnSignOfLife(now); }
    /// Says the library's goodbye; the next Poll makes it anew.
    void Suspend();
    /// The same for good.
    void Close();
    /// Whether the far side has ever taken us.
    bool EverTaken() const { return m_bEverTaken; }
    /// Bytes of frames that have come, whole or not; begins anew with each connection.
    uint64_t ArrivedBytes() const { return m_signs.bytes; }
    int Remakes() const { return m_nMade > 0 ? m_nMade - 1 : 0; }
    bool IsUp() const { return m_policy.IsUp(); }
    /// The far side has taken us.
    bool IsTaken() const { return m_policy.IsAccepted(); }
    /// The same for certain: a server acknowledges every claim on a channel, and goes on speaking to one alone.
    bool IsServed() const { return IsTaken() && (m_bSpokenTo || !IsClaim()); }

    static constexpr uint64_t kPollMs = 1000;  // the library counts on it

protected:
    /// False when the library refuses.
    virtual bool Create() = 0;
    virtual bool IsDisconnected() = 0;
    virtual void Release() = 0;
    /// Something has happened on which the library acts at polls alone, so that the next one need not wait for its
    /// time. Once for each connection that is made.
    virtual bool HasNews() const { return false; }
    /// What has come from the far side so far, as the library counts it. Of a frame that takes long to arrive the bytes
    /// tell that the link lives, and where no frames come the server's own words do.
    virtual LinkSigns Signs() const { return {}; }
    /// Whether being taken only means that the server knows of the claim.
    virtual bool IsClaim() const { return false; }
    CInbox& Inbox() { return m_inbox; }
    /// The far side has accepted us, from this address. Any thread.
    void Accept(unsigned long ip) {
        m_ulAnswered.store(static_cast<uint32_t>(ip), std::memory_order_relaxed);
        m_inbox.Accept();
    }
    /// 0 at first.
    uint32_t Answered() const { return m_ulAnswered.load(std::memory_order_relaxed); }

private:
    /// Otherwise nobody asks for them: to look costs a walk over all links of the process.
    bool LivesBySigns() const { return m_times.silence < LinkTimes::kForEver; }
    void LookForLife(uint64_t now);
    void LookWhetherSpokenTo(uint64_t now);

    CInbox& m_inbox;
    const LinkTimes m_times;
    CLinkPolicy m_policy;
    std::atomic<uint32_t> m_ulAnswered{0};
    bool m_bLost = false;
    bool m_bNewsPolled = false;
    bool m_bClosed = false;
    bool m_bSpokenTo = false;
    uint64_t m_ullPolledMs = 0;
    uint64_t m_ullSpokenMs = 0;          // when to look again whether it is spoken to
    std::optional<uint64_t> m_answered;  // the signs of life when the answers to the claim were in
    LinkSigns m_signs;                   // when last looked at
    int m_nMade = 0;
    bool m_bEverTaken = false;
};

}  // namespace lumo
