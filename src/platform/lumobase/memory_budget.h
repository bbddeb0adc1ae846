// Bounds the memory of a process for what waits to be sent and for what is not yet whole.
#pragma once

#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

/// A holder of memory on account of a far side. Called by the worker, under the lock of the budget.
class IBudgetHolder {
public:
    /// Lets go of what it holds, at once or soon, and takes no more.
    virtual void GiveWay() = 0;
    /// Bytes that have passed through it since its beginning.
    virtual uint64_t BytesMoved() = 0;
    /// Nothing has moved for a second: what is kept only for the next frame may go.
    virtual void Rest() {}

protected:
    ~IBudgetHolder() = default;
};

class CBudgetAccount;

/// Taking and returning costs a few atomic operations. Past the limit, or an address past its quota, the holder that
/// has most and moves least gives way on the worker's next turn. Far past it only holders of little may take more, and
/// further on none.
class CMemoryBudget {
public:
    explicit CMemoryBudget(uint64_t limit);
    CMemoryBudget(const CMemoryBudget&) = delete;
    CMemoryBudget& operator=(const CMemoryBudget&) = delete;

    void SetLimit(uint64_t bytes) { m_nLimit.store(bytes, std::memory_order_relaxed); }
    uint64_t Limit() const { return m_nLimit.load(std::memory_order_relaxed); }
    uint64_t Sum() const { return m_nSum.load(std::memory_order_relaxed); }
    /// Those who gave way so far.
    uint64_t GivenWay() const { return m_nGivenWay.load(std::memory_order_relaxed); }
    /// Addresses whose accounts have no quota; at first none. Before anything is served.
    void SetExempt(std::function<bool(uint32_t ip)> exempt);
    /// What wakes the worker. Any thread calls it, under whatever lock.
    void SetAlarm(void (*alarm)()) { m_pAlarm.store(alarm, std::memory_order_relaxed); }

    /// Memory that nobody holds alone. False, and nothing is counted, far past the limit. What others take at once is
    /// no reason to refuse those who hold little: they have a margin behind that of all.
    bool Add(uint64_t bytes, bool holdsLittle = false);
    void Subtract(uint64_t bytes) { m_nSum.fetch_sub(bytes, std::memory_order_relaxed); }

    /// The worker's turn, with no lock held: one atomic load when nobody is over.
    void Relieve();
    /// The worker's second: how fast everybody moves.
    void OnSecond();
    /// Whether the sum has fallen so far from its highest. If so, that begins anew.
    bool HasFallen(uint64_t bytes);

private:
    friend class CBudgetAccount;
    struct Address {
        const uint32_t ip;
        size_t accounts = 0;  // under the lock
        std::atomic<uint64_t> bytes{0};
    };
    struct Pace {
        uint64_t moved;  // when it was last looked at
        uint64_t speed = 0;
    };
    using Accounts = std::unordered_map<CBudgetAccount*, Pace>;
    struct Burden {
        uint64_t weight;
        CBudgetAccount* account;
    };
    static constexpr uint64_t kQuotasInLimit = 4;
    static constexpr int kLockRank = 550;          // in the lock order: behind the tables, before the pump
    static constexpr uint64_t kMargin = 8;         // of the limit: what the worker's turn may be late by
    static constexpr uint64_t kLittleMargin = 16;  // and of those who hold little, behind it
    static constexpr uint64_t kLittle = 256;
    static constexpr uint64_t kLittleAtAddress = 32;

    uint64_t AddressQuota() const { return Limit() / kQuotasInLimit; }
    uint64_t MostLittle() const { return Limit() / kLittle; }
    uint64_t MostLittleAtAddress() const { return Limit() / kLittleAtAddress; }
    void Check(const Address* address);
    void RaiseAlarm();
    void Enter(CBudgetAccount& account, uint32_t ip);
    void Leave(CBudgetAccount& account);
    /// Lets accounts give way, the heaviest first, until `excess` is 0.
    void RelieveOf(std::vector<Burden>& burdens, const std::function<uint64_t()>& excess) LUMO_REQUIRES(m_cs);
    std::vector<Burden> Weigh(const Address* only) LUMO_REQUIRES(m_cs);
    static void LookAtSpeed(CBudgetAccount& account, Pace& pace);

    std::atomic<uint64_t> m_nLimit;
    std::atomic<uint64_t> m_nSum{0};
    std::atomic<uint64_t> m_nPeak{0};
    std::atomic<uint64_t> m_nGivenWay{0};
    std::atomic<bool> m_bOver{false};
    std::atomic<void (*)()> m_pAlarm{nullptr};
    CCritSec m_cs{kLockRank};
    std::function<bool(uint32_t)> m_exempt LUMO_GUARDED_BY(m_cs);
    Accounts m_accounts LUMO_GUARDED_BY(m_cs);
    std::unordered_map<uint32_t, std::unique_ptr<Address>> m_addresses LUMO_GUARDED_BY(m_cs);
};

/// One holder's part of a budget. Enter before other threads know the holder; the rest on any.
class CBudgetAccount {
public:
    CBudgetAccount(CMemoryBudget& budget, IBudgetHolder& holder) : m_budget(budget), m_holder(holder) {}
    ~CBudgetAccount() { Leave(); }
    CBudgetAccount(const CBudgetAccount&) = delete;
    CBudgetAccount& operator=(const CBudgetAccount&) = delete;

    /// May be asked to give way from now on. `ip` is that of a far side that came by itself, else 0: it has no quota.
    void Enter(uint32_t ip) {
        if (!m_bEntered) m_budget.Enter(*this, ip);
    }
    /// Is asked no more. When no other thread uses the holder any more.
    void Leave() {
        if (m_bEntered) m_budget.Leave(*this);
    }
    /// Memory of its own. False: it is not to be had.
    bool Take(uint64_t bytes);
    /// The same for what nobody is asked to give back: not a byte past the limit, or past its address's quota of it.
    bool TakeWithinQuota(uint64_t bytes);
    /// What TakeWithinQuota would give at most now.
    uint64_t Affordable() const;
    void Return(uint64_t bytes);
    /// Memory that the budget counts once, and every account in full that keeps it: whoever lags may be the last to,
    /// and a part of it would hide one who lags among many who do not. Never refused.
    void Hold(uint64_t bytes);
    void Let(uint64_t bytes);
    uint64_t Bytes() const { return m_nBytes.load(std::memory_order_relaxed); }
    /// Whether with so much more it holds little, and its address does.
    bool HoldsLittle(uint64_t more) const;
    /// It has given way, and is over that.
    void Recover() { m_bGone.store(false, std::memory_order_relaxed); }

    /// What decides who gives way: what is held, by how fast it moves. A little speed is anybody's who has just begun.
    static constexpr uint64_t Weight(uint64_t bytes, uint64_t movedPerSecond) {
        constexpr uint64_t kSlow = 64 * 1024;
        return bytes * 1024 / (movedPerSecond + kSlow);
    }

private:
    friend class CMemoryBudget;
    CMemoryBudget& m_budget;
    IBudgetHolder& m_holder;
    std::atomic<uint64_t> m_nBytes{0};
    std::atomic<bool> m_bGone{false};
    std::atomic<CMemoryBudget::Address*> m_pAddress{nullptr};
    bool m_bEntered = false;  // the holder's own
};

/// What waits to be sent, in all queues of the process.
CMemoryBudget& SendBudget();
/// What has come and is not yet whole.
CMemoryBudget& ReceiveBudget();
/// Packets that came before their turn; what holds them does not give way.
CMemoryBudget& EarlyBudget();

namespace budgets {

/// Divides these bytes among the budgets; 0, as at first: a quarter of what this machine or its control group has.
void SetLimit(uint64_t bytes);
/// As CMemoryBudget has it, for all.
void SetExempt(const std::function<bool(uint32_t ip)>& exempt);
void SetAlarm(void (*alarm)());
/// The worker's turn.
void Relieve();
/// The worker's second.
void OnSecond();
/// Much memory that became free goes back to the system, in one go: for a program that owns its process.
void ReturnFreedMemory();

}  // namespace budgets
