// The messages that sender and receivers exchange as frames of a file channel.
#pragma once

#include "tools/lumo/transfer/limits.h"

#include <array>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace lumo {

inline constexpr uint32_t kMagic = 0x4C554654;  // "LUFT"
inline constexpr uint8_t kProtocolVersion = 1;
/// Of sealed transfers, whose beacons name receivers. Plain ones keep to the first, which older programs speak.
inline constexpr uint8_t kSealedVersion = 2;
/// What senders speak whose offers are of more than files: the same two otherwise. Older programs refuse them, and
/// receivers answer in the first two.
inline constexpr uint8_t kTreeVersion = 3;
inline constexpr uint8_t kSealedTreeVersion = 4;
inline constexpr uint8_t VersionOf(bool sealed, bool tree = false) {
    return tree ? (sealed ? kSealedTreeVersion : kTreeVersion) : (sealed ? kSealedVersion : kProtocolVersion);
}
inline constexpr bool IsSealedVersion(uint8_t version) {
    return version == kSealedVersion || version == kSealedTreeVersion;
}
inline constexpr bool IsTreeVersion(uint8_t version) { return version >= kTreeVersion; }

enum class MessageType : uint8_t {
    Beacon = 1,
    Offer = 2,
    Block = 3,
    Confirm = 4,
    SenderBye = 5,
    Status = 16,
    ReceiverBye = 17,
};

using Digest = std::array<uint8_t, 32>;

/// Blocks `first` to `first + count - 1` of a transfer; the files' blocks are numbered one after another.
struct BlockRange {
    uint32_t first;
    uint32_t count;
    bool operator==(const BlockRange& other) const { return first == other.first && count == other.count; }
};

enum class SenderState : uint8_t { Preparing = 0, Serving = 1 };

/// The sender's heartbeat.
struct Beacon {
    SenderState state = SenderState::Preparing;
    uint64_t serial = 0;  ///< of the last block sent; all before it have been sent
    uint32_t files = 0;
    uint32_t blocks = 0;
    uint64_t bytes = 0;
    std::vector<uint64_t> receivers;  ///< sealed: who has not heard of this transfer, and may take it for new
};

enum class EntryKind : uint8_t { File = 0, Folder = 1, Link = 2, Text = 3 };

/// What an entry is besides its content.
struct EntryTraits {
    EntryKind kind = EntryKind::File;
    bool executable = false;  ///< by its owner
    bool dated = false;       ///< when it was modified is known
    int64_t seconds = 0;
    uint32_t nanoseconds = 0;
    std::string target{};  ///< of a link

    bool HasContent() const { return kind == EntryKind::File || kind == EntryKind::Text; }
};

/// `name` is a path where folders come. `traits` go with those versions alone.
struct Offer {
    uint32_t index = 0;
    uint32_t firstBlock = 0;
    uint64_t size = 0;
    Digest sha256{};
    std::string name;
    EntryTraits traits{};
};

/// The data stay in the frame.
struct Block {
    uint64_t serial = 0;  ///< counts the block messages of a transfer, from 1
    uint32_t block = 0;
    uint64_t checksum = 0;
    const char* data = nullptr;
    uint32_t length = 0;
};

/// Receivers of whose end the sender knows.
struct Confirm {
    std::vector<uint64_t> receivers;
};

enum class ByeReason : uint8_t { Done = 0, Interrupted = 1, Failed = 2 };

struct SenderBye {
    ByeReason reason = ByeReason::Done;
};

enum class ReceiverState : uint8_t { Waiting = 0, Receiving = 1, Verifying = 2, Complete = 3, Failed = 4 };
enum class Failure : uint8_t { None = 0, Exists = 1, BadName = 2, NoSpace = 3, Disk = 4, Damaged = 5, BadOffer = 6 };

/// A receiver's heartbeat, report and request in one.
struct Status {
    uint64_t receiver = 0;
    uint64_t serial = 0;  ///< every block message up to this one has come or never will
    ReceiverState state = ReceiverState::Waiting;
    Failure failure = Failure::None;
    uint32_t offers = 0;              ///< held, from the first on
    uint64_t bytes = 0;               ///< held and checked
    std::vector<BlockRange> lacking;  ///< ascending, apart
};

struct ReceiverBye {
    uint64_t receiver = 0;
    ByeReason reason = ByeReason::Done;
};

using MessageBody = std::variant<std::monostate, Beacon, Offer, Block, Confirm, SenderBye, Status, ReceiverBye>;

enum class DecodeResult { Ok, NotOurs, OtherVersion, Malformed };

struct Message {
    uint64_t transfer = 0;  ///< drawn by the sender; 0 from a receiver that knows none
    MessageBody body;
    uint8_t version = kProtocolVersion;
};

/// `message` is complete only on Ok.
DecodeResult Decode(const char* data, size_t length, Message& message);
std::string Encode(const Message& message);

/// Where the data of a block message begin: the sender reads them from the disk to their place.
inline constexpr size_t kBlockHeaderLength = 4 + 1 + 1 + 2 + 8 + 8 + 4 + 8;
/// Fills the bytes before the data, which stand at frame + kBlockHeaderLength already.
void PutBlockHeader(char* frame, uint64_t transfer, const Block& block, uint8_t version = kProtocolVersion);

uint64_t BlockChecksum(const char* data, size_t length);
inline uint32_t BlocksOf(uint64_t size) { return static_cast<uint32_t>((size + kBlockSize - 1) / kBlockSize); }
/// Bytes of a file's block `block`, counted in that file.
inline uint32_t BlockLength(uint64_t size, uint32_t block) {
    const uint64_t left = size - uint64_t{block} * kBlockSize;
    return left < kBlockSize ? static_cast<uint32_t>(left) : kBlockSize;
}

/// Words for people.
const char* FailureText(Failure failure);

}  // namespace lumo
