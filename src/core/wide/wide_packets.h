// What a wide session writes into bytes 4 to 11 of the header and behind an acknowledgement's. Big-endian.
#pragma once

#include "core/wide/wide_constants.h"

#include <array>
#include <cstdint>

namespace wide {

/// A packet of a wide session: the number whose lower half is the sequence, and which of the sender's transmissions
/// this one is (24 bits, counted over all packets).
struct Head {
    uint32_t number = 0;
    uint32_t transmission = 0;
};

/// Packets that have arrived beyond the last delivered one: `count` of them, the first `first` numbers behind it.
struct Range {
    uint16_t first = 0;
    uint16_t count = 0;
};

/// What stands behind the 12 bytes of an acknowledgement.
struct Ack {
    uint32_t delivered = UINT32_MAX;          // the last delivered number; all ones before number 0
    uint32_t transmission = kNoTransmission;  // the one that it answers
    uint32_t waitedUs = 0;                    // how long that one waited for its acknowledgement
    uint16_t room = 0;                        // packets beyond `delivered` for which there is room
    uint8_t givenBack = 0;                    // how often held packets were given back unread, modulo 256
    uint8_t rangeCount = 0;
    std::array<Range, kMaxRanges> ranges{};
};
inline constexpr int kAckFixedLen = 14;
inline constexpr int kMaxAckLen = session::kHeaderLen + kAckFixedLen + 4 * kMaxRanges;

/// A random token, never 0, whose forms no other form can be taken for.
uint32_t DrawToken();

// Each writes into, or reads from, a whole header. The sequence and the command are set before: they are part of the
// check of offers and answers.
void WriteOffer(char* packet, uint32_t token);
/// The token that a packet offers, or 0.
uint32_t ReadOffer(const char* packet);
void WriteAnswer(char* packet, uint32_t token);
bool IsAnswer(const char* packet, uint32_t token);
/// Whether an acknowledgement answers any offer: whoever only listens does not know the tokens.
bool LooksLikeAnswer(const char* packet);
/// Writes the number's lower half into the sequence, too.
void WriteHead(char* packet, uint32_t token, const Head& head);
/// False where the packet is not in the wide form of this token.
bool ReadHead(const char* packet, uint32_t token, Head& head);

/// Behind the header; gives the length of the whole packet.
int WriteAck(char* packet, const Ack& ack);
/// What an acknowledgement's fixed part announces as the length of the whole packet.
int AnnouncedAckLen(const char* packet);
/// False where something is missing, or a range names what cannot be.
bool ReadAck(const char* packet, int length, Ack& ack);

}  // namespace wide
