#include "tools/lumo/dump/tcp_streams.h"

#include "platform/lumobase/byte_order.h"
#include "tools/lumo/dump/datagram_text.h"

#include <algorithm>

namespace lumo {
namespace {

/// How far `sequence` lies behind `next` in the stream; negative before it.
int32_t Distance(uint32_t next, uint32_t sequence) { return static_cast<int32_t>(sequence - next); }

/// Whether a message of ours may begin here: the stream could be anything.
bool BeginsLikeAMessage(const char* data, size_t length) {
    if (length < net::kHeaderLen) return false;
    const uint32_t body = Lumo_Base::BigEndian(data);
    return body > 0 && body <= net::kMaxBody &&
           static_cast<uint8_t>(data[4]) <= static_cast<uint8_t>(TcpKind::Validation);
}

/// `service` is what the connection is for, as far as it is known.
std::string Describe(const CTcpMessage& message, std::optional<uint32_t>& service) {
    const auto* data = reinterpret_cast<const uint8_t*>(message.data);
    if (message.kind == TcpKind::Frame) return DescribeFrame(data, message.length, service);
    CTcpValidation validation;
    if (!ParseValidation(message.data, message.length, validation)) return "validation message that makes no sense";
    service = validation.type;
    return DescribeValidation(validation.type, reinterpret_cast<const uint8_t*>(validation.data), validation.length);
}

}  // namespace

CTcpStreams::Stream& CTcpStreams::Find(const Key& key) {
    const auto found = m_streams.find(key);
    if (found == m_streams.end() && m_streams.size() >= kMaxStreams) {
        m_streams.erase(std::min_element(m_streams.begin(), m_streams.end(),
                                         [](const auto& a, const auto& b) { return a.second.used < b.second.used; }));
    }
    Stream& stream = m_streams[key];
    stream.used = ++m_nUsed;
    return stream;
}

void CTcpStreams::Restart(Stream& stream) {
    stream.framed = false;
    stream.decoder = std::make_unique<CTcpDecoder>();
    stream.decoder->SetMaxBody(net::kMaxBody);
}

void CTcpStreams::Lose(Stream& stream, uint32_t next) {
    if (stream.started) ++m_nGaps;
    stream.started = true;
    stream.next = next;
    Restart(stream);
}

void CTcpStreams::Add(const CapturedPacket& packet) {
    const Key key{packet.from, packet.to};
    if (packet.tcpSyn) {
        Stream& stream = Find(key);
        stream = Stream{};
        stream.used = ++m_nUsed;
        stream.started = true;
        stream.next = packet.tcpSequence + 1;
        Restart(stream);
        stream.framed = true;
        return;
    }
    if (packet.length > 0) {
        Stream& stream = Find(key);
        const char* data = reinterpret_cast<const char*>(packet.payload);
        size_t length = packet.length;
        if (!stream.started) Lose(stream, packet.tcpSequence);
        const int32_t distance = Distance(stream.next, packet.tcpSequence);
        if (distance > 0) {
            stream.early.emplace(packet.tcpSequence, std::string(data, length));
        } else if (static_cast<size_t>(-static_cast<int64_t>(distance)) < length) {
            const auto known = static_cast<size_t>(-static_cast<int64_t>(distance));
            Take(key, stream, data + known, length - known);
        }
        TakeEarly(key, stream);
        // What the capture has cut off is lost for good.
        if (packet.length < packet.fullLength && stream.next == packet.tcpSequence + packet.length)
            Lose(stream, packet.tcpSequence + static_cast<uint32_t>(packet.fullLength));
    }
    if (packet.tcpEnd) m_streams.erase(key);
}

void CTcpStreams::TakeEarly(const Key& key, Stream& stream) {
    while (!stream.early.empty()) {
        const auto nearest =
            std::min_element(stream.early.begin(), stream.early.end(), [&](const auto& a, const auto& b) {
                return Distance(stream.next, a.first) < Distance(stream.next, b.first);
            });
        const int32_t distance = Distance(stream.next, nearest->first);
        if (distance > 0) {
            if (stream.early.size() < kMaxEarlySegments) return;
            Lose(stream, nearest->first);  // what lies between was never captured
            continue;
        }
        const std::string bytes = std::move(nearest->second);
        stream.early.erase(nearest);
        const auto known = static_cast<size_t>(-static_cast<int64_t>(distance));
        if (known < bytes.size()) Take(key, stream, bytes.data() + known, bytes.size() - known);
    }
}

void CTcpStreams::Take(const Key& key, Stream& stream, const char* data, size_t length) {
    stream.next += static_cast<uint32_t>(length);
    if (!stream.framed) {
        stream.framed = BeginsLikeAMessage(data, length);
        if (!stream.framed) return;
    }
    stream.decoder->Feed(data, length);
    for (;;) {
        CTcpMessage message;
        const CTcpDecoder::Result result = stream.decoder->Next(message);
        if (result == CTcpDecoder::Result::Message) {
            m_sink(key.first, key.second, Describe(message, stream.service));
            continue;
        }
        if (result == CTcpDecoder::Result::Broken || stream.decoder->Kept() > kMaxKept) {
            Restart(stream);  // not ours, or too long to keep
        }
        return;
    }
}

}  // namespace lumo
