// The messages of one connection that wait for the network. Knows nothing of sockets.
#pragma once

#include "platform/lumobase/crit_sec.h"
#include "platform/lumobase/memory_budget.h"
#include "platform/lumobase/newest.h"
#include "platform/lumonet/tcp_fan_out.h"

#include <array>
#include <asio/buffer.hpp>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <utility>

/// What a queued message costs its connection's memory account: a part of the message's bytes, and the place in the
/// queue.
class CQueueCharge {
public:
    CQueueCharge() = default;
    ~CQueueCharge() {
        if (m_pAccount) m_pAccount->Let(m_nLength), m_pAccount->Return(kPlace);
    }
    CQueueCharge(CQueueCharge&& other) noexcept
        : m_pAccount(std::exchange(other.m_pAccount, nullptr)), m_nLength(other.m_nLength) {}
    CQueueCharge& operator=(CQueueCharge&& other) noexcept {
        std::swap(m_pAccount, other.m_pAccount);
        std::swap(m_nLength, other.m_nLength);
        return *this;
    }

    /// False when the account may not take it.
    bool Take(CBudgetAccount& account, uint32_t length) {
        if (!account.Take(kPlace)) return false;
        account.Hold(length);
        m_pAccount = &account;
        m_nLength = length;
        return true;
    }

private:
    static constexpr uint64_t kPlace = 64;
    CBudgetAccount* m_pAccount = nullptr;
    uint32_t m_nLength = 0;
};

/// Any thread pushes, counts and clears; the reactor's thread gathers. Its lock is held for bookkeeping alone, never
/// while bytes are handed to the kernel.
class CTcpSendQueue {
public:
    using Pieces = std::span<const asio::const_buffer>;

    /// True when the writer must be told: nothing was being written. Frames wait until the validation message was
    /// pushed.
    bool PushFrame(CSharedMessage frame, CQueueCharge charge = {});
    /// A frame that waits beside the others until none of them does, in the place of an older one of its key.
    bool PushNewest(uint64_t key, CSharedMessage frame, CQueueCharge charge = {});
    /// Goes before every frame; a second one is dropped.
    bool PushValidation(const char* data, uint32_t length);

    /// The next bytes to write, valid until Sent. Empty: nothing to write, and the next push says so.
    Pieces Gather();
    /// Whether the pieces last gathered may give way to newer ones until they have left. The writer's.
    bool GathersNewest() const { return m_bGathersNewest; }
    /// How many bytes of the pieces have left.
    void Sent(size_t bytes);

    /// Discards every frame of which no byte has left; never a validation message.
    void Clear();
    /// From now on a frame that has waited longer is discarded before a byte of it leaves, oldest first; never a
    /// control byte (a frame of one byte) or a validation message. Pieces are short then. 0, at first: all wait.
    void SetMaxAge(uint32_t milliseconds) { m_ulMaxAge.store(milliseconds, std::memory_order_relaxed); }
    bool Ages() const { return m_ulMaxAge.load(std::memory_order_relaxed) != 0; }
    /// Frames discarded for their age.
    uint64_t Aged() const { return m_nAged.load(std::memory_order_relaxed); }
    /// Discards everything and takes nothing more. Not between Gather and Sent.
    void Close();
    /// Takes nothing more. True as from a push.
    bool Finish();
    /// The writer could not be told: the next push says so again.
    void NotWoken();

    /// Messages not wholly handed to the kernel, and the bytes of their bodies; those that give way to newer ones only
    /// while they are being handed to it.
    uint32_t Count() const { return m_nCount.load(std::memory_order_relaxed); }
    uint64_t Bytes() const { return m_nBytes.load(std::memory_order_relaxed); }

private:
    struct Item {
        CSharedMessage message;
        bool validation = false;
        uint32_t since = 0;  // when it was pushed
        CQueueCharge charge;
        std::optional<uint64_t> newestOf;  // its key, where it gives way to a newer one
    };

    bool Wake() LUMO_REQUIRES(m_cs);
    void Count(const Item& item) LUMO_REQUIRES(m_cs);
    size_t Unclearable() const LUMO_REQUIRES(m_cs);
    void Erase(size_t from, size_t to) LUMO_REQUIRES(m_cs);
    void TakeNewest() LUMO_REQUIRES(m_cs);
    void PutNewestBack(size_t from, size_t to) LUMO_REQUIRES(m_cs);
    void DropAged() LUMO_REQUIRES(m_cs);

    CCritSec m_cs;
    std::deque<Item> m_items LUMO_GUARDED_BY(m_cs);
    CNewest<Item> m_newest LUMO_GUARDED_BY(m_cs);
    std::atomic<uint32_t> m_nCount{0};  // these two change under the lock
    std::atomic<uint64_t> m_nBytes{0};
    size_t m_nOffset LUMO_GUARDED_BY(m_cs) = 0;  // bytes of the first item that have left
    size_t m_nBusy LUMO_GUARDED_BY(m_cs) = 0;    // items whose bytes the writer is handing to the kernel
    bool m_bClearBusy LUMO_GUARDED_BY(m_cs) = false;
    bool m_bValidated LUMO_GUARDED_BY(m_cs) = false;
    bool m_bClosed LUMO_GUARDED_BY(m_cs) = false;
    // The writer will gather again by itself. True at first: it begins when the connection is up.
    bool m_bWriterAwake LUMO_GUARDED_BY(m_cs) = true;
    std::array<asio::const_buffer, net::kWritePieces> m_pieces;  // the writer's
    bool m_bGathersNewest = false;                               // the writer's
    std::atomic<uint32_t> m_ulMaxAge{0};
    std::atomic<uint64_t> m_nAged{0};
};
