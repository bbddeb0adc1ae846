// A TCP stream, cut at any byte, into the decoder of messages.
#include "platform/lumonet/tcp_framing.h"
#include "support/records.h"
#include "support/target.h"

#include <string>

namespace fuzz::tcp_framing {

void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("tcp_framing", {"frame", "validation", "broken", "more"}, TakeInput);

void Take(const CTcpMessage& message) {
    const std::string body(message.data ? message.data : "", message.length);
    CTcpValidation validation;
    if (message.kind == TcpKind::Frame)
        g_target.Hit("frame");
    else if (ParseValidation(body.data(), message.length, validation))
        g_target.Hit(std::string(validation.data, validation.length) == body ? "" : "validation");
}

void TakeInput(const uint8_t* data, size_t size) {
    CTcpDecoder decoder;
    for (const std::string& part : Records(data, size)) {
        decoder.Feed(part.data(), part.size());
        CTcpMessage message;
        CTcpDecoder::Result result = decoder.Next(message);
        for (; result == CTcpDecoder::Result::Message; result = decoder.Next(message)) {
            Take(message);
            decoder.SetMaxBody(1 << 20);
        }
        if (result == CTcpDecoder::Result::NeedMore) g_target.Hit("more");
        if (result != CTcpDecoder::Result::Broken) continue;
        g_target.Hit("broken");
        return;
    }
}

}  // namespace fuzz::tcp_framing
