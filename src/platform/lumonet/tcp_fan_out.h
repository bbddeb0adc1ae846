// One encoded copy of a message for every queue in which it waits.
#pragma once

#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/tcp_framing.h"

/// Header and body. Queues share it, and the last one frees it.
struct CEncodedMessage {
    CEncodedMessage() = default;
    ~CEncodedMessage();
    CEncodedMessage(const CEncodedMessage&) = delete;
    CEncodedMessage& operator=(const CEncodedMessage&) = delete;

    CMessageBlock block;
    uint32_t length = 0;  ///< header included
    uint64_t cost = 0;    ///< counted once, however many queues it waits in
};
using CSharedMessage = std::shared_ptr<const CEncodedMessage>;

/// Null without memory, and where too much waits in the process, for somebody who holds little or for others.
CSharedMessage EncodeShared(TcpKind kind, const char* body, uint32_t length, bool holdsLittle = false);
/// The frame's copy that this thread's fan-out shares; a copy of its own where these are not the fan-out's bytes.
CSharedMessage ShareFrame(const char* body, uint32_t length, bool holdsLittle = false);
