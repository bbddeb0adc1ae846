// The file protocol's bytes: what is written comes back, everything else is refused.
#include "tools/lumo/transfer/messages.h"
#include "support/fake_net.h"
#include "unit/tools/transfer_sim.h"

#include <random>

using namespace lumo;

namespace {

DecodeResult DecodeAll(const std::string& bytes) {
    // In a buffer of its own size, so that the address sanitizer sees a read past the end.
    const std::vector<char> exact(bytes.begin(), bytes.end());
    Message message;
    return Decode(exact.data(), exact.size(), message);
}

std::string Of(MessageBody body, uint8_t version = kProtocolVersion) { return Encode({9, std::move(body), version}); }
std::string Entry(const EntryTraits& traits, uint64_t size = 0, const std::string& name = "a/b") {
    return Of(Offer{0, 0, size, {}, name, traits}, kTreeVersion);
}

std::string Report(uint64_t receiver, ReceiverState state = ReceiverState::Receiving, Failure failure = Failure::None,
                   uint32_t offers = 4, std::vector<BlockRange> lacking = {}) {
    return Of(Status{receiver, 99, state, failure, offers, 123456, std::move(lacking)});
}
std::string Lacking(std::vector<BlockRange> ranges) {
    return Report(8, ReceiverState::Receiving, Failure::None, 4, std::move(ranges));
}

std::vector<BlockRange> ManyRanges(uint32_t count) {
    std::vector<BlockRange> ranges;
    for (uint32_t i = 0; i < count; ++i) ranges.push_back({3 * i, 1});
    return ranges;
}

const std::vector<MessageBody> kBodies = {
    Beacon{SenderState::Serving, 77, 2, 1000, 1000 * kBlockSize},
    Offer{3, 17, 5 * kBlockSize + 1, Digest{0xAB}, "holiday.tar"},
    Block{5, 6, BlockChecksum("hello", 5), "hello", 5},
    Confirm{{1, 2, UINT64_MAX}},
    SenderBye{ByeReason::Interrupted},
    Status{8, 99, ReceiverState::Receiving, Failure::None, 4, 5, {{0, 5}, {7, 1}}},
    ReceiverBye{8, ByeReason::Failed}};

TEST(Messages, TheBytesAreTheDocumentedOnes) {
    const std::string head = "4C554654", transfer =
                                             "0000"
                                             "0102030405060708";
    const std::pair<MessageBody, const char*> rows[] = {
        {Beacon{SenderState::Serving, 1, 2, 3, 4}, "0101 T 01 0000000000000001 00000002 00000003 0000000000000004"},
        {Block{2, 3, 4, "\x7f", 1}, "0103 T 0000000000000002 00000003 0000000000000004 7F"},
        {Status{2, 3, ReceiverState::Failed, Failure::Exists, 4, 5, {{6, 7}}},
         "0110 T 0000000000000002 0000000000000003 04 01 00000004 0000000000000005 0001 00000006 00000007"}};
    for (const auto& [body, text] : rows) {
        std::string bytes = text;
        bytes.replace(bytes.find('T'), 1, transfer);
        EXPECT_EQ(ToHex(Encode({0x0102030405060708, body})), ToHex(Hex(head + bytes)));
    }
    const Message sealed{9, Beacon{SenderState::Serving, 1, 2, 3, 4, {5}}, kSealedVersion};
    EXPECT_EQ(ToHex(Encode(sealed)),
              ToHex(Hex(head + "0201 0000 0000000000000009 01 0000000000000001 00000002 00000003 "
                               "0000000000000004 0001 0000000000000005")));
    const EntryTraits link{EntryKind::Link, true, true, -2, 3, "t"};
    EXPECT_EQ(ToHex(Encode({9, Offer{1, 2, 0, {}, "n", link}, kSealedTreeVersion})),
              ToHex(Hex(head + "0402 0000 0000000000000009 00000001 00000002 0000000000000000" + std::string(64, '0') +
                        "0001 6E 02 03 FFFFFFFFFFFFFFFE 00000003 0001 74")));
    char header[kBlockHeaderLength];
    PutBlockHeader(header, 9, Block{2, 3, 4});
    EXPECT_EQ(std::string(header, sizeof header) + "x", Of(Block{2, 3, 4, "x", 1}));
}

TEST(Messages, EveryTruncationAndExtensionIsRefusedAndTheWholeComesBack) {
    std::vector<Message> all{{9, Beacon{SenderState::Serving, 7, 1, 1, 1, {4, 5}}, kSealedVersion},
                             {9, Offer{3, 17, 0, {}, "a/b", {EntryKind::Link, true, true, 5, 6, "c"}}, kTreeVersion}};
    for (const MessageBody& body : kBodies) all.push_back({9, body});
    for (const auto& message : all) {
        const MessageBody& body = message.body;
        const std::string bytes = Encode(message);
        Message decoded;
        ASSERT_EQ(Decode(bytes.data(), bytes.size(), decoded), DecodeResult::Ok) << body.index();
        EXPECT_EQ(decoded.transfer, 9U);
        EXPECT_EQ(Encode(decoded), bytes);
        const bool isBlock = std::holds_alternative<Block>(body);
        const size_t shortest = isBlock ? kBlockHeaderLength + 1 : bytes.size();  // block data may be of any length
        for (size_t length = 0; length < shortest; ++length)
            EXPECT_NE(DecodeAll(bytes.substr(0, length)), DecodeResult::Ok) << body.index() << " " << length;
        EXPECT_EQ(DecodeAll(bytes + std::string(1, 0)) == DecodeResult::Ok, isBlock) << body.index();
    }
    EXPECT_EQ(DecodeAll(""), DecodeResult::NotOurs);
}

TEST(Messages, HostileValuesAreRefused) {
    const auto patched = [](std::string bytes, size_t at, char value) {
        bytes[at] = value;
        return bytes;
    };
    const std::string beacon = Of(Beacon{SenderState::Serving, 1, 1, 1, 1});
    const std::string tooMuch(kBlockSize + 1, 'x');
    const std::pair<const char*, std::string> rows[] = {
        {"no transfer", Encode({0, SenderBye{}})},
        {"unknown type", patched(beacon, 5, 6)},
        {"unknown sender state", patched(beacon, 16, 2)},
        {"nothing to serve", Of(Beacon{SenderState::Serving, 0, 0, 0, 0})},
        {"too many files", Of(Beacon{SenderState::Serving, 0, kMaxEntries + 1, 1, 1})},
        {"too many blocks", Of(Beacon{SenderState::Serving, 0, 1, kMaxBlocks + 1, 1})},
        {"more bytes than blocks hold", Of(Beacon{SenderState::Serving, 0, 1, 1, kBlockSize + 1})},
        {"index too large", Of(Offer{kMaxEntries, 0, 1, {}, "n"})},
        {"blocks past the last", Of(Offer{0, kMaxBlocks - 5, 5 * kBlockSize + 1, {}, "n"})},
        {"file too large", Of(Offer{0, 0, kMaxFileSize + 1, {}, "n"})},
        {"size that wraps", Of(Offer{0, 0, UINT64_MAX, {}, "n"})},
        {"no name", Of(Offer{0, 0, 1, {}, ""})},
        {"long name", Of(Offer{0, 0, 1, {}, std::string(256, 'n')})},
        {"long path", Entry({}, 1, std::string(kMaxPathLength + 1, 'n'))},
        {"unknown kind", Entry({static_cast<EntryKind>(4)})},
        {"unknown flags", patched(Entry({}), Entry({}).size() - 15, 4)},
        {"folder with content", Entry({EntryKind::Folder}, 1)},
        {"long text", Entry({EntryKind::Text}, kMaxTextLength + 1)},
        {"link to nowhere", Entry({EntryKind::Link})},
        {"file with a target", Entry({EntryKind::File, false, false, 0, 0, "t"})},
        {"more than a second", Entry({EntryKind::File, false, true, 0, 1000000000})},
        {"serial 0", Of(Block{0, 1, 2, "x", 1})},
        {"block past the last", Of(Block{1, kMaxBlocks, 2, "x", 1})},
        {"block too long", Of(Block{1, 1, 2, tooMuch.data(), kBlockSize + 1})},
        {"unknown bye", patched(Of(SenderBye{}), 16, 3)},
        {"receiver 0", Report(0)},
        {"bye of receiver 0", Of(ReceiverBye{0, ByeReason::Done})},
        {"unknown receiver state", Report(8, static_cast<ReceiverState>(5))},
        {"unknown failure", Report(8, ReceiverState::Failed, static_cast<Failure>(7))},
        {"too many offers", Report(8, ReceiverState::Receiving, Failure::None, kMaxEntries + 1)},
        {"empty range", Lacking({{1, 0}})},
        {"ranges that touch", Lacking({{1, 2}, {3, 1}})},
        {"ranges out of order", Lacking({{5, 1}, {1, 1}})},
        {"range past the last", Lacking({{kMaxBlocks - 1, 2}})},
        {"range that wraps", Lacking({{5, UINT32_MAX}})},
        {"too many ranges", Lacking(ManyRanges(kMaxRanges + 1))},
        {"sealed without receivers", patched(beacon, 4, kSealedVersion)},
        {"too many confirmed", Of(Confirm{std::vector<uint64_t>(kMaxReceivers + 1, 1)})},
    };
    for (const auto& [what, bytes] : rows) EXPECT_EQ(DecodeAll(bytes), DecodeResult::Malformed) << what;
    for (const char version : {'\0', '\5'})
        EXPECT_EQ(DecodeAll(patched(beacon, 4, version)), DecodeResult::OtherVersion);
    EXPECT_EQ(DecodeAll(patched(beacon, 0, 'X')), DecodeResult::NotOurs);
}

TEST(Messages, TheLargestOnesFitTheirFrames) {
    const std::string largest = Lacking(ManyRanges(kMaxRanges));
    EXPECT_EQ(DecodeAll(largest), DecodeResult::Ok);
    EXPECT_LE(largest.size(), static_cast<size_t>(kMaxUpstreamFrame));
    EXPECT_LE(kBlockHeaderLength + kBlockSize, static_cast<size_t>(kMaxDownstreamFrame));
    EXPECT_LE(Of(Confirm{std::vector<uint64_t>(kMaxReceivers, 1)}).size(), size_t{kMaxDownstreamFrame});
}

/// What an engine does with anything at all, the fuzz target of file messages looks at; here those who mean well.
TEST(Messages, ASenderServesThroughNoise) {
    std::mt19937 random(5);
    sim::CTransferSim sim;
    sim.StartSender(sim::One(sim::Megabytes(3)));
    const sim::Receiver& receiver = sim.AddReceiver(1);
    for (int i = 0; i < 3000; ++i) {
        const uint64_t transfer = sim::CTransferSim::kFirstTransfer + random() % 2;
        std::string bytes = Encode({transfer, kBodies[random() % kBodies.size()]});
        for (unsigned flips = random() % 4; flips > 0; --flips)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        sim.InjectUp(bytes.substr(0, random() % 5 == 0 ? random() % bytes.size() : bytes.size()));
        if (i % 10 == 0) sim.Run(1);
    }
    ASSERT_TRUE(sim.RunUntil([&] { return receiver.left; }, 60000));
    EXPECT_TRUE(receiver.Has(sim::Megabytes(3)));
}

TEST(Messages, BlocksThatDoNotExistCostNobodyTime) {
    constexpr uint32_t kLast = (4 << 20) / kBlockSize - 1;
    sim::CTransferSim sim;
    sim.StartSender(sim::One(sim::Megabytes(4)));
    sim.Run(100);
    Status greedy;
    greedy.receiver = 9;
    greedy.lacking = {{10, 2}, {kLast, kMaxBlocks / 2}, {kMaxBlocks - 1, 1}};
    sim.InjectUp(Encode({sim::CTransferSim::kFirstTransfer, greedy}));
    sim.Run(100);
    const sim::Receiver& receiver = sim.AddReceiver();
    EXPECT_TRUE(sim.RunUntil([&] { return receiver.Has(sim::Megabytes(4)); }, 5000));
}

}  // namespace
