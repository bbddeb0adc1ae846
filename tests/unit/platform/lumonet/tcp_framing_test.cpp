#include "platform/lumonet/tcp_framing.h"

#include "support/raw_tcp.h"
#include "support/session_wire.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

// The piece lies in a block of exactly its size, so that the address sanitizer sees a read past its end. What `takes`
// refuses is given back, and comes again with the next piece.
template <class TTakes>
CTcpDecoder::Result Feed(CTcpDecoder& decoder, const std::string& piece, std::vector<std::string>& got, TTakes takes) {
    const std::vector<char> exact(piece.begin(), piece.end());
    decoder.Feed(exact.data(), exact.size());
    CTcpMessage message;
    CTcpDecoder::Result result;
    while ((result = decoder.Next(message)) == CTcpDecoder::Result::Message) {
        if (!takes()) return decoder.Undo(), result;
        got.push_back(Framed(static_cast<int>(message.kind), {message.data, message.length}));
    }
    return result;
}

CTcpDecoder::Result Feed(CTcpDecoder& decoder, const std::string& piece, std::vector<std::string>& got) {
    return Feed(decoder, piece, got, [] { return true; });
}

}  // namespace

TEST(TcpFraming, YieldsTheSameMessagesWhereverTheStreamIsCutAndWhateverIsGivenBack) {
    std::mt19937 random(7);
    std::vector<std::string> messages;
    std::string stream;
    for (const size_t length : {12u, 0u, 1u, 4096u, 2u, 5u, 0u, 700u, 4095u}) {
        std::string body(length, '\0');
        for (char& byte : body) byte = static_cast<char>(random());
        messages.push_back(Framed(messages.empty() ? 1 : 0, body));
        stream += messages.back();
    }
    const auto takes = [&random] { return random() % 3 > 0; };
    for (size_t cut = 0; cut <= stream.size(); ++cut) {
        CTcpDecoder decoder;
        std::vector<std::string> got;
        size_t at = 0;
        for (; cut == 0 && at < stream.size(); ++at) Feed(decoder, stream.substr(at, 1), got, takes);  // byte by byte
        for (const std::string& piece : {stream.substr(at, cut), stream.substr(at + cut)})
            Feed(decoder, piece, got, takes);
        ASSERT_EQ(Feed(decoder, "", got), CTcpDecoder::Result::NeedMore);
        ASSERT_TRUE(got == messages) << "cut at " << cut;
        ASSERT_EQ(decoder.Kept(), 0u);
    }
}

TEST(TcpFraming, MemoryFollowsWhatArrivedAndGoesWithTheMessage) {
    CTcpDecoder decoder;
    decoder.SetMaxBody(net::kMaxBody);
    std::vector<std::string> got;
    Feed(decoder, session_wire::U32(net::kMaxBody) + '\0', got);
    EXPECT_LE(decoder.Capacity(), 4096u) << "on the word of a header";
    const std::string piece(100'000, 'x');
    size_t fed = 0;
    for (; fed < 1'000'000; fed += piece.size()) {
        Feed(decoder, piece, got);
        EXPECT_LE(decoder.Capacity(), 2 * (fed + piece.size()) + 4096);
    }
    Feed(decoder, std::string(net::kMaxBody - fed, 'x'), got);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].size(), net::kHeaderLen + net::kMaxBody);
    EXPECT_LE(decoder.Capacity(), 4096u) << "while the stream pauses";
}
