#include "platform/lumonet/tcp_framing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

struct Message {
    TcpKind kind;
    std::string body;
    bool operator==(const Message& other) const { return kind == other.kind && body == other.body; }
};

std::string Encode(const Message& message) {
    const auto length = static_cast<uint32_t>(message.body.size());
    const auto bytes = EncodeMessage(message.kind, message.body.data(), length);
    return std::string(bytes.Get(), net::kHeaderLen + length);
}

std::string Header(uint32_t length, int kind) {
    std::string header;
    for (int shift = 24; shift >= 0; shift -= 8) header += static_cast<char>(length >> shift & 0xff);
    return header + static_cast<char>(kind);
}

// The piece lies in a block of exactly its size, so that the address sanitizer sees a read past its end.
CTcpDecoder::Result FeedAndDrain(CTcpDecoder& decoder, const std::string& piece, std::vector<Message>& got) {
    const std::vector<char> exact(piece.begin(), piece.end());
    decoder.Feed(exact.data(), exact.size());
    CTcpMessage message;
    CTcpDecoder::Result result;
    while ((result = decoder.Next(message)) == CTcpDecoder::Result::Message) {
        got.push_back({message.kind, std::string(message.data, message.length)});
    }
    return result;
}

struct Stream {
    std::vector<Message> messages;
    std::string bytes;
};

Stream MakeStream() {
    Stream stream;
    std::mt19937 random(7);
    for (const int length : {12, 0, 1, 4096, 2, 5, 0, 700, 4095}) {
        std::string body(static_cast<size_t>(length), '\0');
        for (char& byte : body) byte = static_cast<char>(random());
        stream.messages.push_back({stream.messages.empty() ? TcpKind::Validation : TcpKind::Frame, body});
        stream.bytes += Encode(stream.messages.back());
    }
    return stream;
}

}  // namespace

TEST(TcpFraming, YieldsTheSameMessagesWhereverTheStreamIsCut) {
    const Stream stream = MakeStream();
    for (size_t cut = 0; cut <= stream.bytes.size(); ++cut) {
        CTcpDecoder decoder;
        std::vector<Message> got;
        ASSERT_EQ(FeedAndDrain(decoder, stream.bytes.substr(0, cut), got), CTcpDecoder::Result::NeedMore);
        ASSERT_EQ(FeedAndDrain(decoder, stream.bytes.substr(cut), got), CTcpDecoder::Result::NeedMore);
        ASSERT_EQ(got, stream.messages) << "cut at " << cut;
        ASSERT_EQ(decoder.Kept(), 0u);
    }
}

TEST(TcpFraming, RefusesWhatIsTooLongOrOfUnknownKind) {
    const struct {
        uint32_t length;
        int kind;
        uint32_t limit;
        bool good;
    } rows[] = {
        {net::kMaxUnvalidatedBody, 1, net::kMaxUnvalidatedBody, true},
        {net::kMaxUnvalidatedBody + 1, 1, net::kMaxUnvalidatedBody, false},
        {net::kMaxBody, 0, net::kMaxBody, true},
        {net::kMaxBody + 1, 0, net::kMaxBody, false},
        {0x80000000u, 0, net::kMaxBody, false},
        {0xffffffffu, 0, net::kMaxBody, false},
        {0xffffffffu, 0, net::kMaxUnvalidatedBody, false},
        {8, 2, net::kMaxBody, false},
        {0, 255, net::kMaxBody, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "length " << row.length << " kind " << row.kind);
        CTcpDecoder decoder;
        decoder.SetMaxBody(row.limit);
        std::vector<Message> got;
        const auto expected = row.good ? CTcpDecoder::Result::NeedMore : CTcpDecoder::Result::Broken;
        EXPECT_EQ(FeedAndDrain(decoder, Header(row.length, row.kind), got), expected);
        EXPECT_TRUE(got.empty());
        if (row.good) continue;
        EXPECT_EQ(FeedAndDrain(decoder, Encode({TcpKind::Frame, "x"}), got), expected) << "for good";
    }
}

TEST(TcpFraming, MemoryFollowsWhatArrivedAndGoesWithTheMessage) {
    CTcpDecoder decoder;
    decoder.SetMaxBody(net::kMaxBody);
    std::vector<Message> got;
    FeedAndDrain(decoder, Header(net::kMaxBody, 0), got);
    EXPECT_LE(decoder.Capacity(), 4096u) << "on the word of a header";
    const std::string piece(100'000, 'x');
    size_t fed = 0;
    for (; fed < 1'000'000; fed += piece.size()) {
        FeedAndDrain(decoder, piece, got);
        EXPECT_LE(decoder.Capacity(), 2 * (fed + piece.size()) + 4096);
    }
    FeedAndDrain(decoder, std::string(net::kMaxBody - fed, 'x'), got);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].body.size(), net::kMaxBody);
    EXPECT_LE(decoder.Capacity(), 4096u) << "while the stream pauses";
}

TEST(TcpFraming, GivesAgainWhatWasNotTakenInPiecesOfAnySize) {
    const Stream stream = MakeStream();
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        CTcpDecoder decoder;
        std::vector<Message> got;
        CTcpMessage message;
        for (size_t at = 0; at < stream.bytes.size();) {
            const size_t longest = seed == 0 ? 1 : 1 + random() % 3000;
            const size_t length = std::min<size_t>(longest, stream.bytes.size() - at);
            const std::vector<char> piece(stream.bytes.data() + at, stream.bytes.data() + at + length);
            decoder.Feed(piece.data(), piece.size());
            while (decoder.Next(message) == CTcpDecoder::Result::Message) {
                if (random() % 3 == 0) {
                    decoder.Undo();
                    if (random() % 2 == 0) break;  // taken up again with the next piece
                    continue;
                }
                got.push_back({message.kind, std::string(message.data, message.length)});
            }
            at += length;
        }
        FeedAndDrain(decoder, "", got);
        ASSERT_EQ(got, stream.messages) << "seed " << seed;
    }
}
