// The words of whiteboard messages and records: little-endian, at any alignment.
#pragma once

#include "lumomedia/whiteboard.h"
#include "platform/lumobase/byte_order.h"

#include <cstdint>

namespace wb {

inline constexpr int kHeaderLen = 12;   // command, object ID, tag
inline constexpr int kMinTcpFrame = 2;  // over TCP one byte is a keep-alive

inline uint32_t Word(const char* at) { return Lumo_Base::LittleEndian(at); }
inline void PutWord(char* at, uint32_t value) { Lumo_Base::PutLittleEndian(at, value); }
inline void PutHeader(char* at, uint32_t command, uint32_t objectID, uint32_t tag) {
    PutWord(at, command);
    PutWord(at + 4, objectID);
    PutWord(at + 8, tag);
}

/// A message of at least a header, as it lies in memory.
struct CMessage {
    const char* data;
    int length;

    uint32_t Command() const { return Word(data); }
    uint32_t ObjectID() const { return Word(data + 4); }
    uint32_t Tag() const { return Word(data + 8); }
    const char* Payload() const { return data + kHeaderLen; }
    int PayloadLength() const { return length - kHeaderLen; }
};

/// What a home server answers; false, with nothing written, to what does not ask it.
inline bool AnswerAtHome(const char* data, int length, char (&answer)[kHeaderLen]) {
    const CMessage message{data, length};
    if (!data || length != kHeaderLen || message.Command() != WB_CMD_HOME_ASK) return false;
    PutHeader(answer, WB_CMD_HOME_ANSWER, message.ObjectID(), message.Tag());
    return true;
}

/// Calls `use` with each whole word of `length` bytes.
template <class Use>
void ForEachWord(const char* data, int length, Use use) {
    for (int at = 0; at <= length - 4; at += 4) use(Word(data + at));
}

}  // namespace wb
