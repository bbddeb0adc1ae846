// How messages travel on a TCP connection: u32 big-endian body length, u8 kind, body. Knows nothing of sockets.
#pragma once

#include "platform/lumobase/message_block.h"
#include "platform/lumonet/tcp_limits.h"

#include <cstddef>
#include <cstdint>

enum class TcpKind : uint8_t { Frame = 0, Validation = 1 };

struct CTcpMessage {
    TcpKind kind = TcpKind::Frame;
    const char* data = nullptr;
    uint32_t length = 0;
};

/// What a validation message's body says: type, payload length (u32 big-endian each), payload.
struct CTcpValidation {
    uint32_t type = 0;
    const char* data = nullptr;
    uint32_t length = 0;
};

/// False unless the body is exactly as long as it says.
bool ParseValidation(const char* body, uint32_t length, CTcpValidation& validation);

/// Header and body in one block; empty when the memory is not to be had. `length` is at most net::kMaxBody.
CMessageBlock EncodeMessage(TcpKind kind, const char* body, uint32_t length);

/// Cuts a stream of bytes into messages. One thread.
class CTcpDecoder {
public:
    enum class Result { Message, NeedMore, Broken };

    /// Hands in the next bytes of the stream. They must stay valid until Next has said NeedMore or Undo was called.
    void Feed(const char* data, size_t length);
    /// The next message, valid until the next call of anything here. NeedMore: all that was fed is taken, the beginning
    /// of a message copied. Broken, for good: a body over the limit, an unknown kind, or no memory.
    Result Next(CTcpMessage& message);
    /// The message that Next has just given was not taken: it is given again. All that was fed is copied until then.
    void Undo();
    /// Bytes copied and not yet taken.
    size_t Kept() const { return m_nKeptEnd - m_nKeptBegin; }
    /// The longest body from now on; at first a small one.
    void SetMaxBody(uint32_t length) { m_nMaxBody = length; }
    /// Memory held for it.
    size_t Capacity() const { return m_kept.Capacity(); }

private:
    bool CheckHeader(const char* header, uint32_t& bodyLength) const;
    bool KeepInput(size_t length);
    bool Reserve(size_t extra);
    void DropEmptyBuffer();
    Result NextFromInput(CTcpMessage& message);
    Result NextFromKept(CTcpMessage& message);

    const char* m_pInput = nullptr;
    size_t m_nInput = 0;
    CMessageBlock m_kept;
    size_t m_nKeptBegin = 0;
    size_t m_nKeptEnd = 0;
    size_t m_nLast = 0;  // length of the message last given, header included
    bool m_bLastKept = false;
    uint32_t m_nMaxBody = net::kMaxUnvalidatedBody;
    bool m_bBroken = false;
};
