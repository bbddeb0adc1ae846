#include "platform/lumonet/tcp_framing.h"

#include "platform/lumobase/byte_order.h"

#include <algorithm>
#include <cstring>
#include <utility>

using Lumo_Base::BigEndian;
using Lumo_Base::PutBigEndian;

namespace {

constexpr size_t kSmallBuffer = 4096;  // not worth giving back between two messages

CTcpMessage MessageAt(const char* from, uint32_t bodyLength) {
    return {static_cast<TcpKind>(from[4]), from + net::kHeaderLen, bodyLength};
}

}  // namespace

bool ParseValidation(const char* body, uint32_t length, CTcpValidation& validation) {
    if (length < net::kValidationHeaderLen || BigEndian(body + 4) != length - net::kValidationHeaderLen) return false;
    validation = {BigEndian(body), body + net::kValidationHeaderLen, length - net::kValidationHeaderLen};
    return true;
}

CMessageBlock EncodeMessage(TcpKind kind, const char* body, uint32_t length) {
    CMessageBlock message = CMessageBlock::Make(size_t{net::kHeaderLen} + length);
    if (!message) return message;
    PutBigEndian(message.Get(), length);
    message.Get()[4] = static_cast<char>(kind);
    memcpy(message.Get() + net::kHeaderLen, body, length);
    return message;
}

void CTcpDecoder::Feed(const char* data, size_t length) {
    m_pInput = data;
    m_nInput = length;
}

CTcpDecoder::Result CTcpDecoder::Next(CTcpMessage& message) {
    if (m_bBroken) return Result::Broken;
    if (Kept() == 0) m_nKeptBegin = m_nKeptEnd = 0;
    m_bLastKept = Kept() > 0;
    const Result result = m_bLastKept ? NextFromKept(message) : NextFromInput(message);
    m_bBroken = result == Result::Broken;
    return result;
}

void CTcpDecoder::Undo() {
    if (m_bLastKept) {
        m_nKeptBegin -= m_nLast;
    } else {
        m_pInput -= m_nLast;
        m_nInput += m_nLast;
    }
    if (!KeepInput(m_nInput)) m_bBroken = true;
}

bool CTcpDecoder::CheckHeader(const char* header, uint32_t& bodyLength) const {
    bodyLength = BigEndian(header);
    const auto kind = static_cast<uint8_t>(header[4]);
    return bodyLength <= m_nMaxBody && kind <= static_cast<uint8_t>(TcpKind::Validation);
}

// Whole messages are handed out where they lie; only a begun one is copied.
CTcpDecoder::Result CTcpDecoder::NextFromInput(CTcpMessage& message) {
    uint32_t bodyLength = 0;
    if (m_nInput >= net::kHeaderLen) {
        if (!CheckHeader(m_pInput, bodyLength)) return Result::Broken;
        const size_t whole = size_t{net::kHeaderLen} + bodyLength;
        if (m_nInput >= whole) {
            message = MessageAt(m_pInput, bodyLength);
            m_nLast = whole;
            m_pInput += whole;
            m_nInput -= whole;
            return Result::Message;
        }
    }
    if (m_nInput == 0) DropEmptyBuffer();
    return KeepInput(m_nInput) ? Result::NeedMore : Result::Broken;
}

// Takes from the input no more than the begun message lacks, so that what follows can be handed out where it lies.
CTcpDecoder::Result CTcpDecoder::NextFromKept(CTcpMessage& message) {
    if (Kept() < net::kHeaderLen && !KeepInput(std::min(net::kHeaderLen - Kept(), m_nInput))) return Result::Broken;
    if (Kept() < net::kHeaderLen) return Result::NeedMore;
    uint32_t bodyLength = 0;
    if (!CheckHeader(m_kept.Get() + m_nKeptBegin, bodyLength)) return Result::Broken;
    const size_t whole = size_t{net::kHeaderLen} + bodyLength;
    if (Kept() < whole && !KeepInput(std::min(whole - Kept(), m_nInput))) return Result::Broken;
    if (Kept() < whole) return Result::NeedMore;
    message = MessageAt(m_kept.Get() + m_nKeptBegin, bodyLength);
    m_nLast = whole;
    m_nKeptBegin += whole;
    return Result::Message;
}

bool CTcpDecoder::KeepInput(size_t length) {
    if (length == 0) return true;
    if (!Reserve(length)) return false;
    memcpy(m_kept.Get() + m_nKeptEnd, m_pInput, length);
    m_nKeptEnd += length;
    m_pInput += length;
    m_nInput -= length;
    return true;
}

// Room for `extra` more bytes. Grows with what has really arrived, whatever the header announces.
bool CTcpDecoder::Reserve(size_t extra) {
    const size_t kept = Kept();
    if (kept + extra > Capacity()) {
        const size_t capacity = std::max({kSmallBuffer, kept + extra, 2 * kept});
        CMessageBlock larger = CMessageBlock::Make(capacity);
        if (!larger) return false;
        if (kept) memcpy(larger.Get(), m_kept.Get() + m_nKeptBegin, kept);
        m_kept = std::move(larger);
    } else if (m_nKeptBegin > 0 && m_nKeptEnd + extra > Capacity()) {
        memmove(m_kept.Get(), m_kept.Get() + m_nKeptBegin, kept);
    } else {
        return true;
    }
    m_nKeptBegin = 0;
    m_nKeptEnd = kept;
    return true;
}

// The stream pauses between two messages: an idle connection holds no large buffer.
void CTcpDecoder::DropEmptyBuffer() {
    if (Capacity() <= kSmallBuffer) return;
    m_kept.Reset();
    m_nKeptBegin = m_nKeptEnd = 0;
}
