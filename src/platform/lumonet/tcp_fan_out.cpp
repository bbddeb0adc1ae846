#include "platform/lumonet/tcp_fan_out.h"

#include "platform/lumobase/memory_budget.h"

#include <utility>

namespace {
thread_local CTcpFanOut* t_pFanOut = nullptr;  // the innermost of this thread
}

CEncodedMessage::~CEncodedMessage() { SendBudget().Subtract(cost); }

CSharedMessage EncodeShared(TcpKind kind, const char* body, uint32_t length, bool holdsLittle) {
    const auto message = std::make_shared<CEncodedMessage>();
    const uint64_t cost = net::kHeaderLen + uint64_t{length} + sizeof(CEncodedMessage);
    if (kind == TcpKind::Frame) {  // a validation is short, and one a connection
        if (!SendBudget().Add(cost, holdsLittle)) return nullptr;
        message->cost = cost;
    }
    message->block = EncodeMessage(kind, body, length);
    if (!message->block) return nullptr;
    message->length = net::kHeaderLen + length;
    return message;
}

CSharedMessage ShareFrame(const char* body, uint32_t length, bool holdsLittle) {
    return t_pFanOut ? t_pFanOut->Share(body, length, holdsLittle)
                     : EncodeShared(TcpKind::Frame, body, length, holdsLittle);
}

CTcpFanOut::CTcpFanOut(const void* data, int length)
    : m_pData(data), m_nLength(length), m_pOuter(std::exchange(t_pFanOut, this)) {}

CTcpFanOut::~CTcpFanOut() { t_pFanOut = m_pOuter; }

CSharedMessage CTcpFanOut::Share(const char* data, uint32_t length, bool holdsLittle) {
    if (data != m_pData || length != static_cast<uint32_t>(m_nLength)) {
        return EncodeShared(TcpKind::Frame, data, length, holdsLittle);
    }
    if (!m_message) m_message = EncodeShared(TcpKind::Frame, data, length, holdsLittle);
    return m_message;
}
