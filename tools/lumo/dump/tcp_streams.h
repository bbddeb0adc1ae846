// Messages out of captured TCP segments.
#pragma once

#include "platform/lumonet/tcp_framing.h"
#include "tools/lumo/dump/packet.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace lumo {

/// Follows each direction of each connection, puts segments in order and cuts messages out of them. Where segments are
/// missing it goes on with the next segment that begins like a message. Bounded in connections and in bytes.
class CTcpStreams {
public:
    using Sink = std::function<void(const Endpoint& from, const Endpoint& to, const std::string& text)>;
    explicit CTcpStreams(Sink sink) : m_sink(std::move(sink)) {}

    void Add(const CapturedPacket& packet);
    size_t Count() const { return m_streams.size(); }
    uint64_t Gaps() const { return m_nGaps; }

    static constexpr size_t kMaxStreams = 128;
    static constexpr size_t kMaxEarlySegments = 32;
    static constexpr size_t kMaxKept = 4 * 1024 * 1024;  // a longer message is passed over

private:
    struct Stream {
        bool started = false;                   ///< `next` is known
        bool framed = false;                    ///< we stand at the beginning of a message or inside one
        uint32_t next = 0;                      ///< sequence of the next byte
        uint64_t used = 0;                      ///< when it was last looked at
        std::optional<uint32_t> service;        ///< type of the validation message
        std::map<uint32_t, std::string> early;  ///< segments after a hole, by sequence
        std::unique_ptr<CTcpDecoder> decoder;
    };
    using Key = std::pair<Endpoint, Endpoint>;

    Stream& Find(const Key& key);
    void Take(const Key& key, Stream& stream, const char* data, size_t length);
    void TakeEarly(const Key& key, Stream& stream);
    void Lose(Stream& stream, uint32_t next);
    void Restart(Stream& stream);

    const Sink m_sink;
    std::map<Key, Stream> m_streams;
    uint64_t m_nUsed = 0;
    uint64_t m_nGaps = 0;
};

}  // namespace lumo
