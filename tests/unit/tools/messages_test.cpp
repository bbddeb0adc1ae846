// The file protocol's bytes: what is written comes back, everything else is refused.
#include "tools/lumo/transfer/messages.h"
#include "support/fake_net.h"
#include "unit/tools/transfer_sim.h"

#include <gtest/gtest.h>

using namespace lumo;

namespace {

DecodeResult DecodeAll(const std::string& bytes) {
    // In a buffer of its own size, so that the address sanitizer sees a read past the end.
    const std::vector<char> exact(bytes.begin(), bytes.end());
    Message message;
    return Decode(exact.data(), exact.size(), message);
}

Offer SomeOffer() {
    Offer offer;
    offer.index = 3;
    offer.firstBlock = 17;
    offer.size = 5 * kBlockSize + 1;
    offer.sha256.fill(0xAB);
    offer.name = "holiday.tar";
    return offer;
}

Status SomeStatus() {
    return {0x1122334455667788, 99, ReceiverState::Receiving, Failure::None, 4, 123456, {{0, 5}, {7, 1}, {100, 4000}}};
}

std::vector<BlockRange> ManyRanges(uint32_t count) {
    std::vector<BlockRange> ranges;
    for (uint32_t i = 0; i < count; ++i) ranges.push_back({3 * i, 1});
    return ranges;
}

std::vector<Message> AllMessages() {
    return {{9, Beacon{SenderState::Serving, 77, 2, 1000, 1000 * kBlockSize}},
            {9, SomeOffer()},
            {9, Block{5, 6, BlockChecksum("hello", 5), "hello", 5}},
            {9, Confirm{{1, 2, UINT64_MAX}}},
            {9, SenderBye{ByeReason::Interrupted}},
            {9, SomeStatus()},
            {9, ReceiverBye{8, ByeReason::Failed}}};
}

TEST(Messages, TheBytesAreTheDocumentedOnes) {
    const std::string beacon = Encode({0x0102030405060708, Beacon{SenderState::Serving, 1, 2, 3, 4}});
    EXPECT_EQ(ToHex(beacon), ToHex(Hex("4C554654 01 01 0000 0102030405060708"
                                       "01 0000000000000001 00000002 00000003 0000000000000004")));
    const std::string status = Encode({1, Status{2, 3, ReceiverState::Failed, Failure::Exists, 4, 5, {{6, 7}}}});
    EXPECT_EQ(ToHex(status), ToHex(Hex("4C554654 01 10 0000 0000000000000001 0000000000000002 0000000000000003"
                                       "04 01 00000004 0000000000000005 0001 00000006 00000007")));
    const std::string block = Encode({1, Block{2, 3, 4, "\x7f", 1}});
    EXPECT_EQ(ToHex(block),
              ToHex(Hex("4C554654 01 03 0000 0000000000000001 0000000000000002 00000003 0000000000000004 7F")));
    char header[kBlockHeaderLength];
    PutBlockHeader(header, 1, 2, 3, 4);
    EXPECT_EQ(std::string(header, sizeof header), block.substr(0, kBlockHeaderLength));
}

TEST(Messages, EveryTruncationAndExtensionIsRefusedAndTheWholeComesBack) {
    for (const Message& message : AllMessages()) {
        const std::string bytes = Encode(message);
        Message decoded;
        ASSERT_EQ(Decode(bytes.data(), bytes.size(), decoded), DecodeResult::Ok) << message.body.index();
        EXPECT_EQ(decoded.transfer, 9U);
        EXPECT_EQ(Encode(decoded), bytes);
        const bool isBlock = std::holds_alternative<Block>(message.body);
        const size_t shortest = isBlock ? kBlockHeaderLength + 1 : bytes.size();  // block data may be of any length
        for (size_t length = 0; length < shortest; ++length)
            EXPECT_NE(DecodeAll(bytes.substr(0, length)), DecodeResult::Ok) << message.body.index() << " " << length;
        if (isBlock) continue;
        EXPECT_NE(DecodeAll(bytes + std::string(1, 0)), DecodeResult::Ok) << message.body.index();
    }
    EXPECT_EQ(Decode(nullptr, 0, *std::make_unique<Message>()), DecodeResult::NotOurs);
}

TEST(Messages, HostileValuesAreRefused) {
    const auto offer = [](auto change) {
        Offer value = SomeOffer();
        change(value);
        return Encode({9, value});
    };
    const auto status = [](auto change) {
        Status value = SomeStatus();
        change(value);
        return Encode({9, value});
    };
    const auto lacking = [&status](const std::vector<BlockRange>& ranges) {
        return status([&ranges](Status& s) { s.lacking = ranges; });
    };
    const auto patched = [](std::string bytes, size_t at, char value) {
        bytes[at] = value;
        return bytes;
    };
    const std::string beacon = Encode({9, Beacon{SenderState::Serving, 1, 1, 1, 1}});
    const std::string tooMuch(kBlockSize + 1, 'x');
    const std::pair<const char*, std::string> rows[] = {
        {"no transfer", Encode({0, SenderBye{}})},
        {"unknown type", patched(beacon, 5, 6)},
        {"unknown sender state", patched(beacon, 16, 2)},
        {"nothing to serve", Encode({9, Beacon{SenderState::Serving, 0, 0, 0, 0}})},
        {"too many files", Encode({9, Beacon{SenderState::Serving, 0, kMaxFiles + 1, 1, 1}})},
        {"too many blocks", Encode({9, Beacon{SenderState::Serving, 0, 1, kMaxBlocks + 1, 1}})},
        {"more bytes than blocks hold", Encode({9, Beacon{SenderState::Serving, 0, 1, 1, kBlockSize + 1}})},
        {"index too large", offer([](Offer& o) { o.index = kMaxFiles; })},
        {"blocks past the last", offer([](Offer& o) { o.firstBlock = kMaxBlocks - 5; })},
        {"file too large", offer([](Offer& o) { o.size = kMaxFileSize + 1; })},
        {"size that wraps", offer([](Offer& o) { o.size = UINT64_MAX; })},
        {"no name", offer([](Offer& o) { o.name.clear(); })},
        {"long name", offer([](Offer& o) { o.name.assign(256, 'n'); })},
        {"serial 0", Encode({9, Block{0, 1, 2, "x", 1}})},
        {"block past the last", Encode({9, Block{1, kMaxBlocks, 2, "x", 1}})},
        {"block too long", Encode({9, Block{1, 1, 2, tooMuch.data(), kBlockSize + 1}})},
        {"unknown bye", patched(Encode({9, SenderBye{}}), 16, 3)},
        {"receiver 0", status([](Status& s) { s.receiver = 0; })},
        {"bye of receiver 0", Encode({9, ReceiverBye{0, ByeReason::Done}})},
        {"unknown receiver state", status([](Status& s) { s.state = static_cast<ReceiverState>(5); })},
        {"unknown failure", status([](Status& s) { s.failure = static_cast<Failure>(7); })},
        {"too many offers", status([](Status& s) { s.offers = kMaxFiles + 1; })},
        {"empty range", lacking({{1, 0}})},
        {"ranges that touch", lacking({{1, 2}, {3, 1}})},
        {"ranges out of order", lacking({{5, 1}, {1, 1}})},
        {"range past the last", lacking({{kMaxBlocks - 1, 2}})},
        {"range that wraps", lacking({{5, UINT32_MAX}})},
        {"too many ranges", lacking(ManyRanges(kMaxRanges + 1))},
        {"too many confirmed", Encode({9, Confirm{std::vector<uint64_t>(kMaxReceivers + 1, 1)}})},
    };
    for (const auto& [what, bytes] : rows) EXPECT_EQ(DecodeAll(bytes), DecodeResult::Malformed) << what;
    EXPECT_EQ(DecodeAll(patched(beacon, 4, 2)), DecodeResult::OtherVersion);
    EXPECT_EQ(DecodeAll(patched(beacon, 0, 'X')), DecodeResult::NotOurs);
}

TEST(Messages, TheLargestOnesFitTheirFrames) {
    Status status = SomeStatus();
    status.lacking = ManyRanges(kMaxRanges);
    const std::string largest = Encode({9, status});
    EXPECT_EQ(DecodeAll(largest), DecodeResult::Ok);
    EXPECT_LE(largest.size(), static_cast<size_t>(kMaxUpstreamFrame));
    EXPECT_LE(kBlockHeaderLength + kBlockSize, static_cast<size_t>(kMaxDownstreamFrame));
    EXPECT_LE(Encode({9, Confirm{std::vector<uint64_t>(kMaxReceivers, 1)}}).size(), size_t{kMaxDownstreamFrame});
}

/// What an engine does with anything at all, the fuzz target of file messages looks at; here those who mean well.
TEST(Messages, ASenderServesThroughNoise) {
    std::mt19937 random(5);
    const std::vector<Message> valid = AllMessages();
    const auto junk = [&] {
        Message message = valid[random() % valid.size()];
        message.transfer = 7000 + random() % 2;
        std::string bytes = Encode(message);
        for (unsigned flips = random() % 4; flips > 0; --flips)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        bytes.resize(random() % 5 == 0 ? random() % (bytes.size() + 1) : bytes.size());
        return bytes;
    };
    sim::CTransferSim sim;
    sim::MemoryDisk disk;
    sim.StartSender(sim::One(sim::Megabytes(3)));
    const auto& receiver = sim.AddReceiver(disk, 1);
    for (int i = 0; i < 3000; ++i) {
        sim.InjectUp(junk());
        if (i % 10 == 0) sim.Run(1);
    }
    ASSERT_TRUE(sim.RunUntil([&] { return receiver.left; }, 60000));
    EXPECT_EQ(disk.files["file"], sim::Megabytes(3));
}

TEST(Messages, BlocksThatDoNotExistCostNobodyTime) {
    constexpr uint64_t kFirstTransfer = 7000;
    sim::CTransferSim sim;
    sim::MemoryDisk disk;
    const std::string& data = sim::Megabytes(4);
    sim.StartSender(sim::One(data));
    sim.Run(100);
    Status greedy;
    greedy.receiver = 9;
    greedy.lacking = {{10, 2}, {BlocksOf(data.size()) - 1, kMaxBlocks / 2}, {kMaxBlocks - 1, 1}};
    sim.InjectUp(Encode({kFirstTransfer, greedy}));
    sim.Run(100);
    sim.AddReceiver(disk);
    EXPECT_TRUE(sim.RunUntil([&] { return disk.files["file"] == data; }, 5000));
}

}  // namespace
