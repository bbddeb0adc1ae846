#include "server/requests.h"

#include "core/wire/commands.h"

using wire::Field;
using wire::Kind;

namespace {

uint64_t RandomOdd() { return uint64_t{Lumo_Base::GenerateSSRC()} << 32 | Lumo_Base::GenerateSSRC() | 1; }

}  // namespace

CRequests::CRequests(CCidrList trusted) : m_trusted(std::move(trusted)), m_waiting(kRoom), m_ullMix(RandomOdd()) {}

bool CRequests::Add(const char* data, int length, const CEndpointAddress& address) {
    if (!IsOne(data, length)) {
        m_bOthers = true;
        return false;
    }
    if (m_nWaiting == kRoom) {
        Drop(1);
        return true;
    }
    CRequest& request = m_waiting[m_nWaiting++];
    std::copy_n(data, length, request.data.begin());
    request.length = length;
    request.often = AsksOften(address.ip);
    request.address = address;
    return true;
}

// Counted in slots that addresses share, so that no number of them takes memory.
bool CRequests::AsksOften(uint32_t ip) {
    uint16_t& asked = m_asked[(ip * m_ullMix) >> (64 - kSlotBits)];
    if (asked < kSeldom) ++asked;
    return asked == kSeldom && !Contains(m_trusted, ip);
}

bool CRequests::IsOne(const char* data, int length) {
    if (length < 1 || length > kLongest) return false;
    const auto kind = static_cast<Kind>(data[0]);
    if (kind == Kind::Stun || length == 1) return kind == Kind::Stun;
    const wire::CommandRow* row = wire::FindCommand(kind, reinterpret_cast<const uint8_t*>(data) + 1, length - 1);
    if (!row) return false;
    const bool subscribes = row->fields[0] == Field::ReceiverID || row->fields[0] == Field::ClientSessionID;
    return row->fields[0] == Field::ChannelID || (subscribes && row->fields[1] == Field::ChannelID);
}

void CRequests::Drop(size_t count) {
    if (count == 0) return;
    m_bDropping = true;
    m_nDropped.fetch_add(count, std::memory_order_relaxed);
}

void CRequests::Pay(uint64_t& since) {
    FlushUdpBatch();  // the answers cost, too
    const uint64_t now = Lumo_Base::ThreadTime();
    m_nLeft -= static_cast<int64_t>(now - since);
    since = now;
}

void CRequests::Refill() {
    const uint32_t now = CActivity::Now();
    m_nLeft = std::min(kNsSaved, m_nLeft + static_cast<int64_t>(ElapsedMs(now, m_ulRefilled) * kNsEveryMs));
    m_ulRefilled = now;
    if (ElapsedMs(now, m_ulAskedSince) < 1000) return;
    m_ulAskedSince = now;
    m_asked.fill(0);
}
