#include "server/requests.h"

#include "core/wire/commands.h"

using wire::Field;
using wire::Kind;

bool CRequests::IsOne(const char* data, int length) {
    if (length < 1 || length > kLongest) return false;
    const auto kind = static_cast<Kind>(data[0]);
    if (kind == Kind::Stun || length == 1) return kind == Kind::Stun;
    const wire::CommandRow* row = wire::FindCommand(kind, reinterpret_cast<const uint8_t*>(data) + 1, length - 1);
    if (!row) return false;
    const bool subscribes = row->fields[0] == Field::ReceiverID || row->fields[0] == Field::ClientSessionID;
    return row->fields[0] == Field::ChannelID || (subscribes && row->fields[1] == Field::ChannelID);
}

void CRequests::Refill() {
    const uint32_t now = CActivity::Now();
    m_nLeft = std::min(kNsSaved, m_nLeft + static_cast<int64_t>(ElapsedMs(now, m_ulRefilled) * kNsEveryMs));
    m_ulRefilled = now;
}
