#include "tools/lumo/transfer/messages.h"

#include "tools/lumo/transfer/byte_codec.h"

#include <algorithm>
#include <iterator>

#include <xxhash.h>

namespace lumo {
namespace {

// Flags of an entry.
constexpr uint8_t kExecutable = 1, kDated = 2;

template <class E>
bool ReadEnum(CByteReader& reader, E last, E& value) {
    const uint8_t byte = reader.U8();
    value = static_cast<E>(byte);
    return byte <= static_cast<uint8_t>(last);
}

bool Read(CByteReader& reader, Beacon& beacon) {
    const bool known = ReadEnum(reader, SenderState::Serving, beacon.state);
    beacon.serial = reader.U64();
    beacon.files = reader.U32();
    beacon.blocks = reader.U32();
    beacon.bytes = reader.U64();
    const bool empty = beacon.state == SenderState::Serving && beacon.files == 0;
    return known && !empty && beacon.files <= kMaxEntries && beacon.blocks <= kMaxBlocks &&
           beacon.bytes <= uint64_t{beacon.blocks} * kBlockSize;
}

bool Read(CByteReader& reader, Offer& offer) {
    offer.index = reader.U32();
    offer.firstBlock = reader.U32();
    offer.size = reader.U64();
    const char* digest = reader.Bytes(offer.sha256.size());
    const size_t nameLength = reader.U16();
    const char* name = reader.Bytes(nameLength);
    if (!digest || !name) return false;
    std::copy_n(digest, offer.sha256.size(), reinterpret_cast<char*>(offer.sha256.data()));
    offer.name.assign(name, nameLength);
    return offer.index < kMaxEntries && nameLength > 0 && nameLength <= kMaxPathLength && offer.size <= kMaxFileSize &&
           offer.firstBlock <= kMaxBlocks - BlocksOf(offer.size);
}

bool Read(CByteReader& reader, Block& block) {
    block.serial = reader.U64();
    block.block = reader.U32();
    block.checksum = reader.U64();
    const size_t length = reader.Left();
    block.data = reader.Bytes(length);
    block.length = static_cast<uint32_t>(length);
    return block.serial > 0 && block.block < kMaxBlocks && length > 0 && length <= kBlockSize;
}

bool ReadIDs(CByteReader& reader, std::vector<uint64_t>& ids) {
    const size_t count = reader.U16();
    if (count > kMaxReceivers || count * 8 != reader.Left()) return false;
    for (size_t i = 0; i < count; ++i) ids.push_back(reader.U64());
    return true;
}

bool Read(CByteReader& reader, Confirm& confirm) { return ReadIDs(reader, confirm.receivers); }

bool Read(CByteReader& reader, SenderBye& bye) { return ReadEnum(reader, ByeReason::Failed, bye.reason); }

bool ReadRanges(CByteReader& reader, std::vector<BlockRange>& ranges) {
    const size_t count = reader.U16();
    if (count > kMaxRanges || count * 8 != reader.Left()) return false;
    uint64_t least = 0;
    for (size_t i = 0; i < count; ++i) {
        const BlockRange range{reader.U32(), reader.U32()};
        const uint64_t end = uint64_t{range.first} + range.count;
        if (range.count == 0 || range.first < least || end > kMaxBlocks) return false;
        least = end + 1;  // ranges that touch are one range
        ranges.push_back(range);
    }
    return true;
}

bool Read(CByteReader& reader, Status& status) {
    status.receiver = reader.U64();
    status.serial = reader.U64();
    const bool stateKnown = ReadEnum(reader, ReceiverState::Failed, status.state);
    const bool failureKnown = ReadEnum(reader, Failure::BadOffer, status.failure);
    status.offers = reader.U32();
    status.bytes = reader.U64();
    return stateKnown && failureKnown && status.receiver != 0 && status.offers <= kMaxEntries &&
           ReadRanges(reader, status.lacking);
}

bool Read(CByteReader& reader, ReceiverBye& bye) {
    bye.receiver = reader.U64();
    return ReadEnum(reader, ByeReason::Failed, bye.reason) && bye.receiver != 0;
}

bool Read(CByteReader& reader, EntryTraits& traits) {
    const bool known = ReadEnum(reader, EntryKind::Text, traits.kind);
    const uint8_t flags = reader.U8();
    traits.executable = (flags & kExecutable) != 0;
    traits.dated = (flags & kDated) != 0;
    traits.seconds = static_cast<int64_t>(reader.U64());
    traits.nanoseconds = reader.U32();
    const size_t length = reader.U16();
    const char* target = reader.Bytes(length);
    if (!target) return false;
    traits.target.assign(target, length);
    const bool isLink = traits.kind == EntryKind::Link;
    return known && flags <= (kExecutable | kDated) && traits.nanoseconds < 1000000000 && isLink == (length > 0) &&
           length <= kMaxPathLength;
}

template <class T>
bool ReadOf(uint8_t, CByteReader& reader, T& body) {
    return Read(reader, body);
}
bool ReadOf(uint8_t version, CByteReader& reader, Beacon& beacon) {
    return Read(reader, beacon) && (!IsSealedVersion(version) || ReadIDs(reader, beacon.receivers));
}
bool ReadOf(uint8_t version, CByteReader& reader, Offer& offer) {
    if (!Read(reader, offer)) return false;
    EntryTraits& traits = offer.traits;
    if (!IsTreeVersion(version)) return offer.name.size() <= kMaxNameLength;
    if (!Read(reader, traits)) return false;
    return traits.kind == EntryKind::Text ? offer.size <= kMaxTextLength : traits.HasContent() || offer.size == 0;
}

template <class T>
DecodeResult ReadBody(CByteReader& reader, bool fromSender, Message& message) {
    if (fromSender && message.transfer == 0) return DecodeResult::Malformed;
    const bool valid = ReadOf(message.version, reader, message.body.emplace<T>());
    return valid && reader.Done() ? DecodeResult::Ok : DecodeResult::Malformed;
}

void Write(CByteWriter&, const std::monostate&) {}
void Write(CByteWriter& writer, const Beacon& beacon) {
    writer.U8(static_cast<uint8_t>(beacon.state)).U64(beacon.serial).U32(beacon.files).U32(beacon.blocks);
    writer.U64(beacon.bytes);
}
void Write(CByteWriter& writer, const Offer& offer) {
    writer.U32(offer.index).U32(offer.firstBlock).U64(offer.size).Bytes(offer.sha256.data(), offer.sha256.size());
    writer.U16(static_cast<uint16_t>(offer.name.size())).Bytes(offer.name.data(), offer.name.size());
}
void Write(CByteWriter& writer, const Block& block) {
    writer.U64(block.serial).U32(block.block).U64(block.checksum).Bytes(block.data, block.length);
}
void WriteIDs(CByteWriter& writer, const std::vector<uint64_t>& ids) {
    writer.U16(static_cast<uint16_t>(ids.size()));
    for (uint64_t id : ids) writer.U64(id);
}
void Write(CByteWriter& writer, const Confirm& confirm) { WriteIDs(writer, confirm.receivers); }
void Write(CByteWriter& writer, const SenderBye& bye) { writer.U8(static_cast<uint8_t>(bye.reason)); }
void Write(CByteWriter& writer, const Status& status) {
    writer.U64(status.receiver).U64(status.serial);
    writer.U8(static_cast<uint8_t>(status.state)).U8(static_cast<uint8_t>(status.failure));
    writer.U32(status.offers).U64(status.bytes).U16(static_cast<uint16_t>(status.lacking.size()));
    for (const BlockRange& range : status.lacking) writer.U32(range.first).U32(range.count);
}
void Write(CByteWriter& writer, const ReceiverBye& bye) {
    writer.U64(bye.receiver).U8(static_cast<uint8_t>(bye.reason));
}

void Write(CByteWriter& writer, const EntryTraits& traits) {
    const int flags = (traits.executable ? kExecutable : 0) | (traits.dated ? kDated : 0);
    writer.U8(static_cast<uint8_t>(traits.kind)).U8(static_cast<uint8_t>(flags));
    writer.U64(static_cast<uint64_t>(traits.seconds)).U32(traits.nanoseconds);
    writer.U16(static_cast<uint16_t>(traits.target.size())).Bytes(traits.target.data(), traits.target.size());
}

template <class T>
void WriteOf(uint8_t, CByteWriter& writer, const T& body) {
    Write(writer, body);
}
void WriteOf(uint8_t version, CByteWriter& writer, const Beacon& beacon) {
    Write(writer, beacon);
    if (IsSealedVersion(version)) WriteIDs(writer, beacon.receivers);
}
void WriteOf(uint8_t version, CByteWriter& writer, const Offer& offer) {
    Write(writer, offer);
    if (IsTreeVersion(version)) Write(writer, offer.traits);
}

MessageType TypeOf(const MessageBody& body) {
    static constexpr MessageType kTypes[] = {MessageType{},       MessageType::Beacon,     MessageType::Offer,
                                             MessageType::Block,  MessageType::Confirm,    MessageType::SenderBye,
                                             MessageType::Status, MessageType::ReceiverBye};
    static_assert(std::variant_size_v<MessageBody> == std::size(kTypes));
    return kTypes[body.index()];
}

void WriteHeader(CByteWriter& writer, uint8_t version, MessageType type, uint64_t transfer) {
    writer.U32(kMagic).U8(version).U8(static_cast<uint8_t>(type)).U16(0).U64(transfer);
}

}  // namespace

DecodeResult Decode(const char* data, size_t length, Message& message) {
    CByteReader reader(data, length);
    if (reader.U32() != kMagic || !reader.Ok()) return DecodeResult::NotOurs;
    message.version = reader.U8();
    if (!reader.Ok()) return DecodeResult::Malformed;
    if (message.version < kProtocolVersion || message.version > kSealedTreeVersion) return DecodeResult::OtherVersion;
    const auto type = static_cast<MessageType>(reader.U8());
    reader.U16();  // reserved
    message.transfer = reader.U64();
    if (!reader.Ok()) return DecodeResult::Malformed;
    switch (type) {
        case MessageType::Beacon:
            return ReadBody<Beacon>(reader, true, message);
        case MessageType::Offer:
            return ReadBody<Offer>(reader, true, message);
        case MessageType::Block:
            return ReadBody<Block>(reader, true, message);
        case MessageType::Confirm:
            return ReadBody<Confirm>(reader, true, message);
        case MessageType::SenderBye:
            return ReadBody<SenderBye>(reader, true, message);
        case MessageType::Status:
            return ReadBody<Status>(reader, false, message);
        case MessageType::ReceiverBye:
            return ReadBody<ReceiverBye>(reader, false, message);
    }
    return DecodeResult::Malformed;
}

std::string Encode(const Message& message) {
    CByteWriter writer;
    WriteHeader(writer, message.version, TypeOf(message.body), message.transfer);
    std::visit([&](const auto& body) { WriteOf(message.version, writer, body); }, message.body);
    return writer.Result();
}

void PutBlockHeader(char* frame, uint64_t transfer, const Block& block, uint8_t version) {
    CByteWriter writer;
    WriteHeader(writer, version, MessageType::Block, transfer);
    writer.U64(block.serial).U32(block.block).U64(block.checksum);
    std::memcpy(frame, writer.Result().data(), kBlockHeaderLength);
}

uint64_t BlockChecksum(const char* data, size_t length) { return XXH3_64bits(data, length); }

const char* FailureText(Failure failure) {
    switch (failure) {
        case Failure::None:
            break;
        case Failure::Exists:
            return "the file exists already";
        case Failure::BadName:
            return "the file's name is not acceptable";
        case Failure::NoSpace:
            return "there is no room for the file";
        case Failure::Disk:
            return "the file cannot be written";
        case Failure::Damaged:
            return "the file does not match its SHA-256";
        case Failure::BadOffer:
            return "the offer makes no sense";
    }
    return "";
}

}  // namespace lumo
