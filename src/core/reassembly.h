// Collects the pieces of one frame.
#pragma once

#include "core/session_constants.h"
#include "lumomedia/packet.h"
#include "platform/lumobase/memory_budget.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>

/// The buffer is used from frame to frame and grows; it is never filled beforehand, so that an idle one costs no
/// memory. After a much shorter frame, and after a second in which nothing came, a long one is given back. One thread
/// uses it; the worker may let it give way, and then its frame is thrown away.
class CReassembly final : private IBudgetHolder {
public:
    CReassembly() = default;
    ~CReassembly();
    CReassembly(const CReassembly&) = delete;
    CReassembly& operator=(const CReassembly&) = delete;

    /// Of a far side that came by itself. Before anything is fed.
    void SetStranger(uint32_t ip) { m_ulStranger = ip; }
    /// Starts anew with a fresh buffer; false without memory.
    bool Open();
    /// Adds the payload of the next packet in order. True when it ends a frame, which stays until Reset(). Past
    /// session::kMaxFrameLen, or without memory, everything is ignored until the next Open().
    bool Append(CSCTPPacket& packet);
    void Reset();
    /// A frame longer than this is skipped to its end, and the next one collected as if nothing had been.
    void SkipOver(int length) { m_nSkipOver = length; }
    /// How much of a payload of this length is worth keeping: past one byte too many, its frame is skipped anyway.
    int MostUseful(int length) const { return length <= m_nSkipOver ? length : m_nSkipOver + 1; }

    /// A frame was thrown away for want of memory: what follows comes with a gap. Any thread.
    bool HasLostFrame() const { return m_bLostFrame.load(std::memory_order_relaxed); }

    char* Data() const { return m_pBuffer.get(); }
    int Length() const { return m_nLength; }

private:
    struct Free {
        void operator()(char* memory) const { std::free(memory); }
    };

    void GiveWay() override;
    uint64_t BytesMoved() override { return m_nMoved.load(std::memory_order_relaxed); }
    void Rest() override;

    void Begin();
    void Finish();
    bool AppendInUse(CSCTPPacket& packet);
    bool Skip(CSCTPPacket& packet, int length);
    int CapacityFor(int length) const;
    bool Afford(int length);
    bool Reserve(int length);
    void ThrowAway();
    void FreeBuffer();
    void GiveUp();

    std::unique_ptr<char, Free> m_pBuffer;
    int m_nCapacity = 0;
    int m_nLength = 0;
    int m_nSkipOver = session::kMaxFrameLen;
    bool m_bOpen = false;
    bool m_bSkipping = false;
    int m_nCharged = 0;     // of the capacity
    bool m_bBegun = false;  // the owner's: it has the buffer
    uint32_t m_ulStranger = 0;
    std::atomic<bool> m_bLostFrame{false};
    std::atomic<bool> m_bInUse{false};     // the thread that sets it owns all of the above
    std::atomic<bool> m_bMustGive{false};  // the owner shall throw its frame away when it lets go
    std::atomic<uint64_t> m_nMoved{0};
    CBudgetAccount m_account{ReceiveBudget(), *this};
};
