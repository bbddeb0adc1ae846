// A reliable UDP link that sends frames: the session, the queue before it, and the pump between the two.
#pragma once

#include "core/session.h"
#include "link/bounds/first_sends.h"
#include "link/bounds/limits.h"
#include "link/bounds/queue_limit.h"
#include "link/lock_order.h"
#include "link/process/due_links.h"
#include "link/process/link_registry.h"
#include "link/udp/newest_frames.h"
#include "platform/lumobase/buffer_pool.h"
#include "platform/lumobase/call_pace.h"
#include "platform/lumobase/memory_budget.h"

#include <atomic>
#include <cstdint>

/// Whom a link serves: it sends the packets, is handed the frames, and says what the link is.
class ILinkOwner : public ISessionOwner {
public:
    /// The link's ID, kind, far side and the signs of its life. Any thread.
    virtual void DescribeLink(LumoLinkStatistics& statistics) const = 0;

protected:
    ~ILinkOwner() = default;
};

/// What becomes of a link when the process has no memory left for what waits there.
enum class WhenOutOfMemory { Ends, LosesQueue };

/// One frame is in the session at a time, and the next enters when the previous one is wholly acknowledged; a wide
/// session takes as many as its path holds. The pump runs on the worker's turn, on the thread that queues a frame, and
/// after each received packet, or for a wide session after the burst; a thread that finds it running sets a flag, and
/// the running thread makes another pass.
/// The owner outlives the link.
class CFrameLink : private IBudgetHolder, private ISessionOwner, private IDue, public ILinkReport {
public:
    explicit CFrameLink(ILinkOwner& owner, WhenOutOfMemory whenOutOfMemory = WhenOutOfMemory::Ends);
    ~CFrameLink() override;
    CFrameLink(const CFrameLink&) = delete;
    CFrameLink& operator=(const CFrameLink&) = delete;

    /// Opens the session and enters the link in the statistics; the owner is wholly constructed by then.
    /// `strangerIP` is the address of a far side that came by itself: what the link holds counts towards its quota.
    bool OpenLink(uint32_t strangerIP = 0);
    /// Leaves the statistics, closes the session and drops the queue.
    void CloseLink();

    /// Queues a copy of a frame and lets it go at once when the link is idle. False when it was dropped.
    bool QueueFrame(const void* data, int length);
    /// A copy of a frame that is worth something only while it is new: it leaves once nothing else waits, unless a
    /// newer one of its key has come by then. So it keeps no other frame waiting, and counts as queued nowhere.
    bool QueueNewest(uint64_t key, const void* data, int length);
    /// A copy of a frame goes into the session at once, behind what is still in flight. False when it was dropped. A
    /// link sends its frames either so or through the queue.
    bool SendAtOnce(const void* data, int length);
    /// The worker's turn: one atomic load when there is nothing to do. True when a packet was sent.
    bool Pump();
    /// One received session packet, its bytes writable; then refills the window, that of a wide session after the
    /// burst.
    void OnPacket(const char* packet, int length);

    /// While held, frames wait in the queue and acknowledgements still go out. Once one did not fit the queue's limit
    /// nothing more is taken, and what waits is dropped at the end: the far side's frames begin after the gap. True
    /// when that was so.
    bool SetHeld(bool held);
    /// Held as above until the far side is validated; what waits and leaves meanwhile is drawn from `first`, which
    /// lives longer. Nothing leaves before LetFirstLeave, then a window of packets at most, repetitions included.
    void HoldUntilValidated(CFirstSends& first);
    void LetFirstLeave();
    /// Sends a held link's far side an empty packet, one a call and three at most: its acknowledgement validates it.
    void OfferOpening();
    uint64_t QueueLimit() const { return m_limit.Bytes(); }
    void SetQueueLimit(uint64_t bytes) { m_limit.Set(bytes); }
    /// Whether a frame fits what may wait, the longest included.
    bool HasRoom(int length) { return m_limit.HasRoom(QueueCost(), length); }
    /// Whether the queue has passed its limit, which does not count the longest frame. It takes nothing more then, and
    /// stays so until it is dropped.
    bool IsOverLimit() { return m_limit.IsOverrun() || HasGivenWay() || m_limit.IsOver(QueueCost()); }
    /// The process had no memory left for what waits here, or for a frame that came, or the far side acknowledges what
    /// it cannot have: the link is at its end.
    bool HasGivenWay() const {
        return m_bGaveWay.load(std::memory_order_relaxed) || m_session.HasLostFrame() || m_session.WasLiedTo();
    }
    uint32_t QueuedFrames() { return static_cast<uint32_t>(m_queue.GetCount()); }
    uint64_t QueuedBytes() const { return m_queue.GetByteCount(); }
    /// What the queue occupies. Many short frames take more room than their bytes.
    uint64_t QueueCost() { return limits::QueueCost(QueuedBytes(), QueuedFrames()); }
    CSession& Session() { return m_session; }
    void FillStatistics(LumoLinkStatistics& statistics) override;

    /// Queued frames leave before the link is told idle; this drops them, e.g. before a key frame.
    void DropQueue();

private:
    /// What is collected goes first, unless the last frame was taken quickly: then both go together.
    void OnSCTPSessionReceivedFrame(char* frame, int length) final;
    /// While held, only the opening and the first window of an unvalidated far side leave, and acknowledgements.
    void SendSCTPData(char* packet, int length) final;
    CDataBuffer* NextWaitingFrame() final;
    bool HasWaiting() { return m_queue.GetCount() > 0 || !m_newest.IsEmpty(); }
    void GiveWay() override;
    uint64_t BytesMoved() override;
    void OnDue(uint64_t now) override;
    bool TakeRoom(int length);
    void ForgetTaken();
    void GiveBackTaken(uint64_t cost);
    bool TakeRoomWhileHeld(uint64_t cost) LUMO_REQUIRES(m_csHeld);
    /// Whether a held link may be pumped: the first window of an unvalidated far side.
    bool MayPump() const;
    bool SpendPacket(int length);
    void CountDropped(uint64_t frames);
    bool RunPump() LUMO_REQUIRES(m_csPump);
    /// Counts what the session notes with what the link holds, as far as there is room: none of it can be refused.
    void ChargeRecords() LUMO_REQUIRES(m_csPump);
    void MarkBusy();
    void MarkIdle();
    /// A busy link that the worker looks after every turn, or not.
    void WatchTurns();
    void LeaveTurns();

    ILinkOwner& m_owner;
    const bool m_bEndsToGiveWay;
    CBudgetAccount m_waiting{SendBudget(), *this};  // before the frames that it pays for
    CSession m_session{*this};
    CBufferPool m_queue{lock_order::kFrameQueue};
    CNewestFrames m_newest;
    CLinkEntry m_entry;
    CCritSec m_csPump{lock_order::kPump};
    uint64_t m_nRecordBytes LUMO_GUARDED_BY(m_csPump) = 0;  // charged
    std::atomic<bool> m_bPumpAgain{false};
    std::atomic<bool> m_bBusy{false};      // something queued or unacknowledged
    std::atomic<bool> m_bWatching{false};  // counted as busy at the worker
    CCritSec m_csHeld{lock_order::kHeldLink};
    std::atomic<bool> m_bHeld{false};  // changes under m_csHeld
    bool m_bHeldGap LUMO_GUARDED_BY(m_csHeld) = false;
    uint64_t m_nTaken LUMO_GUARDED_BY(m_csHeld) = 0;  // while held
    std::atomic<CFirstSends*> m_pFirst{nullptr};      // of an unvalidated far side
    std::atomic<bool> m_bFirstLeaves{false};
    std::atomic<int> m_nOffers{0};
    std::atomic<int> m_nMayLeave{0};  // packets, while held
    std::atomic<bool> m_bGaveWay{false};
    CQueueLimit m_limit;
    CCallPace m_pace;  // the receiving thread's
};
