#include "core/wide/wide_packets.h"

#include "platform/lumobase/byte_order.h"
#include "platform/lumobase/clock.h"

#include <algorithm>

namespace wide {

namespace {

using Lumo_Base::BigEndian;
using Lumo_Base::PutBigEndian;

constexpr uint32_t kOfferMagic = 0x9D57;
constexpr uint32_t kAnswerMagic = 0xB2E9;
constexpr int kExtension = 4;  // the header's bytes that the given form leaves unread

// Each form of a token is a permutation of its own, so that copying one form never makes another.
constexpr uint32_t Mix(uint32_t value) {
    value = (value ^ (value >> 16)) * 0x7FEB352DU;
    value = (value ^ (value >> 15)) * 0x846CA68BU;
    return value ^ (value >> 16);
}
constexpr uint32_t AnswerForm(uint32_t token) { return Mix(token ^ 0x5BD1E995U); }
constexpr uint32_t HeadForm(uint32_t token) { return Mix(token ^ 0xC2B2AE35U) & 0xFFFFFFU; }

uint32_t Check(const char* packet, uint32_t token) {
    return Mix(token ^ (BigEndian(reinterpret_cast<const uint8_t*>(packet), 3) << 5)) & 0xFFU;
}

uint32_t Get(const char* packet, int at, int length) {
    return BigEndian(reinterpret_cast<const uint8_t*>(packet) + at, length);
}

void WriteAgreement(char* packet, uint32_t magic, uint32_t token) {
    PutBigEndian(packet + kExtension, magic, 2);
    PutBigEndian(packet + kExtension + 2, kVersion, 1);
    PutBigEndian(packet + kExtension + 3, token, 4);
    PutBigEndian(packet + kExtension + 7, Check(packet, token), 1);
}

uint32_t ReadAgreement(const char* packet, uint32_t magic) {
    const uint32_t token = Get(packet, kExtension + 3, 4);
    const bool right = Get(packet, kExtension, 2) == magic && Get(packet, kExtension + 2, 1) == kVersion &&
                       Get(packet, kExtension + 7, 1) == Check(packet, token);
    return right ? token : 0;
}

}  // namespace

uint32_t DrawToken() {
    for (;;) {
        const auto token = static_cast<uint32_t>(Lumo_Base::GenerateSSRC());
        const bool offerLooksWide = (token & 0xFFFFU) == HeadForm(token) >> 8;
        if (!offerLooksWide && AnswerForm(token) != 0) return token;
    }
}

void WriteOffer(char* packet, uint32_t token) { WriteAgreement(packet, kOfferMagic, token); }
uint32_t ReadOffer(const char* packet) { return ReadAgreement(packet, kOfferMagic); }
void WriteAnswer(char* packet, uint32_t token) { WriteAgreement(packet, kAnswerMagic, AnswerForm(token)); }

bool IsAnswer(const char* packet, uint32_t token) {
    return token != 0 && ReadAgreement(packet, kAnswerMagic) == AnswerForm(token);
}

bool LooksLikeAnswer(const char* packet) { return ReadAgreement(packet, kAnswerMagic) != 0; }

void WriteHead(char* packet, uint32_t token, const Head& head) {
    PutBigEndian(packet, head.number & 0xFFFFU, 2);
    PutBigEndian(packet + kExtension, head.number >> 16, 2);
    PutBigEndian(packet + kExtension + 2, head.transmission & 0xFFFFFFU, 3);
    PutBigEndian(packet + kExtension + 5, HeadForm(token), 3);
}

bool ReadHead(const char* packet, uint32_t token, Head& head) {
    if (token == 0 || Get(packet, kExtension + 5, 3) != HeadForm(token)) return false;
    head.number = Get(packet, kExtension, 2) << 16 | Get(packet, 0, 2);
    head.transmission = Get(packet, kExtension + 2, 3);
    return true;
}

int WriteAck(char* packet, const Ack& ack) {
    char* at = packet + session::kHeaderLen;
    const auto put = [&at](uint32_t value, int length) {
        PutBigEndian(at, value, length);
        at += length;
    };
    put(ack.delivered, 4);
    put(ack.transmission, 3);
    put(std::min<uint32_t>(ack.waitedUs, 0xFFFFFFU), 3);
    put(ack.room, 2);
    put(ack.givenBack, 1);
    put(ack.rangeCount, 1);
    for (int i = 0; i < ack.rangeCount; ++i) {
        put(ack.ranges[static_cast<size_t>(i)].first, 2);
        put(ack.ranges[static_cast<size_t>(i)].count, 2);
    }
    return static_cast<int>(at - packet);
}

int AnnouncedAckLen(const char* packet) {
    constexpr int kFixedEnd = session::kHeaderLen + kAckFixedLen;
    return kFixedEnd + 4 * static_cast<int>(Get(packet, kFixedEnd - 1, 1));
}

bool ReadAck(const char* packet, int length, Ack& ack) {
    if (length < session::kHeaderLen + kAckFixedLen) return false;
    int at = session::kHeaderLen;
    const auto get = [&](int bytes) {
        const uint32_t value = Get(packet, at, bytes);
        at += bytes;
        return value;
    };
    ack.delivered = get(4);
    ack.transmission = get(3);
    ack.waitedUs = get(3);
    ack.room = static_cast<uint16_t>(std::min<uint32_t>(get(2), kMaxInFlight));
    ack.givenBack = static_cast<uint8_t>(get(1));
    ack.rangeCount = static_cast<uint8_t>(get(1));
    if (ack.rangeCount > kMaxRanges || length != at + 4 * ack.rangeCount) return false;
    for (int i = 0; i < ack.rangeCount; ++i) {
        Range& range = ack.ranges[static_cast<size_t>(i)];
        range.first = static_cast<uint16_t>(get(2));
        range.count = static_cast<uint16_t>(get(2));
        // The number right behind the last delivered one is missing, else it would have been delivered.
        if (range.first < 2 || range.count < 1 || uint32_t{range.first} + range.count - 1 > kMaxInFlight) return false;
    }
    return true;
}

}  // namespace wide
