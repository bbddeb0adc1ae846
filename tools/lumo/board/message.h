// Whiteboard messages: what the library's channels keep and relay, and the two that only these programs know.
#pragma once

#include "tools/lumo/board/little_endian.h"

#include <lumomedia/whiteboard.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumo {

enum class BoardCommand : uint32_t {
    Offer = WB_CMD_OBJECT_OFFER,
    Request = WB_CMD_OBJECT_REQUEST,
    Data = WB_CMD_OBJECT_DATA,
    Delete = WB_CMD_OBJECT_DELETE,
    Clear = WB_CMD_CLEAR,
    Move = WB_CMD_OBJECT_MOVE,
    List = WB_CMD_OBJECT_LIST,
    ExtOffer = WB_CMD_EXT_OFFER,
    ExtRequest = WB_CMD_EXT_REQUEST,
    ExtData = WB_CMD_EXT_DATA,
    HomeAsk = WB_CMD_HOME_ASK,
    HomeAnswer = WB_CMD_HOME_ANSWER,
    // Channels relay these unread.
    Hello = 0x4c50,            ///< object word: who; tag: 1; payload: colour and name
    Pointer = WB_CMD_POINTER,  ///< object word: who
    Goodbye = 0x4c52,          ///< object word: who
};

inline constexpr size_t kMessageHead = 12;

/// The tag of a deletion that nobody wished: there is a later version of the thing.
inline constexpr uint32_t kSuperseded = 1;

struct BoardMessage {
    BoardCommand command{};
    uint32_t object = 0;
    uint32_t tag = 0;
    std::string_view payload;
};

/// False for what is shorter than its head. The payload lies in `bytes`.
inline bool ParseMessage(std::string_view bytes, BoardMessage& message) {
    if (bytes.size() < kMessageHead) return false;
    message = {static_cast<BoardCommand>(WordAt(bytes, 0)), WordAt(bytes, 4), WordAt(bytes, 8),
               bytes.substr(kMessageHead)};
    return true;
}

inline std::string MakeMessage(BoardCommand command, uint32_t object, uint32_t tag, std::string_view payload = {}) {
    std::string bytes;
    bytes.reserve(kMessageHead + payload.size());
    for (const uint32_t word : {static_cast<uint32_t>(command), object, tag}) AddWord(bytes, word);
    return bytes.append(payload);
}

/// The whole words of a payload from `at` on.
inline std::vector<uint32_t> WordsFrom(std::string_view payload, size_t at) {
    std::vector<uint32_t> words;
    for (; at <= payload.size() && payload.size() - at >= 4; at += 4) words.push_back(WordAt(payload, at));
    return words;
}

/// The payload that these words are.
inline std::string PayloadOf(const std::vector<uint32_t>& words) {
    std::string payload;
    payload.reserve(4 * words.size());
    for (const uint32_t word : words) AddWord(payload, word);
    return payload;
}

}  // namespace lumo
