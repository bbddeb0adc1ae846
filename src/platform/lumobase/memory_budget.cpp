#include "platform/lumobase/memory_budget.h"

#include <algorithm>
#include <new>
#include <utility>

CMemoryBudget::CMemoryBudget(uint64_t limit) : m_nLimit(limit) {}

void CMemoryBudget::SetExempt(std::function<bool(uint32_t ip)> exempt) {
    CAutoLock lock(&m_cs);
    m_exempt = std::move(exempt);
}

bool CMemoryBudget::Add(uint64_t bytes, bool holdsLittle) {
    const uint64_t sum = m_nSum.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    const uint64_t limit = Limit();
    if (sum > limit) RaiseAlarm();
    if (sum > limit + limit / kMargin + (holdsLittle ? limit / kLittleMargin : 0)) {
        Subtract(bytes);
        return false;
    }
    if (sum > m_nPeak.load(std::memory_order_relaxed)) m_nPeak.store(sum, std::memory_order_relaxed);
    return true;
}

// No address is too large while the sum of all is small.
void CMemoryBudget::Check(const Address* address) {
    const uint64_t quota = AddressQuota();
    if (address && address->bytes.load(std::memory_order_relaxed) > quota && Sum() > quota) RaiseAlarm();
}

void CMemoryBudget::RaiseAlarm() {
    if (m_bOver.exchange(true, std::memory_order_relaxed)) return;
    if (const auto alarm = m_pAlarm.load(std::memory_order_relaxed)) alarm();
}

// Without memory for it the account stays out: what it holds counts, and it is never asked.
void CMemoryBudget::Enter(CBudgetAccount& account, uint32_t ip) {
    const uint64_t moved = account.m_holder.BytesMoved();
    CAutoLock lock(&m_cs);
    const bool hasQuota = ip != 0 && !(m_exempt && m_exempt(ip));
    Address* address = nullptr;
    try {
        auto found = m_addresses.find(ip);
        if (hasQuota && found == m_addresses.end())
            found = m_addresses.emplace(ip, std::unique_ptr<Address>(new Address{ip})).first;
        if (hasQuota) address = found->second.get();
        m_accounts.try_emplace(&account, Pace{moved});
    } catch (const std::bad_alloc&) {
        if (address && address->accounts == 0) m_addresses.erase(ip);
        return;
    }
    account.m_bEntered = true;
    if (!address) return;
    ++address->accounts;
    address->bytes.fetch_add(account.Bytes(), std::memory_order_relaxed);
    account.m_pAddress.store(address, std::memory_order_relaxed);
}

// What it still holds is its own affair from now on.
void CMemoryBudget::Leave(CBudgetAccount& account) {
    CAutoLock lock(&m_cs);
    m_accounts.erase(&account);
    account.m_bEntered = false;
    Address* address = account.m_pAddress.exchange(nullptr, std::memory_order_relaxed);
    if (!address) return;
    address->bytes.fetch_sub(account.Bytes(), std::memory_order_relaxed);
    if (--address->accounts == 0) m_addresses.erase(address->ip);
}

// A holder may add up what it has moved from counters that are not read at once: that may seem to go back.
std::vector<CMemoryBudget::Burden> CMemoryBudget::Weigh(const Address* only) {
    std::vector<Burden> burdens;
    for (const auto& [account, pace] : m_accounts) {
        const uint64_t bytes = account->Bytes();
        if (bytes == 0 || (only && account->m_pAddress.load(std::memory_order_relaxed) != only)) continue;
        const uint64_t since = std::max(account->m_holder.BytesMoved(), pace.moved) - pace.moved;
        burdens.push_back({CBudgetAccount::Weight(bytes, std::max(pace.speed, since)), account});
    }
    std::sort(burdens.begin(), burdens.end(), [](const Burden& a, const Burden& b) { return a.weight > b.weight; });
    return burdens;
}

void CMemoryBudget::RelieveOf(std::vector<Burden>& burdens, const std::function<uint64_t()>& excess) {
    uint64_t goes = 0;  // what those who gave way let go of soon
    for (const Burden& burden : burdens)
        if (burden.account->m_bGone.load(std::memory_order_relaxed)) goes += burden.account->Bytes();
    for (const Burden& burden : burdens) {
        if (excess() <= goes) return;
        if (burden.account->m_bGone.exchange(true, std::memory_order_relaxed)) continue;
        m_nGivenWay.fetch_add(1, std::memory_order_relaxed);
        burden.account->m_holder.GiveWay();
        goes += burden.account->Bytes();
    }
}

// A little more than needed goes, so that not every turn looks at everybody.
void CMemoryBudget::Relieve() {
    if (!m_bOver.load(std::memory_order_relaxed)) return;
    m_bOver.store(false, std::memory_order_relaxed);
    const auto above = [](uint64_t bytes, uint64_t limit) { return bytes > limit ? bytes - limit : uint64_t{0}; };
    const uint64_t slack = Limit() / kMargin / 2;
    CAutoLock lock(&m_cs);
    for (const auto& entry : m_addresses) {
        const Address& address = *entry.second;
        if (Sum() <= AddressQuota() || address.bytes.load(std::memory_order_relaxed) <= AddressQuota()) continue;
        std::vector<Burden> burdens = Weigh(&address);
        RelieveOf(burdens, [&] {
            return std::min(above(Sum(), AddressQuota()),
                            above(address.bytes.load(std::memory_order_relaxed), AddressQuota()));
        });
    }
    if (Sum() <= Limit()) return;
    std::vector<Burden> burdens = Weigh(nullptr);
    RelieveOf(burdens, [&] { return above(Sum(), Limit() - slack); });
}

void CMemoryBudget::OnSecond() {
    CAutoLock lock(&m_cs);
    for (auto& [account, pace] : m_accounts) LookAtSpeed(*account, pace);
}

void CMemoryBudget::LookAtSpeed(CBudgetAccount& account, Pace& pace) {
    const uint64_t moved = std::max(account.m_holder.BytesMoved(), pace.moved);
    if (moved == pace.moved && account.Bytes() > 0) account.m_holder.Rest();
    pace.speed = (pace.speed + moved - pace.moved) / 2;
    pace.moved = moved;
}

bool CMemoryBudget::HasFallen(uint64_t bytes) {
    const uint64_t sum = Sum();
    if (m_nPeak.load(std::memory_order_relaxed) < sum + bytes) return false;
    m_nPeak.store(sum, std::memory_order_relaxed);
    return true;
}

bool CBudgetAccount::Take(uint64_t bytes) {
    if (m_bGone.load(std::memory_order_relaxed) || !m_budget.Add(bytes, HoldsLittle(bytes))) return false;
    Hold(bytes);
    return true;
}

bool CBudgetAccount::TakeWithinQuota(uint64_t bytes) {
    const CMemoryBudget::Address* address = m_pAddress.load(std::memory_order_relaxed);
    const bool room = m_budget.Sum() + bytes <= m_budget.Limit();
    if (address && address->bytes.load(std::memory_order_relaxed) + bytes > m_budget.AddressQuota()) return false;
    return room && Take(bytes);
}

uint64_t CBudgetAccount::Affordable() const {
    const CMemoryBudget::Address* address = m_pAddress.load(std::memory_order_relaxed);
    const auto left = [](uint64_t limit, uint64_t taken) { return limit - std::min(limit, taken); };
    const uint64_t all = left(m_budget.Limit(), m_budget.Sum());
    if (!address) return all;
    return std::min(all, left(m_budget.AddressQuota(), address->bytes.load(std::memory_order_relaxed)));
}

bool CBudgetAccount::HoldsLittle(uint64_t more) const {
    const CMemoryBudget::Address* address = m_pAddress.load(std::memory_order_relaxed);
    if (Bytes() + more > m_budget.MostLittle()) return false;
    return !address || address->bytes.load(std::memory_order_relaxed) + more <= m_budget.MostLittleAtAddress();
}

void CBudgetAccount::Return(uint64_t bytes) {
    m_budget.Subtract(bytes);
    Let(bytes);
}

void CBudgetAccount::Hold(uint64_t bytes) {
    m_nBytes.fetch_add(bytes, std::memory_order_relaxed);
    CMemoryBudget::Address* address = m_pAddress.load(std::memory_order_relaxed);
    if (!address) return;
    address->bytes.fetch_add(bytes, std::memory_order_relaxed);
    m_budget.Check(address);
}

void CBudgetAccount::Let(uint64_t bytes) {
    m_nBytes.fetch_sub(bytes, std::memory_order_relaxed);
    CMemoryBudget::Address* address = m_pAddress.load(std::memory_order_relaxed);
    if (address) address->bytes.fetch_sub(bytes, std::memory_order_relaxed);
}
